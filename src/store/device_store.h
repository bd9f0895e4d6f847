// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace zephran {

class Config;

namespace ghn {
class GhnConfig;
}  // namespace ghn

/// What the daemon keeps in the configuration store of the device, and what it reads there. Every
/// key and every default value stands here and in device_store.cpp, and nowhere else.
///
/// A write that fails is logged at WARNING and has no other effect. Objects are cheap to make, and
/// several threads may use them at once.
class DeviceStore {
public:
    /// The function on whose behalf something is written, for the log.
    struct Caller {
        const char* function;
        /// Key of the log field that holds the function's name.
        const char* field = "action";
    };

    /// @param device_config must outlive this object
    explicit DeviceStore(Config& device_config) : config{&device_config} {}

    /// @name Weekly update schedule
    /// @throws OptionNotFoundException when the option is not set
    /// @{
    [[nodiscard]] bool is_schedule_enabled() const;
    /// English names of weekdays, separated by blanks.
    [[nodiscard]] std::string schedule_days() const;
    /// "HH:MM", local time.
    [[nodiscard]] std::string schedule_start_time() const;
    [[nodiscard]] std::string schedule_stop_time() const;
    /// @}

    /// Whether deployments start without the consent of the user. The default, true, is stored when
    /// the option is not set, with a WARNING in the log. They do not, with an ERROR, while the
    /// option cannot be read; nothing is stored then.
    bool is_automatic_update_enabled(const Caller& caller);

    /// @name Reboot mark: an installation that reboots the device is under way
    /// Each write is read back, and repeated if another program has undone it meanwhile.
    /// @{
    void mark_rebooted(const Caller& caller);
    void clear_reboot_mark(const Caller& caller);
    /// Clears the mark.
    /// @returns whether it was set
    [[nodiscard]] bool take_reboot_mark(const Caller& caller);
    /// @}

    /// @name Installed version of each part type
    /// Part types come from the network. Those that cannot stand in a key have no record.
    /// @{
    /// "" when there is no record.
    [[nodiscard]] std::string installed_version(const std::string& part) const;
    /// Such as "2024-03-01T12:00:00Z", "" when there is no record.
    [[nodiscard]] std::string installation_time(const std::string& part) const;
    /// @param part the type of a part that was installed, so one that can stand in a key
    void record_installation(const std::string& part, const std::string& version,
                             const std::string& time, const Caller& caller);
    /// Removes both, if there are any.
    void withdraw_installation(const std::string& part, const Caller& caller);
    /// @}

    /// @name Firmware that ran before the current one
    /// Unconfirmed until the new firmware is known to run.
    /// @{
    [[nodiscard]] std::optional<std::string> unconfirmed_previous_firmware() const;
    void set_unconfirmed_previous_firmware(const std::string& version, const Caller& caller);
    void remove_unconfirmed_previous_firmware(const Caller& caller);
    void set_previous_firmware(const std::string& version, const Caller& caller);
    /// @}

    /// @name Installation that this gateway has begun and not closed
    /// @{
    [[nodiscard]] bool has_begun(const std::string& action_id, const std::string& chunk) const;
    /// @returns whether the record can be read back
    [[nodiscard]] bool record_begin(const std::string& action_id, const std::string& chunk,
                                    const Caller& caller);
    /// Removes the record if it is that of this action.
    void forget_begin(const std::string& action_id, const Caller& caller);
    /// @}

    /// @name Deployment that the user has postponed
    /// @{
    struct Postponement {
        std::string action_id;
        /// Seconds since the epoch.
        long long until;
    };
    [[nodiscard]] std::optional<Postponement> postponement() const;
    void set_postponement(const Postponement& postponement, const Caller& caller);
    void forget_postponement(const Caller& caller);
    /// @}

    /// How the modems of the powerline network are reached.
    [[nodiscard]] ghn::GhnConfig ghn_config() const;

private:
    void set_or_warn(const std::string& key, const std::string& value, const Caller& caller);
    void set_reboot_mark(const char* value, const Caller& caller);

    Config* config;
};

}  // namespace zephran
