// SPDX-License-Identifier: Apache-2.0
#include "store/device_store.h"

#include <sstream>

#include "common/logprint.h"
#include "config.h"
#include "ghn/ghn_config.h"

namespace zephran {

namespace {

// Whichever store the platform has, its values are read here.
ZEPHRAN_REPORTED(config_key);

constexpr const char* schedule_enabled_key = "zephran.schedule.enabled";
constexpr const char* schedule_days_key = "zephran.schedule.daysofweek";
constexpr const char* schedule_start_time_key = "zephran.schedule.starttime";
constexpr const char* schedule_stop_time_key = "zephran.schedule.stoptime";

constexpr const char* automatic_update_key = "zephran.service.automatic_update";
constexpr const char* rebooted_key = "zephran.service.rebooted";

/// The part type follows.
constexpr const char* version_key_prefix = "zephran.device.version_";
constexpr const char* installation_time_key_prefix = "zephran.device.installation_time_";
constexpr const char* previous_firmware_key = "zephran.device.previous_version_os";
constexpr const char* unconfirmed_previous_firmware_key = "zephran.device.previous_version_os_tmp";

constexpr const char* begun_installation_key = "zephran.device.begun_installation";

constexpr const char* postponed_deployment_key = "zephran.device.postponed_deployment";

constexpr const char* ghn_interface_key = "ghn.ghn.interface";
constexpr const char* ghn_common_password_key = "ghn.ghn.password";
constexpr const char* ghn_own_password_key = "nevra-private.baptization.PwdGhnConfig";
constexpr const char* ghn_controller_mac_key = "nevra.baptization.LirnMacAddress";

constexpr const char* yes = "1";
constexpr const char* no = "0";

/// The store would take "=" and "." in a part type for the end of the key.
bool can_stand_in_key(const std::string& part) {
    constexpr const char* plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
    return part.find_first_not_of(plain) == std::string::npos;
}

std::optional<std::string> find_option(Config& config, const std::string& key) {
    try {
        return config.get_option(key);
    } catch (const OptionNotFoundException&) {
        return std::nullopt;
    }
}

std::string package_of(const std::string& key) {
    return key.substr(0, key.find('.'));
}

std::string option_or_empty(Config& config, const std::string& key) {
    return find_option(config, key).value_or(std::string{});
}

std::string record_of_part(Config& config, const char* key_prefix, const std::string& part) {
    return can_stand_in_key(part) ? option_or_empty(config, key_prefix + part) : std::string{};
}

/// How the record of an action's installation begins; the chunk string follows.
std::string begin_of(const std::string& action_id) {
    return action_id + " ";
}

void warn_not_stored(const std::string& key, const std::string& value,
                     const DeviceStore::Caller& caller) {
    ZLOG_WARNING_AS(caller.function, caller.field, caller.function, "message",
                    "could not store config entry", "key", key, "value", value);
}

}  // namespace

void DeviceStore::set_or_warn(const std::string& key, const std::string& value,
                              const Caller& caller) {
    if (!config->set_option(key, value)) {
        warn_not_stored(key, value, caller);
    }
}

void DeviceStore::set_reboot_mark(const char* value, const Caller& caller) {
    constexpr int attempts = 3;
    // A write that fails is no better the next time, unlike one that another program has undone.
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (!config->set_option(rebooted_key, value)) {
            break;
        }
        if (find_option(*config, rebooted_key) == value) {
            return;
        }
    }
    warn_not_stored(rebooted_key, value, caller);
}

bool DeviceStore::is_schedule_enabled() const {
    return config->get_option(schedule_enabled_key) == yes;
}

std::string DeviceStore::schedule_days() const {
    return config->get_option(schedule_days_key);
}

std::string DeviceStore::schedule_start_time() const {
    return config->get_option(schedule_start_time_key);
}

std::string DeviceStore::schedule_stop_time() const {
    return config->get_option(schedule_stop_time_key);
}

bool DeviceStore::is_automatic_update_enabled(const Caller& caller) {
    try {
        return config->get_option(automatic_update_key) != no;
    } catch (const OptionNotFoundException& error) {
        if (error.unreadable) {
            // The user may have switched them off: what cannot be read must not overrule that.
            ZLOG_ERROR_AS(caller.function, caller.field, caller.function, "message",
                          "option cannot be read, automatic updates count as off", "package",
                          package_of(automatic_update_key), "key", automatic_update_key);
            return false;
        }
    }
    ZLOG_WARNING_AS(caller.function, caller.field, caller.function, "message",
                    "missing config entry, setting default enabled");
    set_or_warn(automatic_update_key, yes, caller);
    return true;
}

