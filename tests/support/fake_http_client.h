// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "deployment/hawkbit_deployer.h"
#include "http/exceptions.h"
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
    /// What was asked for of the files that are downloaded in parts.
    std::vector<http::RangeWanted> ranges;
    /// Answers a download in parts in place of the files, if set: the body after this head, which
    /// ends with this code of libcurl.
    struct PartialAnswer {
        http::AnswerHead head;
        std::string body{};
        CURLcode end = CURLE_OK;
    };
    std::function<PartialAnswer(const http::RangeWanted& wanted)> on_range;
    /// Called while the body of a download in parts is on its way, if set.
    std::function<void(const http::PartialReceiver& receiver)> while_transferring;
    /// Called with each address before the answer, if set.
    std::function<void(const std::string& url)> on_request;
};

/// A transport that only knows downloads.
class FakeHttpClient : public http::ClientInterface {
public:
    explicit FakeHttpClient(FileServer& file_server) : server{file_server} {}

    void set_client_certificate(const http::ClientCertificate& certificate) override;
    void download_to_file(const std::string& url, std::ostream& out) override;
    void download_part(const std::string& url, const http::RangeWanted& wanted,
                       http::PartialReceiver& receiver) override;
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
