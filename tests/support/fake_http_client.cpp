// SPDX-License-Identifier: Apache-2.0
#include "support/fake_http_client.h"

#include "http/exceptions.h"

namespace zephran::test {

namespace {

constexpr unsigned not_found = 404;

[[noreturn]] void refuse() {
    ZEPHRAN_THROW(common::NotImplementedException{});
}

}  // namespace

void FileServer::offer(const DeploymentText& deployment) {
    for (const ChunkText& chunk : deployment.chunks) {
        for (const ArtifactText& artifact : chunk.artifacts) {
            if (artifact.has_secure_link) {
                files[ArtifactText::secure_link(artifact.filename)] = artifact.content;
            }
            if (artifact.has_plain_link) {
                files[ArtifactText::plain_link(artifact.filename)] = artifact.content;
            }
        }
    }
}

HawkbitDeployer::MakeHttpClient FileServer::client_maker() {
    return [this] { return http::Client{std::make_unique<FakeHttpClient>(*this)}; };
}

void FakeHttpClient::set_client_certificate(const http::ClientCertificate& /*certificate*/) {
    refuse();
}

void FakeHttpClient::download_to_file(const std::string& url, std::ostream& out) {
    server.requests.push_back(url);
    if (server.on_request) {
        server.on_request(url);
    }
    const auto file = server.files.find(url);
    if (file == server.files.end()) {
        ZEPHRAN_THROW(http::HttpErrorCodeException{} << http::httpcode_tag{not_found}
                                                     << http::httpurl_tag{url});
    }
    out << file->second;
}

void FakeHttpClient::download_part(const std::string& url, const http::RangeWanted& wanted,
                                   http::PartialReceiver& receiver) {
    constexpr unsigned found = 200;
    constexpr unsigned first_error = 400;
    server.requests.push_back(url);
    server.ranges.push_back(wanted);
    const auto file = server.files.find(url);
    const unsigned status = file == server.files.end() ? not_found : found;
    const FileServer::PartialAnswer answer =
        server.on_range ? server.on_range(wanted)
                        : FileServer::PartialAnswer{{status, "tag", "", ""},
                                                    status == found ? file->second : std::string{}};
    const bool taken = receiver.take_head(answer.head);
    if (answer.head.status >= first_error) {
        ZEPHRAN_THROW(http::HttpErrorCodeException{} << http::httpcode_tag{answer.head.status}
                                                     << http::httpurl_tag{url});
    }
    if (server.while_transferring) {
        server.while_transferring(receiver);
    }
    const bool written = taken && receiver.take(answer.body.data(), answer.body.size());
    const CURLcode end = !written                ? CURLE_WRITE_ERROR
                         : receiver.is_stopped() ? CURLE_ABORTED_BY_CALLBACK
                                                 : answer.end;
    if (end != CURLE_OK) {
        ZEPHRAN_THROW(http::HttpRequestException{} << http::curlcode_tag{end});
    }
}

std::string FakeHttpClient::send_delete_request(const std::string& /*url*/) {
    refuse();
}

std::string FakeHttpClient::send_get_request(const std::string& /*url*/) {
    refuse();
}

std::string FakeHttpClient::send_patch_request(const std::string& /*url*/,
                                               const std::string& /*body*/,
                                               const std::string& /*content_type*/) {
    refuse();
}

std::string FakeHttpClient::send_post_request(const std::string& /*url*/,
                                              const std::string& /*body*/,
                                              const std::string& /*content_type*/) {
    refuse();
}

std::string FakeHttpClient::send_put_request(const std::string& /*url*/,
                                             const std::string& /*body*/,
                                             const std::string& /*content_type*/) {
    refuse();
}

}  // namespace zephran::test