void DeviceStore::mark_rebooted(const Caller& caller) {
    set_reboot_mark(yes, caller);
}

void DeviceStore::clear_reboot_mark(const Caller& caller) {
    set_reboot_mark(no, caller);
}

bool DeviceStore::take_reboot_mark(const Caller& caller) {
    const bool is_marked = find_option(*config, rebooted_key) == yes;
    if (is_marked) {
        clear_reboot_mark(caller);
    }
    return is_marked;
}

std::string DeviceStore::installed_version(const std::string& part) const {
    return record_of_part(*config, version_key_prefix, part);
}

std::string DeviceStore::installation_time(const std::string& part) const {
    return record_of_part(*config, installation_time_key_prefix, part);
}

void DeviceStore::record_installation(const std::string& part, const std::string& version,
                                      const std::string& time, const Caller& caller) {
    set_or_warn(version_key_prefix + part, version, caller);
    set_or_warn(installation_time_key_prefix + part, time, caller);
}

void DeviceStore::withdraw_installation(const std::string& part, const Caller& caller) {
    // The version first: it alone decides whether a chunk is installed.
    for (const char* const prefix : {version_key_prefix, installation_time_key_prefix}) {
        if (!record_of_part(*config, prefix, part).empty()) {
            set_or_warn(prefix + part, "", caller);
        }
    }
}

bool DeviceStore::has_begun(const std::string& action_id, const std::string& chunk) const {
    return find_option(*config, begun_installation_key) == begin_of(action_id) + chunk;
}

bool DeviceStore::record_begin(const std::string& action_id, const std::string& chunk,
                               const Caller& caller) {
    set_or_warn(begun_installation_key, begin_of(action_id) + chunk, caller);
    return has_begun(action_id, chunk);
}

void DeviceStore::forget_begin(const std::string& action_id, const Caller& caller) {
    const std::string begin = begin_of(action_id);
    if (option_or_empty(*config, begun_installation_key).compare(0, begin.size(), begin) == 0) {
        set_or_warn(begun_installation_key, "", caller);
    }
}

std::optional<DeviceStore::Postponement> DeviceStore::postponement() const {
    std::istringstream record{option_or_empty(*config, postponed_deployment_key)};
    Postponement read{};
    if (!(record >> read.until).ignore() || !std::getline(record, read.action_id)) {
        return std::nullopt;
    }
    return read;
}

void DeviceStore::set_postponement(const Postponement& postponement, const Caller& caller) {
    set_or_warn(postponed_deployment_key,
                std::to_string(postponement.until) + " " + postponement.action_id, caller);
}

void DeviceStore::forget_postponement(const Caller& caller) {
    if (!option_or_empty(*config, postponed_deployment_key).empty()) {
        set_or_warn(postponed_deployment_key, "", caller);
    }
}

std::optional<std::string> DeviceStore::unconfirmed_previous_firmware() const {
    return find_option(*config, unconfirmed_previous_firmware_key);
}

void DeviceStore::set_unconfirmed_previous_firmware(const std::string& version,
                                                    const Caller& caller) {
    set_or_warn(unconfirmed_previous_firmware_key, version, caller);
}

void DeviceStore::remove_unconfirmed_previous_firmware(const Caller& caller) {
    constexpr const char* key = unconfirmed_previous_firmware_key;
    if (!config->delete_option(key)) {
        ZLOG_WARNING_AS(caller.function, caller.field, caller.function, "message",
                        "could not delete config entry", "key", key);
    }
}

void DeviceStore::set_previous_firmware(const std::string& version, const Caller& caller) {
    set_or_warn(previous_firmware_key, version, caller);
}

ghn::GhnConfig DeviceStore::ghn_config() const {
    return {
        {ghn_interface_key, ghn_own_password_key, ghn_common_password_key, ghn_controller_mac_key},
        [store = config](const std::string& key) { return option_or_empty(*store, key); }};
}

}  // namespace zephran
