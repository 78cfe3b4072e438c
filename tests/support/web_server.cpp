#include "tests/support/web_server.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

// A name that no other server has, not even one of an earlier run.
std::string NewFolder() {
    static int count = 0;
    return "/" + std::to_string(GetCurrentProcessId()) + "-" + std::to_string(GetTickCount()) +
           "-" + std::to_string(++count);
}

// The path of the request line; empty for anything but a GET.
std::string ReadRequest(SOCKET client) {
    std::string request;
    char buffer[4096];
    for (int size = 1; size > 0 && request.find("\r\n\r\n") == std::string::npos;) {
        size = recv(client, buffer, sizeof buffer, 0);
        request.append(buffer, static_cast<size_t>(std::max(size, 0)));
    }
    const size_t start = request.find("GET ") == 0 ? 4 : request.size();
    return request.substr(start, request.find(' ', start) - start);
}

} // namespace

WebServer::WebServer(Files files) : files_(std::move(files)), folder_(NewFolder()) {
    WSADATA data;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* const bound = reinterpret_cast<sockaddr*>(&address);
    int size = sizeof address;
    if (WSAStartup(MAKEWORD(2, 2), &data) != 0 ||
        (listener_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP)) == INVALID_SOCKET ||
        bind(listener_, bound, size) != 0 || listen(listener_, SOMAXCONN) != 0 ||
        getsockname(listener_, bound, &size) != 0) {
        std::fprintf(stderr, "the web server does not start: error %d\n", WSAGetLastError());
        std::exit(1);
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { Serve(); });
}

std::string WebServer::Address() const {
    return "http://127.0.0.1:" + std::to_string(port_) + folder_;
}

void WebServer::Stop() {
    if (!thread_.joinable())
        return;
    closesocket(listener_);
    thread_.join();
    WSACleanup();
}

const std::vector<std::string>& WebServer::Requests() {
    Stop();
    return requests_;
}

void WebServer::Serve() {
    for (;;) {
        const SOCKET client = accept(listener_, nullptr, nullptr);
        if (client == INVALID_SOCKET)
            return;
        Answer(client);
        closesocket(client);
    }
}

void WebServer::Answer(SOCKET client) {
    std::string path = ReadRequest(client);
    path.erase(0, path.compare(0, folder_.size(), folder_) == 0 ? folder_.size() : 0);
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
