// SPDX-License-Identifier: Apache-2.0
// When a server that refuses a request for now wants to be asked again. Five bytes tell the time.
#include <algorithm>
#include <limits>

#include "fuzz/target.h"
#include "http/retry_policy.h"

namespace zephran::fuzz {

namespace {

using std::chrono::seconds;

/// Between the years 1953 and 2106.
std::chrono::system_clock::time_point read_time(Input& input) {
    constexpr unsigned bits_of_byte = 8;
    std::int64_t since_epoch = input.byte() % 2 == 0 ? 0 : -(std::int64_t{1} << 29U);
    for (unsigned shift = 0; shift < 4 * bits_of_byte; shift += bits_of_byte) {
        since_epoch += std::int64_t{input.byte()} << shift;
    }
    return std::chrono::system_clock::time_point{seconds{since_epoch}};
}

bool is_number(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

void try_input(Input input) {
    const auto now = read_time(input);
    const std::string text = input.rest();
    const auto wait = http::parse_retry_after(text, now);
    if (is_number(text)) {
        require(wait.has_value(), "a number is understood");
        require(wait > seconds{std::numeric_limits<std::int32_t>::max() - 1} ||
                    text.size() - std::min(text.find_first_not_of('0'), text.size() - 1) ==
                        std::to_string(wait->count()).size(),
                "a number is as long as it is");
    }
    if (!wait) {
        return;
    }
    require(*wait >= seconds{0}, "nobody waits for less than no time");
    const auto later = http::parse_retry_after(text, now + seconds{1});
    const seconds expected = is_number(text) ? *wait : std::max(*wait - seconds{1}, seconds{0});
    require(later == expected, "a date stays where it is while the time passes");
}

}  // namespace zephran::fuzz
