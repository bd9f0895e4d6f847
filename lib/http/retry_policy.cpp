// SPDX-License-Identifier: Apache-2.0
#include "http/retry_policy.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <limits>

#include <curl/curl.h>

#include "http/exceptions.h"

namespace zephran::http {

namespace {

constexpr std::array<CURLcode, 8> passing_codes{
    CURLE_COULDNT_RESOLVE_HOST, CURLE_COULDNT_CONNECT, CURLE_PARTIAL_FILE, CURLE_OPERATION_TIMEDOUT,
    CURLE_SSL_CONNECT_ERROR,    CURLE_GOT_NOTHING,     CURLE_SEND_ERROR,   CURLE_RECV_ERROR};
// Request Timeout, Too Early, Too Many Requests, and what a server or the proxy in front of it
// answers while it is restarted or overloaded.
constexpr std::array<unsigned, 7> passing_statuses{408, 425, 429, 500, 502, 503, 504};

template <class List, class Value>
bool contains(const List& list, const Value* value) {
    return value != nullptr && std::find(list.begin(), list.end(), *value) != list.end();
}

std::optional<std::chrono::seconds> parse_seconds(const std::string& text) {
    constexpr std::size_t most_digits = std::numeric_limits<std::int32_t>::digits10;
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    // Nobody waits that long; a longer number only has to stay a number.
    return text.size() > most_digits
               ? std::chrono::seconds{std::numeric_limits<std::int32_t>::max()}
               : std::chrono::seconds{std::stol(text)};
}

/// A date in one of the three formats of RFC 9110, section 5.6.7. libcurl can read more, but
/// returns the time_t of its own build, which may have 32 bits where this one has 64.
std::optional<std::time_t> parse_http_date(const std::string& text) {
    for (const char* const format :
         {"%a, %d %b %Y %T GMT", "%A, %d-%b-%y %T GMT", "%a %b %e %T %Y"}) {
        std::tm date{};
        const char* const end = strptime(text.c_str(), format, &date);
        if (end != nullptr && *end == '\0') {
            return timegm(&date);
        }
    }
    return std::nullopt;
}

}  // namespace

bool is_passing(const std::exception& failure) {
    return contains(passing_statuses, boost::get_error_info<httpcode_tag>(failure)) ||
           contains(passing_codes, boost::get_error_info<curlcode_tag>(failure));
}

std::optional<std::chrono::seconds> parse_retry_after(const std::string& text,
                                                      std::chrono::system_clock::time_point now) {
    if (const auto seconds = parse_seconds(text)) {
        return seconds;
    }
    const auto date = parse_http_date(text);
    if (!date) {
        return std::nullopt;
    }
    const std::chrono::seconds wait{*date - std::chrono::system_clock::to_time_t(now)};
    return std::max(wait, std::chrono::seconds{0});
}

std::string describe_failure(const std::exception& failure) {
    if (const auto* const status = boost::get_error_info<httpcode_tag>(failure)) {
        return "HTTP status " + std::to_string(*status);
    }
    if (const auto* const code = boost::get_error_info<curlcode_tag>(failure)) {
        return curl_easy_strerror(*code);
    }
    return failure.what();
}

}  // namespace zephran::http
