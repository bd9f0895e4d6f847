// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran::http {

/// A piece of libcurl's trace with "***" in place of what proves who somebody
/// is: the values of the headers Authorization, Proxy-Authorization, Cookie and
/// Set-Cookie, and the name and password in an address such as that of a proxy.
/// @param piece whole lines, as libcurl hands them over
[[nodiscard]] std::string without_credentials(const std::string& piece);

}  // namespace zephran::http
