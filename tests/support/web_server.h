// A web server on the loopback address that serves files from memory, in its own thread.
#pragma once

#include <winsock2.h>

#include <windows.h>

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <thread>
#include <vector>

class WebServer {
public:
    using Files = std::map<std::string, std::string>; // contents by path below Address()

    // Requests for anything but these files are redirected to a closed port: the engine
    // takes an error page, or even no answer, for the file itself.
    explicit WebServer(Files files) : files_(std::move(files)) {
        WSADATA data;
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const bound = reinterpret_cast<sockaddr*>(&address);
        int size = sizeof address;
        EXPECT_EQ(WSAStartup(MAKEWORD(2, 2), &data), 0);
        listener_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        EXPECT_EQ(bind(listener_, bound, size), 0);
        EXPECT_EQ(listen(listener_, SOMAXCONN), 0);
        EXPECT_EQ(getsockname(listener_, bound, &size), 0);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] { Serve(); });
    }
    ~WebServer() { Stop(); }
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    // "http://127.0.0.1:PORT/FOLDER", with a folder name that no earlier server had,
    // since the system caches downloads.
    std::string Address() const { return "http://127.0.0.1:" + std::to_string(port_) + folder_; }

    // Closes the port; from then on connections are refused.
    void Stop() {
        if (!thread_.joinable())
            return;
        closesocket(listener_);
        thread_.join();
        WSACleanup();
    }

    // The paths requested so far, below Address(). Stops the server.
    const std::vector<std::string>& Requests() {
        Stop();
        return requests_;
    }

private:
    void Serve() {
        for (SOCKET client; (client = accept(listener_, nullptr, nullptr)) != INVALID_SOCKET;) {
            Answer(client);
            closesocket(client);
        }
    }
    void Answer(SOCKET client) {
        std::string request;
        char buffer[4096];
        for (int size = 1; size > 0 && request.find("\r\n\r\n") == std::string::npos;) {
            size = recv(client, buffer, sizeof buffer, 0);
            request.append(buffer, static_cast<size_t>(size > 0 ? size : 0));
        }
        std::string path =
            request.find("GET ") == 0 ? request.substr(4, request.find(' ', 4) - 4) : "";
        path.erase(0, path.find(folder_) == 0 ? folder_.size() : 0);
        requests_.push_back(path);
        const auto file = files_.find(path);
        std::string answer = "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\n"
                             "Connection: close\r\nContent-Length: 0\r\n\r\n";
        if (file != files_.end())
            answer = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                     "Connection: close\r\nContent-Length: " +
                     std::to_string(file->second.size()) + "\r\n\r\n" + file->second;
        send(client, answer.data(), static_cast<int>(answer.size()), 0);
    }

    const Files files_;
    const std::string folder_ =
        "/" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(GetTickCount());
    SOCKET listener_ = INVALID_SOCKET;
    unsigned short port_ = 0;
    std::vector<std::string> requests_;
    std::thread thread_;
};
