// SPDX-License-Identifier: Apache-2.0
#include "http/curl_request.h"

#include <exception>
#include <iostream>
#include <sstream>

#include <boost/algorithm/string/replace.hpp>

#include "common/logprint.h"
#include "http/authorization.h"
#include "http/tls_sessions.h"
#include "http/trace_filter.h"

namespace zephran::http {
namespace {

const char* certificate_type_name(CertificateType type) {
    switch (type) {
        case CertificateType::pem:
            return "PEM";
        case CertificateType::der:
            return "DER";
    }
    return nullptr;
}

long version_number(TlsVersion version) {
    return version == TlsVersion::v1_3 ? CURL_SSLVERSION_TLSv1_3 : CURL_SSLVERSION_TLSv1_2;
}

bool is_dot_segment(const std::string& segment) {
    std::string dots;
    for (std::size_t i = 0; i < segment.size(); ++i) {
        if (segment[i] == '.') {
            dots += '.';
        } else if (segment.compare(i, 3, "%2E") == 0 || segment.compare(i, 3, "%2e") == 0) {
            dots += '.';
            i += 2;
        } else {
            return false;
        }
    }
    return dots == "." || dots == "..";
}

/// Whether libcurl would send another path than the one that stands in the address.
bool has_dot_segments(const std::string& url) {
    std::istringstream path{url.substr(0, url.find_first_of("?#"))};
    std::string segment;
    bool found = false;
    while (!found && std::getline(path, segment, '/')) {
        found = is_dot_segment(segment);
    }
    return found;
}

/// With plain line ends, and without the last ones.
std::string trace_text(const std::string& traced) {
    const std::string text = boost::replace_all_copy(traced, "\r\n", "\n");
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

const char* ca_bundle_path(const TransportSettings& settings) {
    return settings.ca_bundle ? settings.ca_bundle->c_str()
                              : curl_configuration::get_ca_bundle_path();
}

}  // namespace

CurlRequest::CurlRequest(const char* method, const std::string& url, Kind request_kind)
    : method_{method}, url_{url}, kind{request_kind} {
    setopt(handle_, CURLOPT_URL, url_.c_str());
    if (has_dot_segments(url_)) {
        setopt(handle_, CURLOPT_PATH_AS_IS, 1L);
    }
}

void CurlRequest::add_header(const std::string& line) {
    headers.append(line);
}

void CurlRequest::apply(const TransportSettings& settings) {
    apply_certificates(settings);
    if (debug_logger.enabled) {
        filter_trace();
        setopt(handle_, CURLOPT_VERBOSE, 1L);
    }
    apply_limits(settings.limits);
    if (settings.lowest_tls) {
        setopt(handle_, CURLOPT_SSLVERSION, version_number(*settings.lowest_tls));
    }
    if (settings.tls_sessions != nullptr) {
        setopt(handle_, CURLOPT_SHARE, settings.tls_sessions->get());
    }
    if (settings.authorization) {
        apply_token(*settings.authorization);
    }
    traces_credentials = settings.traces_credentials;
    if (!token.empty() || !traces_credentials) {
        filter_trace();
    }
    if (headers.get() != nullptr) {
        setopt(handle_, CURLOPT_HTTPHEADER, headers.get());
    }
}

void CurlRequest::apply_certificates(const TransportSettings& settings) {
    if (const auto& certificate = settings.client_certificate) {
        setopt(handle_, CURLOPT_SSLCERTTYPE, certificate_type_name(certificate->type));
        setopt(handle_, CURLOPT_SSLCERT, certificate->certificate.c_str());
        setopt(handle_, CURLOPT_SSLKEY, certificate->key.c_str());
    }
    if (const char* const bundle = ca_bundle_path(settings)) {
        setopt(handle_, CURLOPT_CAINFO, bundle);
        // Only the bundle is trusted, not the system's certificate directory as well.
        setopt(handle_, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
}

void CurlRequest::apply_limits(const TransferLimits& limits) {
    if (limits.connect_timeout) {
        setopt(handle_, CURLOPT_CONNECTTIMEOUT, static_cast<long>(*limits.connect_timeout));
    }
    if (limits.stall) {
        setopt(handle_, CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.stall->seconds));
        setopt(handle_, CURLOPT_LOW_SPEED_LIMIT, static_cast<long>(limits.stall->bytes_per_second));
        setopt(handle_, CURLOPT_TCP_KEEPALIVE, 1L);
    }
    if (limits.request_timeout && kind == Kind::document) {
        setopt(handle_, CURLOPT_TIMEOUT, static_cast<long>(*limits.request_timeout));
    }
    if (limits.max_speed && kind == Kind::artifact) {
        setopt(handle_, CURLOPT_MAX_RECV_SPEED_LARGE, curl_off_t{*limits.max_speed});
    }
}

void CurlRequest::apply_token(const Authorization& authorization) {
    token = token_for(authorization, url_);
    if (token.empty()) {
        return;
    }
    add_header("Authorization: " + authorization.type + " " + token);
}

void CurlRequest::filter_trace() {
    setopt(handle_, CURLOPT_DEBUGFUNCTION, trace_cb);
    setopt(handle_, CURLOPT_DEBUGDATA, static_cast<void*>(this));
}

/// Like libcurl's own, but without the token, without what could forge a line of the log, and if so
/// wanted without other credentials.
int CurlRequest::trace_cb(CURL* /*handle*/, curl_infotype type, char* data, std::size_t size,
                          void* userdata) noexcept {
    const char* const mark = type == CURLINFO_TEXT         ? "* "
                             : type == CURLINFO_HEADER_IN  ? "< "
                             : type == CURLINFO_HEADER_OUT ? "> "
                                                           : nullptr;
    if (mark == nullptr) {
        return 0;
    }
    try {
        const auto& request = *static_cast<CurlRequest*>(userdata);
        const std::string shown = without_secret({data, size}, request.token);
        std::ostringstream lines;
        lines << mark;
        write_harmless(lines,
                       trace_text(request.traces_credentials ? shown : without_credentials(shown)));
        lines << '\n';
        std::cerr << lines.str();
    } catch (const std::exception&) {
        // A line that finds no memory is not worth the transfer.
        return 0;
    }
    return 0;
}

}  // namespace zephran::http
