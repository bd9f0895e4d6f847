// SPDX-License-Identifier: Apache-2.0
#include "agent/unsent_report.h"

#include <boost/exception/get_error_info.hpp>

#include "http/exceptions.h"

namespace zephran {

void UnsentReport::shorten() {
    Json::Value& details = document["status"]["details"];
    if (details.isArray() && details.size() > 1) {
        details.resize(1);
    }
    is_shortened = true;
}

ReportFate fate_after(const std::exception& failure) {
    constexpr unsigned first_server_error = 500;
    const auto* const status = boost::get_error_info<http::httpcode_tag>(failure);
    if (status == nullptr || *status >= first_server_error) {
        return ReportFate::waits;
    }
    switch (*status) {
        case 401:
        case 407:
        case 408:
        case 409:
        case 425:
        case 429:
            return ReportFate::waits;
        case 404:
        case 405:
        case 410:
            return ReportFate::obsolete;
        default:
            return ReportFate::refused;
    }
}

}  // namespace zephran
