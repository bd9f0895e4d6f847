// SPDX-License-Identifier: Apache-2.0
#include "deployment/retry_delay.h"

#include <algorithm>
#include <random>

namespace zephran {

std::uint32_t retry_delay(const DownloadOptions& options, std::uint32_t failures,
                          std::optional<std::chrono::seconds> retry_after, const DrawNumber& draw) {
    std::uint64_t longest = options.retry_delay;
    for (std::uint32_t i = 1; i < failures && longest < options.retry_cap; ++i) {
        longest *= 2;
    }
    const auto cap = std::uint64_t{options.retry_cap};
    const std::uint64_t wanted = retry_after ? static_cast<std::uint64_t>(retry_after->count()) : 0;
    const std::uint32_t drawn = draw(static_cast<std::uint32_t>(std::min(longest, cap)));
    return std::max(drawn, static_cast<std::uint32_t>(std::min(wanted, cap)));
}

std::uint32_t draw_number(std::uint32_t greatest) {
    std::random_device device;
    return std::uniform_int_distribution<std::uint32_t>{0, greatest}(device);
}

}  // namespace zephran
