// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <string>

#include "http/partial_transfer.h"
#include "http/transport_settings.h"

namespace zephran::http {

/// One HTTP transport. Every operation blocks until the transfer has ended and throws the
/// exceptions of http/exceptions.h; a status below 400 is a success, redirects are not followed.
class ClientInterface {
public:
    ClientInterface() = default;
    ClientInterface(const ClientInterface&) = delete;
    ClientInterface& operator=(const ClientInterface&) = delete;
    virtual ~ClientInterface() = default;

    /// Every later request presents this certificate.
    virtual void set_client_certificate(const ClientCertificate& certificate) = 0;
    /// Writes the response body into `out` as it arrives.
    virtual void download_to_file(const std::string& url, std::ostream& out) = 0;
    /// Downloads a file, or the rest of one, for a receiver that can end the transfer. Also on
    /// another thread than the main one.
    virtual void download_part(const std::string& url, const RangeWanted& wanted,
                               PartialReceiver& receiver) = 0;
    virtual std::string send_delete_request(const std::string& url) = 0;
    virtual std::string send_get_request(const std::string& url) = 0;
    virtual std::string send_patch_request(const std::string& url, const std::string& body,
                                           const std::string& content_type) = 0;
    virtual std::string send_post_request(const std::string& url, const std::string& body,
                                          const std::string& content_type) = 0;
    virtual std::string send_put_request(const std::string& url, const std::string& body,
                                         const std::string& content_type) = 0;
};

}  // namespace zephran::http
