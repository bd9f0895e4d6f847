// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace zephran::http {

/// Encodings of a client certificate.
enum class CertificateType { pem = 0, der = 1 };

/// The files of a TLS client certificate and its private key.
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

/// Versions of TLS that can be demanded as the lowest.
enum class TlsVersion { v1_2, v1_3 };

/// Which transfers are logged by the transport itself.
enum class TransferLog { none, failures, all };

/// The token that proves to a server without a proxy in front who the target is.
struct Authorization {
    /// "TargetToken" or "GatewayToken".
    std::string type;
    /// Its first line is the token; it is read at each request.
    std::string token_file;
    /// Host, optionally with ":port", of the only server that may see the token.
    std::string server;
};

/// What ends a transfer early. Nothing does by itself.
struct TransferLimits {
    struct Stall {
        std::uint32_t seconds;
        /// A transfer that is slower than this for so many seconds is aborted.
        std::uint32_t bytes_per_second;
    };

    /// Seconds until a connection, TLS included, must stand.
    std::optional<std::uint32_t> connect_timeout;
    std::optional<Stall> stall;
    /// Seconds for a whole exchange of documents; never for a download.
    std::optional<std::uint32_t> request_timeout;
    /// Bytes a second, of downloads only.
    std::optional<std::uint32_t> max_speed;
};

class TlsSessions;

/// How a transport carries out its transfers.
struct TransportSettings {
    /// Path of the only CA bundle to trust; without one, curl_configuration decides.
    std::optional<std::string> ca_bundle;
    /// Presented to every server that asks for a certificate.
    std::optional<ClientCertificate> client_certificate;
    /// The bodies of answers to PUT, POST and PATCH are dropped as they arrive; "" is returned.
    bool drops_answers_to_uploads = false;
    TransferLimits limits;
    /// Without one, libcurl decides.
    std::optional<TlsVersion> lowest_tls;
    /// Sessions to resume; null to begin each connection with a full handshake.
    std::shared_ptr<TlsSessions> tls_sessions;
    std::optional<Authorization> authorization;
    TransferLog log = TransferLog::none;
    /// Whether libcurl's trace shows what proves who somebody is. The token is never shown.
    bool traces_credentials = true;
};

/// Defaults of the whole process, for transports whose settings say nothing else.
namespace curl_configuration {

/// Called at start-up, before any request and any second thread.
/// @param path of the only CA bundle to trust; the pointer is kept, not the text.
void set_ca_bundle_path(const char* path);
/// Null until set: libcurl's own defaults apply.
const char* get_ca_bundle_path();

}  // namespace curl_configuration
}  // namespace zephran::http
