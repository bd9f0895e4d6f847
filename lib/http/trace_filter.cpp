// SPDX-License-Identifier: Apache-2.0
#include "http/trace_filter.h"

#include <algorithm>

#include <boost/algorithm/string/predicate.hpp>

namespace zephran::http {

namespace {

constexpr const char* hidden = "***";

bool is_secret_header(const std::string& line) {
    const auto begins_line = [&](const char* name) { return boost::istarts_with(line, name); };
    const char* const names[] = {
        "Authorization:", "Proxy-Authorization:", "Cookie:", "Set-Cookie:"};
    return std::any_of(std::begin(names), std::end(names), begins_line);
}

/// The name and the password end with the last "@" before the path.
std::string without_user(std::string line) {
    const std::string mark = "://";
    for (auto at = line.find(mark); at != std::string::npos; at = line.find(mark, at)) {
        at += mark.size();
        const auto end = std::min(line.find_first_of("/?# '\"\r\n", at), line.size());
        const auto sign = line.substr(at, end - at).rfind('@');
        if (sign != std::string::npos) {
            line.replace(at, sign, hidden);
        }
    }
    return line;
}

std::string without_value(const std::string& line) {
    const auto end = line.find_last_not_of("\r\n") + 1;
    return line.substr(0, line.find(':') + 1) + " " + hidden + line.substr(end);
}

}  // namespace

std::string without_credentials(const std::string& piece) {
    std::string filtered;
    for (std::size_t at = 0; at < piece.size();) {
        const auto end = std::min(piece.find('\n', at), piece.size() - 1) + 1;
        const std::string line = piece.substr(at, end - at);
        filtered += is_secret_header(line) ? without_value(line) : without_user(line);
        at = end;
    }
    return filtered;
}

}  // namespace zephran::http
