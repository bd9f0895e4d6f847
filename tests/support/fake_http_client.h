// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "deployment/hawkbit_deployer.h"
#include "http/httpclient.h"
#include "support/message_builder.h"

namespace zephran::test {

/// The files that FakeHttpClient delivers, and what was asked of it.
struct FileServer {
    /// Makes every file of a deployment available under its links.
    void offer(const DeploymentText& deployment);
    /// Makes clients of this server, which must outlive them.
    [[nodiscard]] HawkbitDeployer::MakeHttpClient client_maker();

    /// Content by address. Any other address is answered with 404.
    std::map<std::string, std::string> files;
    /// The addresses that were asked for, in order.
    std::vector<std::string> requests;
    /// Called with each address before the answer, if set.
    std::function<void(const std::string& url)> on_request;
};

/// A transport that only knows downloads.
class FakeHttpClient : public http::ClientInterface {
public:
    explicit FakeHttpClient(FileServer& file_server) : server{file_server} {}

    void set_client_certificate(const http::ClientCertificate& certificate) override;
    void download_to_file(const std::string& url, std::ostream& out) override;
    std::string send_delete_request(const std::string& url) override;
    std::string send_get_request(const std::string& url) override;
    std::string send_patch_request(const std::string& url, const std::string& body,
                                   const std::string& content_type) override;
    std::string send_post_request(const std::string& url, const std::string& body,
                                  const std::string& content_type) override;
    std::string send_put_request(const std::string& url, const std::string& body,
                                 const std::string& content_type) override;

private:
    FileServer& server;
};

}  // namespace zephran::test
