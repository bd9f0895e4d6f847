// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "http/curl_request.h"
#include "http/transport_settings.h"

namespace zephran::http {

/// Logs one transfer that has ended: a failed one at WARNING (event "http_error", with the status
/// or with libcurl's code and its text), the others at INFO (event "http_request") if all are
/// wanted. Of headers and bodies it shows nothing, of the query nothing but the length of the
/// history.
void log_transfer(TransferLog wanted, const CurlRequest& request, CURLcode result);

/// Scheme, credentials and query are left out, but not "actionHistory=N".
[[nodiscard]] std::string logged_path(const std::string& url);

}  // namespace zephran::http
