// SPDX-License-Identifier: Apache-2.0
#pragma once

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

/// How a transport carries out its transfers.
struct TransportSettings {
    /// Path of the only CA bundle to trust; without one, curl_configuration decides.
    std::optional<std::string> ca_bundle;
    /// Presented to every server that asks for a certificate.
    std::optional<ClientCertificate> client_certificate;
    /// The bodies of answers to PUT, POST and PATCH are dropped as they arrive; "" is returned.
    bool drops_answers_to_uploads = false;
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
