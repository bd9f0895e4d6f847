// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "common/exception.h"
#include "http/make_transport.h"
#include "http/transport.h"

namespace zephran::http {

/// Owns one transport and forwards each request to it. Not used by two threads at once.
class Client {
public:
    /// @throws common::NotImplementedException for a type without a transport
    /// @throws GlobalInitException when libcurl cannot be initialised
    explicit Client(const ClientImplementationType& type, TransportSettings settings = {});
    /// Takes a transport made elsewhere.
    explicit Client(std::unique_ptr<ClientInterface> implementation);
    virtual ~Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    Client(Client&&) = default;
    Client& operator=(Client&&) = default;

    /// Every later request presents this certificate.
    void set_client_certificate(const ClientCertificate& certificate);

    [[nodiscard]] std::string send_get_request(const std::string& url) const;
    std::string send_delete_request(const std::string& url) const;
    std::string send_post_request(const std::string& url, const std::string& body,
                                  const std::string& content_type) const;
    std::string send_put_request(const std::string& url, const std::string& body,
                                 const std::string& content_type) const;
    std::string send_patch_request(const std::string& url, const std::string& body,
                                   const std::string& content_type) const;

    /// Streams the response body into a new file that only its owner may read and write. What had
    /// this name before is removed, never opened.
    /// @throws common::OutputFileOpenException with common::filename_tag, before any traffic, also
    ///         if a directory has this name
    void download_to_file(const std::string& url, const std::string& filename) const;

    /// Downloads a file, or the rest of one.
    void download_part(const std::string& url, const RangeWanted& wanted,
                       PartialReceiver& receiver) const;

private:
    std::unique_ptr<ClientInterface> transport;
};

}  // namespace zephran::http
