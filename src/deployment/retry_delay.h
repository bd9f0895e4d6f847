// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

#include "options/download_options.h"

namespace zephran {

/// Draws a number from 0 to `greatest`, each as likely as the others.
using DrawNumber = std::function<std::uint32_t(std::uint32_t greatest)>;

/// Seconds until the next try: up to the first delay after one failure, up to twice as long after
/// each further one, never above the cap. A server that says when it wants to be asked again is
/// asked no sooner, up to the cap.
[[nodiscard]] std::uint32_t retry_delay(const DownloadOptions& options, std::uint32_t failures,
                                        std::optional<std::chrono::seconds> retry_after,
                                        const DrawNumber& draw);

/// The system's random numbers.
[[nodiscard]] std::uint32_t draw_number(std::uint32_t greatest);

}  // namespace zephran
