// SPDX-License-Identifier: Apache-2.0
#include "http/httpclient.h"

#include <utility>

#include "common/new_file.h"

namespace zephran::http {

Client::Client(const ClientImplementationType& type, TransportSettings settings)
    : transport{make_transport(type, std::move(settings))} {}

Client::Client(std::unique_ptr<ClientInterface> implementation)
    : transport{std::move(implementation)} {}

void Client::set_client_certificate(const ClientCertificate& certificate) {
    transport->set_client_certificate(certificate);
}

std::string Client::send_get_request(const std::string& url) const {
    return transport->send_get_request(url);
}

std::string Client::send_delete_request(const std::string& url) const {
    return transport->send_delete_request(url);
}

std::string Client::send_post_request(const std::string& url, const std::string& body,
                                      const std::string& content_type) const {
    return transport->send_post_request(url, body, content_type);
}

std::string Client::send_put_request(const std::string& url, const std::string& body,
                                     const std::string& content_type) const {
    return transport->send_put_request(url, body, content_type);
}

std::string Client::send_patch_request(const std::string& url, const std::string& body,
                                       const std::string& content_type) const {
    return transport->send_patch_request(url, body, content_type);
}

void Client::download_to_file(const std::string& url, const std::string& filename) const {
    common::NewFile file{filename};
    transport->download_to_file(url, file);
}

void Client::download_part(const std::string& url, const RangeWanted& wanted,
                           PartialReceiver& receiver) const {
    transport->download_part(url, wanted, receiver);
}

}  // namespace zephran::http
