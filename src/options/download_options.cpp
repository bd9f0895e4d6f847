// SPDX-License-Identifier: Apache-2.0
#include "options/download_options.h"

#include "options/option_reader.h"

namespace zephran {

namespace {

constexpr const char* section = "network";

constexpr OptionReader::Range tries{1, 1000};
constexpr OptionReader::Range seconds_of_a_day{0, 86'400};
constexpr OptionReader::Range kilobytes{0, 1'000'000'000};
constexpr std::uint32_t default_reserve_kb = 4096;
constexpr std::uint64_t bytes_in_kb = 1024;

std::optional<std::uint64_t> read_space_reserve(const OptionReader& options) {
    const auto reserve = options.number("reserve_kb", kilobytes).value_or(default_reserve_kb);
    if (!options.flag("check_space").value_or(false)) {
        return std::nullopt;
    }
    return reserve * bytes_in_kb;
}

}  // namespace

DownloadOptions read_download_options(Config& config) {
    const OptionReader options{config, section};
    DownloadOptions read;
    read.attempts = options.number("attempts", tries).value_or(read.attempts);
    read.retry_delay = options.number("retry_delay", seconds_of_a_day).value_or(read.retry_delay);
    read.retry_cap = options.number("retry_cap", seconds_of_a_day).value_or(read.retry_cap);
    read.resume = options.flag("resume").value_or(read.resume);
    read.space_reserve = read_space_reserve(options);
    read.stop_transfers = options.flag("stop_transfers").value_or(read.stop_transfers);
    return read;
}

hawkbit::Digest read_digest(Config& config) {
    return OptionReader{config, section}
        .choice<hawkbit::Digest>(
            "digest", {{"md5", hawkbit::Digest::md5}, {"sha256", hawkbit::Digest::sha256}})
        .value_or(hawkbit::Digest::md5);
}

}  // namespace zephran
