// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "http/transport_settings.h"

namespace zephran::http {

/// The token to send with a request, read anew from its file: its first line without blanks around.
/// "" for another server than the token's or a link that is not https, and, after a WARNING that
/// names the file, when there is no token in it.
[[nodiscard]] std::string token_for(const Authorization& authorization, const std::string& url);

/// The text with "***" in place of the secret wherever it occurs.
[[nodiscard]] std::string without_secret(const std::string& text, const std::string& secret);

}  // namespace zephran::http
