// A host of this machine that answers HTTP requests, one at a time and one a connection. Windows only.
#pragma once

#include <winsock2.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

#include "bench/faults/scenario.h"

namespace qv::bench {

// A port of this machine to which one may connect. Nobody answers.
class local_port {
public:
    local_port() {
        WSADATA version;
        promise(WSAStartup(MAKEWORD(2, 2), &version) == 0, "sockets");
        // One that this process has not had yet: who has failed there once is remembered.
        static std::mutex mutex;
        static std::set<unsigned> used;
        const std::lock_guard<std::mutex> lock(mutex);
        do {
            if (listener_ != INVALID_SOCKET) closesocket(listener_);
            open();
        } while (!used.insert(port_).second);
    }
    ~local_port() {
        closesocket(listener_);
        WSACleanup();
    }
    local_port(const local_port&) = delete;
    local_port& operator=(const local_port&) = delete;

    std::string address() const { return "http://127.0.0.1:" + std::to_string(port_); }

    // INVALID_SOCKET once it is closed, by any thread.
    SOCKET next_client() const {
        while (!closed_) {
            timeval soon{0, 20'000};
            fd_set waiting;
            FD_ZERO(&waiting);
            FD_SET(listener_, &waiting);
            if (select(0, &waiting, nullptr, nullptr, &soon) > 0) return accept(listener_, nullptr, nullptr);
        }
        return INVALID_SOCKET;
    }
    void close() { closed_ = true; }

private:
    void open() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto* const place = reinterpret_cast<sockaddr*>(&address);
        int size = sizeof address;
        listener_ = socket(AF_INET, SOCK_STREAM, 0);
        promise(::bind(listener_, place, size) == 0 && listen(listener_, 8) == 0 &&
                    getsockname(listener_, place, &size) == 0,
                "a socket that listens");
        port_ = ntohs(address.sin_port);
    }

    SOCKET listener_ = INVALID_SOCKET;
    std::atomic<bool> closed_ = false;
    unsigned port_ = 0;
};

class http_host {
public:
    // What is at a path; nothing is "404".
    using content = std::function<std::optional<std::string>(const std::string& path)>;

    explicit http_host(content at)
        : at_(std::move(at)), thread_([this] {
              for (SOCKET client; (client = port_.next_client()) != INVALID_SOCKET; closesocket(client)) serve(client);
          }) {}
    ~http_host() {
        port_.close();
        thread_.join();
    }
    http_host(const http_host&) = delete;
    http_host& operator=(const http_host&) = delete;

    std::string address() const { return port_.address(); }

private:
    void serve(SOCKET client) const {
        constexpr DWORD patience_milliseconds = 2000;  // with a client that has come and says nothing
        setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience_milliseconds),
                   sizeof patience_milliseconds);
        std::string request;
        char part[1024];
        while (request.find("\r\n\r\n") == request.npos) {
            const int size = recv(client, part, sizeof part, 0);
            if (size <= 0) return;
            request.append(part, static_cast<std::size_t>(size));
        }
        const std::size_t path = request.find(' ') + 1;
        const auto body = at_(request.substr(path, request.find(' ', path) - path));
        const std::string answer =
            std::string("HTTP/1.1 ") + (body ? "200 OK" : "404 Not Found") +
            "\r\nConnection: close\r\nContent-Length: " + std::to_string(body ? body->size() : 0) + "\r\n\r\n" +
            body.value_or("");
        send(client, answer.data(), static_cast<int>(answer.size()), 0);
        shutdown(client, SD_SEND);
        recv(client, part, sizeof part, 0);  // until the client has taken it
    }

    const content at_;
    local_port port_;
    std::thread thread_;
};

}  // namespace qv::bench
