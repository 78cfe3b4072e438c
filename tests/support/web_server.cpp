#include "tests/support/web_server.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>

namespace {

const int MostRequests = 50;

void Check(bool worked, const char* what) {
    if (worked)
        return;
    std::fprintf(stderr, "the web server cannot %s: error %d\n", what, WSAGetLastError());
    std::exit(1);
}

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
    while (request.find("\r\n\r\n") == std::string::npos) {
        const int size = recv(client, buffer, sizeof buffer, 0);
        if (size <= 0)
            return "";
        request.append(buffer, static_cast<size_t>(size));
    }
    const size_t pathStart = 4;
    if (request.compare(0, pathStart, "GET ") != 0)
        return "";
    return request.substr(pathStart, request.find(' ', pathStart) - pathStart);
}

void Send(SOCKET client, const std::string& text) {
    for (size_t sent = 0; sent < text.size();) {
        const int size = send(client, text.data() + sent, static_cast<int>(text.size() - sent), 0);
        if (size <= 0)
            return;
        sent += static_cast<size_t>(size);
    }
}

} // namespace

WebServer::WebServer(Files files) : files_(std::move(files)), folder_(NewFolder()) {
    WSADATA data;
    Check(WSAStartup(MAKEWORD(2, 2), &data) == 0, "start");
    listener_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    Check(listener_ != INVALID_SOCKET, "open a socket");
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    Check(bind(listener_, reinterpret_cast<sockaddr*>(&address), size) == 0, "bind");
    Check(listen(listener_, SOMAXCONN) == 0, "listen");
    Check(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size) == 0,
          "tell its port");
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
    for (int i = 0; i < MostRequests; ++i) {
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
    if (file == files_.end()) {
        Send(client, "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\n"
                     "Connection: close\r\nContent-Length: 0\r\n\r\n");
        return;
    }
    Send(client, "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                 "Connection: close\r\nContent-Length: " +
                     std::to_string(file->second.size()) + "\r\n\r\n" + file->second);
}
