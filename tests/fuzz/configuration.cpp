// SPDX-License-Identifier: Apache-2.0
// The configuration store. The first byte is odd if the next text is the file, else the file is a
// usual one; then follow names of options in the section "device" and their new values.
#include <array>
#include <map>
#include <optional>

#include "fuzz/target.h"
#include "openwrt/uci_config_wrapper.h"
#include "store/device_store.h"
#include "support/device_configuration.h"

namespace zephran::fuzz {

namespace {

constexpr std::array<const char*, 5> known{"zephran.device.version_os",
                                           "zephran.device.begun_installation", "zephran.device.a",
                                           "zephran.service.rebooted", "zephran.network.tenant"};

const char* const usual_file = R"(
config device 'device'
	option version_os '1.0'
	option a 'it'\''s'
	list b 'one'

config service 'service'
	option rebooted "0"

config network 'network'
	option tenant "ten''ant"
)";

using Values = std::map<std::string, std::optional<std::string>>;
using Store = platform::openwrt::UciConfigWrapper;

Values read_all(Store& store) {
    Values values;
    for (const char* const key : known) {
        try {
            values[key] = store.get_option(key);
        } catch (const OptionNotFoundException&) {
            values[key] = std::nullopt;
        }
    }
    return values;
}

void require_others_unchanged(const Values& before, const Values& after, const std::string& key) {
    for (const auto& [other, value] : before) {
        require(other == key || after.at(other) == value, "a write changes no other option");
    }
}

/// @returns what is stored afterwards
Values write(Store& store, const Values& before, const std::string& key, const std::string& value) {
    const bool is_stored = store.set_option(key, value);
    Values after = read_all(store);
    require_others_unchanged(before, after, key);
    const auto& found = after.at(key);
    require(!is_stored || (value.empty() ? !found : found == value), "what is stored is read back");
    require(store.has_option(key) == found.has_value(), "what can be read is there");
    return after;
}

Values record_begin(Store& store, const Values& before, const std::string& action,
                    const std::string& chunk) {
    DeviceStore records{store};
    const bool is_recorded = records.record_begin(action, chunk, {"record_begin"});
    Values after = read_all(store);
    require_others_unchanged(before, after, known[1]);
    require(is_recorded == records.has_begun(action, chunk), "what was recorded has begun");
    require(!is_recorded || after.at(known[1]) == action + " " + chunk, "it is recorded as it is");
    return after;
}

}  // namespace

void try_input(Input input) {
    constexpr unsigned most_writes = 3;
    const std::uint8_t choice = input.byte();
    const DeviceConfiguration configuration;
    configuration.write("zephran", choice % 2 == 0 ? usual_file : input.text());
    Store store;
    Values values = read_all(store);
    for (unsigned writes = 0; writes < most_writes && !input.is_at_end(); ++writes) {
        const std::string key = known.at(input.byte() % known.size());
        const std::string value = input.text();
        values = key == known[1] ? record_begin(store, values, value, input.text())
                                 : write(store, values, key, value);
    }
}

}  // namespace zephran::fuzz
