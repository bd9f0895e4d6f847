// SPDX-License-Identifier: Apache-2.0
#include "support/loopback_http_server.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <sstream>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace zephran::test {
namespace {

[[noreturn]] void throw_errno(const char* function) {
    throw std::system_error{errno, std::generic_category(), function};
}

/// @returns a listening socket and its port
std::pair<int, int> listen_on_loopback() {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        throw_errno("socket");
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(descriptor, generic, length) != 0 || listen(descriptor, SOMAXCONN) != 0 ||
        getsockname(descriptor, generic, &length) != 0) {
        const int error = errno;
        close(descriptor);
        errno = error;
        throw_errno("bind, listen or getsockname");
    }
    return {descriptor, ntohs(address.sin_port)};
}

/// Appends what arrives next; false at the end of the connection.
bool receive_more(int connection, std::string& text) {
    std::array<char, 4096> buffer{};
    const auto count = recv(connection, buffer.data(), buffer.size(), 0);
    if (count <= 0) {
        return false;
    }
    text.append(buffer.data(), static_cast<std::size_t>(count));
    return true;
}

void send_all(int connection, const std::string& text) {
    std::size_t sent = 0;
    while (sent < text.size()) {
        const auto count = send(connection, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (count <= 0) {
            return;  // The client has gone away; the test notices.
        }
        sent += static_cast<std::size_t>(count);
    }
}

HttpRequest parse_head(const std::string& head) {
    HttpRequest request;
    std::istringstream lines{head};
    lines >> request.method >> request.target;
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line) && line != "\r") {
        const auto colon = line.find(':');
        auto name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const auto begin = line.find_first_not_of(' ', colon + 1);
        request.headers[name] = line.substr(begin, line.find_last_not_of('\r') + 1 - begin);
    }
    return request;
}

/// The first byte of a TLS connection, where a plain request has the first letter of its method.
bool begins_handshake(const std::string& text) {
    constexpr char handshake_record = 22;
    return text.front() == handshake_record;
}

/// False when the connection ended before the request was complete, or is not plain HTTP.
bool receive_request(int connection, HttpRequest& request) {
    const std::string end_of_head = "\r\n\r\n";
    std::string text;
    std::size_t head_size = std::string::npos;
    while ((head_size = text.find(end_of_head)) == std::string::npos) {
        if (!receive_more(connection, text) || begins_handshake(text)) {
            return false;
        }
    }
    head_size += end_of_head.size();
    request = parse_head(text.substr(0, head_size));
    request.body = text.substr(head_size);
    if (request.headers.count("expect") != 0) {
        send_all(connection, "HTTP/1.1 100 Continue\r\n\r\n");
    }
    const auto length = request.headers.find("content-length");
    const auto body_size = length == request.headers.end() ? 0 : std::stoul(length->second);
    while (request.body.size() < body_size) {
        if (!receive_more(connection, request.body)) {
            return false;
        }
    }
    return true;
}

std::string to_text(const HttpAnswer& answer) {
    std::ostringstream text;
    text << "HTTP/1.1 " << answer.status
         << " Scripted\r\nConnection: close\r\nContent-Length: " << answer.body.size() << "\r\n";
    for (const auto& [name, value] : answer.headers) {
        text << name << ": " << value << "\r\n";
    }
    text << "\r\n"
         << (answer.close_early ? answer.body.substr(0, answer.body.size() / 2) : answer.body);
    return text.str();
}

}  // namespace

LoopbackHttpServer::LoopbackHttpServer(std::vector<HttpAnswer> scripted_answers)
    : answers{std::move(scripted_answers)} {
    const auto [descriptor, port] = listen_on_loopback();
    listener = descriptor;
    authority_ = "127.0.0.1:" + std::to_string(port);
    thread = std::thread{[this] { serve(); }};
}

LoopbackHttpServer::~LoopbackHttpServer() {
    // Ends a waiting accept() and makes every later one fail.
    shutdown(listener, SHUT_RDWR);
    thread.join();
    close(listener);
}

std::string LoopbackHttpServer::url(const std::string& path, const std::string& scheme) const {
    return scheme + "://" + authority_ + path;
}

std::vector<HttpRequest> LoopbackHttpServer::requests() const {
    const std::lock_guard<std::mutex> lock{mutex};
    return requests_;
}

void LoopbackHttpServer::serve() {
    for (;;) {
        const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection < 0) {
            return;
        }
        serve_connection(connection);
        close(connection);
    }
}

void LoopbackHttpServer::serve_connection(int connection) {
    HttpRequest request;
    if (receive_request(connection, request)) {
        send_all(connection, to_text(record(request)));
    }
}

HttpAnswer LoopbackHttpServer::record(const HttpRequest& request) {
    const std::lock_guard<std::mutex> lock{mutex};
    requests_.push_back(request);
    if (requests_.size() > answers.size()) {
        return HttpAnswer{500, "no answer left", {}, false};
    }
    return answers[requests_.size() - 1];
}

}  // namespace zephran::test
