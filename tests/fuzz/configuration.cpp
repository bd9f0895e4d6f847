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

std::optional<std::string> read(Store& store, const std::string& key) {
    try {
        return store.get_option(key);
    } catch (const OptionNotFoundException&) {
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

/// @returns what is stored afterwards
std::optional<std::string> write(Store& store, const std::string& key, const std::string& value) {
    const bool is_stored = store.set_option(key, value);
    const auto found = read(store, key);
    require(!is_stored || (value.empty() ? !found : found == value), "what is stored is read back");
    require(store.has_option(key) == found.has_value(), "what can be read is there");
    return found;
}

/// libuci writes the type of a section without quotes, so it destroys a file in which a type has a
/// quote or the like, whoever writes to it and whatever.
bool survives_a_write(Store& store) {
    for (const char* const key : known) {
        if (store.set_option(key, "1")) {
            return read(store, key) == "1";
        }
    }
    return true;
}

std::optional<std::string> record_begin(Store& store, const std::string& action,
                                        const std::string& chunk) {
    DeviceStore records{store};
    const bool is_recorded = records.record_begin(action, chunk, {"record_begin"});
    const auto found = read(store, known[1]);
    require(is_recorded == records.has_begun(action, chunk), "what was recorded has begun");
    require(!is_recorded || found == action + " " + chunk, "it is recorded as it is");
    return found;
}

}  // namespace

void try_input(Input input) {
    constexpr unsigned most_writes = 3;
    const std::uint8_t choice = input.byte();
    const DeviceConfiguration configuration;
    const std::string file = choice % 2 == 0 ? usual_file : input.text();
    configuration.write("zephran", file);
    Store store;
    if (file != usual_file) {
        if (!survives_a_write(store)) {
            return;
        }
        configuration.write("zephran", file);
    }
    Values values = read_all(store);
    for (unsigned writes = 0; writes < most_writes && !input.is_at_end(); ++writes) {
        const std::string key = known.at(input.byte() % known.size());
        const std::string value = input.text();
        values[key] =
            key == known[1] ? record_begin(store, value, input.text()) : write(store, key, value);
    }
    // Once at the end: each look reads the files, which takes most of the time.
    require(read_all(store) == values, "a write changes no other option");
}

}  // namespace zephran::fuzz
