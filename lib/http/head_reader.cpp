// SPDX-License-Identifier: Apache-2.0
#include "http/head_reader.h"

#include <cstdlib>

#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/algorithm/string/trim.hpp>

namespace zephran::http {

namespace {

constexpr unsigned first_final_status = 200;

/// "HTTP/1.1 206 Partial Content"
unsigned status_in(const std::string& line) {
    const auto blank = line.find(' ');
    constexpr int base = 10;
    return blank == std::string::npos
               ? 0
               : static_cast<unsigned>(std::strtoul(line.c_str() + blank, nullptr, base));
}

}  // namespace

bool HeadReader::add(const std::string& line) {
    if (complete) {
        return false;
    }
    if (boost::starts_with(line, "HTTP/")) {
        head_ = AnswerHead{};
        head_.status = status_in(line);
    } else if (line == "\r\n" || line == "\n") {
        complete = head_.status >= first_final_status;
    } else {
        add_header(line);
    }
    return complete;
}

void HeadReader::add_header(const std::string& line) {
    const auto colon = line.find(':');
    if (colon == std::string::npos) {
        return;
    }
    const std::string name = line.substr(0, colon);
    const std::string value =
        boost::trim_copy_if(line.substr(colon + 1), boost::is_any_of(" \t\r\n"));
    if (boost::iequals(name, "ETag")) {
        head_.entity_tag = value;
    } else if (boost::iequals(name, "Content-Range")) {
        head_.content_range = value;
    } else if (boost::iequals(name, "Retry-After")) {
        head_.retry_after = value;
    }
}

}  // namespace zephran::http
