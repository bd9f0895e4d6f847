// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <exception>
#include <optional>
#include <string>

namespace zephran::http {

/// Whether the same request may succeed a little later: the line is down or slow, or the server is
/// overloaded. Refusals, certificates that are not accepted and failed writes stay as they are.
[[nodiscard]] bool is_passing(const std::exception& failure);

/// How long a Retry-After header wants the next request to wait: a number of seconds, or a date. At
/// least zero; none for a text that is neither, and for an empty one.
[[nodiscard]] std::optional<std::chrono::seconds> parse_retry_after(
    const std::string& text, std::chrono::system_clock::time_point now);

/// A few words for the log: the status, or libcurl's text for the code.
[[nodiscard]] std::string describe_failure(const std::exception& failure);

}  // namespace zephran::http
