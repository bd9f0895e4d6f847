// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zephran::test {

/// One answer that a LoopbackHttpServer gives.
struct HttpAnswer {
    int status = 200;
    std::string body;
    std::map<std::string, std::string> headers;
    /// Ends the connection after half of the announced body.
    bool close_early = false;
};

/// One request that a LoopbackHttpServer received.
struct HttpRequest {
    std::string method;
    std::string target;
    std::map<std::string, std::string> headers;  ///< names in lower case
    std::string body;
};

/// A plain HTTP server on 127.0.0.1, on a free port. Its thread serves one connection at a time,
/// with one request each: first the scripted answers in order, then status 500.
class LoopbackHttpServer {
public:
    explicit LoopbackHttpServer(std::vector<HttpAnswer> scripted_answers);
    ~LoopbackHttpServer();
    LoopbackHttpServer(const LoopbackHttpServer&) = delete;
    LoopbackHttpServer& operator=(const LoopbackHttpServer&) = delete;

    /// "127.0.0.1:port"
    [[nodiscard]] const std::string& authority() const { return authority_; }
    /// @param scheme "https" for an address at which every handshake fails
    [[nodiscard]] std::string url(const std::string& path,
                                  const std::string& scheme = "http") const;

    /// The complete requests received so far.
    [[nodiscard]] std::vector<HttpRequest> requests() const;

private:
    void serve();
    void serve_connection(int connection);
    HttpAnswer record(const HttpRequest& request);

    std::vector<HttpAnswer> answers;
    std::vector<HttpRequest> requests_;
    mutable std::mutex mutex;
    int listener;
    std::string authority_;
    std::thread thread;
};

}  // namespace zephran::test
