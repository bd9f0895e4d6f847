#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "common/exception.h"

namespace zephran::http {

/// Transports that a Client can be made with.
enum class ClientImplementationType { curl = 0 };

/// Encodings of a client certificate.
enum class CertificateType { pem = 0, der = 1 };

/// Where a TLS client certificate and its private key lie.
struct ClientCertificate {
    ClientCertificate(CertificateType certificate_type, std::string certificate_path,
                      std::string key_path)
        : type{certificate_type},
          certificate{std::move(certificate_path)},
          key{std::move(key_path)} {}

    CertificateType type;
    std::string certificate;
    std::string key;
};

/// One HTTP transport. Every operation blocks until the transfer has ended and throws the
/// exceptions of http/exceptions.h; a status below 400 is a success, redirects are not followed.
class ClientInterface {
public:
    ClientInterface() = default;
    ClientInterface(const ClientInterface&) = delete;
    ClientInterface& operator=(const ClientInterface&) = delete;
    virtual ~ClientInterface() = default;

    virtual void set_client_certificate(const ClientCertificate& certificate) = 0;
    /// Writes the response body into `out` as it arrives.
    virtual void download_to_file(const std::string& url, std::ostream& out) = 0;
    virtual std::string send_delete_request(const std::string& url) = 0;
    virtual std::string send_get_request(const std::string& url) = 0;
    virtual std::string send_patch_request(const std::string& url, const std::string& body,
                                           const std::string& content_type) = 0;
    virtual std::string send_post_request(const std::string& url, const std::string& body,
                                          const std::string& content_type) = 0;
    virtual std::string send_put_request(const std::string& url, const std::string& body,
                                         const std::string& content_type) = 0;
};

/// Owns one transport and forwards each request to it. Not shared between threads.
class Client {
public:
    /// @throws common::NotImplementedException for a type without a transport
    /// @throws GlobalInitException when libcurl cannot be initialised
    explicit Client(const ClientImplementationType& type);
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

    /// Streams the response body into `filename`, which is truncated first.
    /// @throws common::OutputFileOpenException with common::filename_tag, before any traffic
    void download_to_file(const std::string& url, const std::string& filename) const;

private:
    std::unique_ptr<ClientInterface> transport;
};

/// Settings of the libcurl transport.
namespace curl_configuration {

/// @param path of the only CA bundle to trust; the pointer is kept, not the text.
void set_ca_bundle_path(const char* path);
/// Null until set: libcurl's own defaults apply.
const char* get_ca_bundle_path();

}  // namespace curl_configuration
}  // namespace zephran::http
