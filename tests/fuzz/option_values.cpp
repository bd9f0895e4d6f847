// SPDX-License-Identifier: Apache-2.0
// Options of the package: "section.option=value" for each, with "!" in front for one that cannot be
// read.
#include "fuzz/target.h"
#include "options/bus_options.h"
#include "options/download_options.h"
#include "options/report_options.h"
#include "options/service_options.h"
#include "options/transport_options.h"
#include "schedule/update_schedule.h"
#include "schedule/update_schedule_reader.h"
#include "store/device_store.h"
#include "support/memory_config.h"

namespace zephran::fuzz {

namespace {

constexpr std::uint32_t day = 86'400;

void fill(MemoryConfig& config, Input& input) {
    for (const std::string& option : input.texts()) {
        const auto sign = option.find('=');
        if (option.rfind('!', 0) == 0) {
            config.unreadable_keys.insert("zephran." + option.substr(1));
        } else if (sign != std::string::npos) {
            config.values["zephran." + option.substr(0, sign)] = option.substr(sign + 1);
        }
    }
}

template <class Number>
bool is_within(Number value, Number least, Number greatest) {
    return value >= least && value <= greatest;
}

void look_at_downloads(Config& config) {
    const DownloadOptions downloads = read_download_options(config);
    require(is_within(downloads.attempts, 1U, 1000U), "there are 1 to 1000 attempts");
    require(downloads.retry_delay <= day && downloads.retry_cap <= day,
            "no pause is longer than a day");
    require(downloads.space_reserve.value_or(0) <= 1'024'000'000'000U, "the reserve is bounded");
    static_cast<void>(read_digest(config));
}

void look_at_transport(Config& config) {
    http::TransportSettings settings;
    add_transport_options(config, "update.example", settings);
    const auto& limits = settings.limits;
    require(is_within(limits.connect_timeout.value_or(1), 1U, day), "a connection takes a day");
    require(is_within(limits.request_timeout.value_or(1), 1U, day), "a request takes a day");
    require(!limits.stall || is_within(limits.stall->seconds, 1U, day), "a stall lasts a day");
    require(limits.max_speed.value_or(1) >= 1, "a transfer goes on");
    require(!read_tenant(config).empty(), "there is always a tenant");
}

void look_at_service(Config& config) {
    const ServiceOptions service = read_service_options(config);
    const auto& limit = service.agent.installation.tool_limit;
    require(!limit || is_within(limit->count(), std::int64_t{1000}, std::int64_t{day} * 1000),
            "a tool takes a second to a day");
    if (service.download_dir) {
        const std::string path = *service.download_dir + "/";
        require(path.front() == '/' && path.size() > 2, "the directory is an absolute path");
        require(path.find("/../") == std::string::npos, "the directory leads nowhere else");
        require(path.find_first_of(" '\"$;&|<>()`\\\n*?~#") == std::string::npos,
                "the directory means nothing to a shell");
    }
    static_cast<void>(read_report_options(config));
    static_cast<void>(read_bus_extended(config));
}

void look_at_schedule(Config& config) {
    DeviceStore store{config};
    if (const auto schedule = read_update_schedule(store)) {
        require(is_within<int>(static_cast<int>(schedule->weekdays), 1, 127), "a week has 7 days");
        require(is_within<int>(schedule->get_start_hour(), 0, 24) &&
                    is_within<int>(schedule->get_end_hour(), 0, 24),
                "a day has 24 hours");
    }
    static_cast<void>(store.postponement());
}

}  // namespace

void try_input(Input input) {
    MemoryConfig config;
    fill(config, input);
    const auto stored = config.values;
    look_at_downloads(config);
    look_at_transport(config);
    look_at_service(config);
    look_at_schedule(config);
    require(config.values == stored && config.writes.empty(), "reading options writes nothing");
}

}  // namespace zephran::fuzz
