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

constexpr std::array<const char*, 6> known{
    "zephran.device.version_os", "zephran.device.begun_installation", "zephran.device.a",
    "zephran.service.rebooted",  "zephran.service.log_secrets",       "zephran.network.tenant"};

const char* const usual_file = R"(
config device 'device'
	option version_os '1.0'
	option a 'it'\''s'
	list b 'one'

config service 'service'
	option rebooted "0"
	option log_secrets 1
)";

using Values = std::map<std::string, std::optional<std::string>>;
using Store = platform::openwrt::UciConfigWrapper;

std::optional<std::string> read(Store& store, const std::string& key) {
    try {
        const std::string value = store.get_option(key);
        require(store.has_option(key), "what can be read is there");
        return value;
    } catch (const OptionNotFoundException&) {
        require(!store.has_option(key), "what is there can be read");
        return std::nullopt;
    }
}

Values read_all(Store& store) {
    Values values;
    for (const char* const key : known) {
        values[key] = read(store, key);
    }
    return values;
}

void require_others_unchanged(const Values& before, const Values& after, const std::string& key) {
    for (const auto& [other, value] : before) {
        require(other == key || after.at(other) == value, "a write changes no other option");
    }
}

void write(Store& store, const std::string& key, const std::string& value) {
    const Values before = read_all(store);
    const bool is_stored = store.set_option(key, value);
    const Values after = read_all(store);
    require_others_unchanged(before, after, key);
    if (!is_stored) {
        return;
    }
    const auto found = read(store, key);
    require(value.empty() ? !found : found == value, "what was stored is read back");
}

void record_begin(Store& store, const std::string& action, const std::string& chunk) {
    constexpr const char* key = "zephran.device.begun_installation";
    const Values before = read_all(store);
    DeviceStore records{store};
    const bool is_recorded = records.record_begin(action, chunk, {"record_begin"});
    require_others_unchanged(before, read_all(store), key);
    require(is_recorded == records.has_begun(action, chunk), "what was recorded has begun");
}

}  // namespace

void try_input(Input input) {
    const std::uint8_t choice = input.byte();
    const DeviceConfiguration configuration;
    configuration.write("zephran", choice % 2 == 0 ? usual_file : input.text());
    Store store;
    while (!input.is_at_end()) {
        const std::string key = known.at(input.byte() % known.size());
        const std::string value = input.text();
        if (key == known[1]) {
            record_begin(store, value, input.text());
        } else {
            write(store, key, value);
        }
    }
}

}  // namespace zephran::fuzz
