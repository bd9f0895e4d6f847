// SPDX-License-Identifier: Apache-2.0
#include "http/transfer_log.h"

#include <chrono>
#include <sstream>

#include "common/logprint.h"
#include "common/uri.h"

namespace zephran::http {

namespace {

constexpr const char* logged_function = "perform";

/// What a line says whatever the outcome.
struct Figures {
    std::string host;
    std::string path;
    long status = 0;
    curl_off_t milliseconds = 0;
    curl_off_t bytes = 0;
};

Figures figures_of(const CurlRequest& request) {
    constexpr curl_off_t microseconds_in_a_millisecond = 1000;
    const std::string authority = common::URI{request.url()}.authority();
    Figures figures;
    figures.host = authority.substr(authority.rfind('@') + 1);
    figures.path = logged_path(request.url());
    curl_easy_getinfo(request.handle().get(), CURLINFO_RESPONSE_CODE, &figures.status);
    curl_easy_getinfo(request.handle().get(), CURLINFO_TOTAL_TIME_T, &figures.milliseconds);
    curl_easy_getinfo(request.handle().get(), CURLINFO_SIZE_DOWNLOAD_T, &figures.bytes);
    figures.milliseconds /= microseconds_in_a_millisecond;
    return figures;
}

/// A wrong clock is the most frequent reason why a good certificate is refused.
bool concerns_certificate(CURLcode result) {
    switch (result) {
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_INVALIDCERTSTATUS:
            return true;
        default:
            return false;
    }
}

void log_failure(const CurlRequest& request, CURLcode result) {
    const Figures seen = figures_of(request);
    if (result == CURLE_HTTP_RETURNED_ERROR) {
        ZLOG_WARNING_AS(logged_function, "event", "http_error", "method", request.method(), "host",
                        seen.host, "path", seen.path, "status", seen.status, "milliseconds",
                        seen.milliseconds, "bytes", seen.bytes);
    } else if (concerns_certificate(result)) {
        ZLOG_WARNING_AS(logged_function, "event", "http_error", "method", request.method(), "host",
                        seen.host, "path", seen.path, "code", static_cast<int>(result), "text",
                        curl_easy_strerror(result), "milliseconds", seen.milliseconds, "bytes",
                        seen.bytes, "now", std::chrono::system_clock::now());
    } else {
        ZLOG_WARNING_AS(logged_function, "event", "http_error", "method", request.method(), "host",
                        seen.host, "path", seen.path, "code", static_cast<int>(result), "text",
                        curl_easy_strerror(result), "milliseconds", seen.milliseconds, "bytes",
                        seen.bytes);
    }
}

}  // namespace

std::string logged_path(const std::string& url) {
    const common::URI uri{url};
    std::istringstream query{uri.query()};
    for (std::string part; std::getline(query, part, '&');) {
        if (part.rfind("actionHistory=", 0) == 0) {
            return uri.path() + "?" + part;
        }
    }
    return uri.path();
}

void log_transfer(TransferLog wanted, const CurlRequest& request, CURLcode result) {
    if (wanted == TransferLog::none) {
        return;
    }
    if (result != CURLE_OK) {
        log_failure(request, result);
        return;
    }
    if (wanted == TransferLog::all) {
        const Figures seen = figures_of(request);
        ZLOG_INFO_AS(logged_function, "event", "http_request", "method", request.method(), "host",
                     seen.host, "path", seen.path, "status", seen.status, "milliseconds",
                     seen.milliseconds, "bytes", seen.bytes);
    }
}

}  // namespace zephran::http
