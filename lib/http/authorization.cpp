// SPDX-License-Identifier: Apache-2.0
#include "http/authorization.h"

#include <fstream>

#include <boost/algorithm/string/replace.hpp>

#include "common/logprint.h"
#include "common/uri.h"

namespace zephran::http {

namespace {

constexpr const char* secure_scheme = "https";
constexpr const char* default_port = ":443";
constexpr const char* blanks = " \t\r";

std::string with_port(const std::string& server) {
    // The colons of an IPv6 address stand in brackets.
    const auto colon =
        server.find(':', server.rfind(']') == std::string::npos ? 0 : server.rfind(']'));
    return colon == std::string::npos ? server + default_port : server;
}

bool is_for(const Authorization& authorization, const common::URI& uri) {
    return uri.scheme() == secure_scheme &&
           with_port(uri.authority()) == with_port(authorization.server);
}

std::string first_line(const std::string& filename) {
    std::ifstream file{filename};
    std::string line;
    std::getline(file, line);
    const auto first = line.find_first_not_of(blanks);
    return first == std::string::npos
               ? std::string{}
               : line.substr(first, line.find_last_not_of(blanks) + 1 - first);
}

}  // namespace

std::string token_for(const Authorization& authorization, const std::string& url) {
    if (!is_for(authorization, common::URI{url})) {
        return {};
    }
    std::string token = first_line(authorization.token_file);
    if (token.empty()) {
        ZLOG_WARNING("event", "token_missing", "message", "no token can be read from the file",
                     "filename", authorization.token_file);
    }
    return token;
}

std::string without_secret(const std::string& text, const std::string& secret) {
    return secret.empty() ? text : boost::replace_all_copy(text, secret, "***");
}

}  // namespace zephran::http
