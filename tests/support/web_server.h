// A web server on this machine's loopback address, serving files from memory
// in a thread of its own.
#pragma once

#include <winsock2.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

class WebServer {
public:
    using Files = std::map<std::string, std::string>; // contents by path below Address()

    // Asked for anything but the files it leads to a port where nothing answers:
    // the engine takes an error page, and even no answer, for the file itself.
    explicit WebServer(Files files);
    ~WebServer() { Stop(); }
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    // "http://127.0.0.1:PORT/FOLDER", with a folder name that no earlier
    // server had: the system keeps what it downloaded.
    std::string Address() const;

    // Closes the port; from then on connections are refused.
    void Stop();

    // The paths asked for, below Address(). Stops the server.
    const std::vector<std::string>& Requests();

private:
    void Serve();
    void Answer(SOCKET client);

    const Files files_;
    const std::string folder_;
    SOCKET listener_;
    unsigned short port_ = 0;
    std::vector<std::string> requests_;
    std::thread thread_;
};
