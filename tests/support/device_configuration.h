#pragma once

#include <filesystem>
#include <string>

#include "support/redirected_uci.h"

namespace zephran {

/// Puts the process-wide configuration store on a temporary directory while the object lives.
/// Nothing is set at first.
class DeviceConfiguration {
public:
    DeviceConfiguration() { UciConfig::Default = UciConfig{"", uci.environment()}; }
    DeviceConfiguration(const DeviceConfiguration&) = delete;
    DeviceConfiguration(DeviceConfiguration&&) = delete;
    DeviceConfiguration& operator=(const DeviceConfiguration&) = delete;
    DeviceConfiguration& operator=(DeviceConfiguration&&) = delete;
    ~DeviceConfiguration() { UciConfig::Default = original; }

    /// Replaces a package by one section.
    /// @param options lines such as "option name 'value'"
    void set(const std::string& package, const std::string& section,
             const std::string& options) const {
        uci.directory.write(file_of(package), "config x '" + section + "'\n" + options + "\n");
    }
    /// What a gateway on a powerline network has, save its own modem's address.
    void set_ghn(const std::string& interface, const std::string& password) const {
        set("ghn", "ghn",
            "option interface '" + interface + "'\noption password '" + password + "'");
    }
    void set_controller_mac(const std::string& address) const {
        set("nevra", "baptization", "option LirnMacAddress '" + address + "'");
    }
    void remove(const std::string& package) const { std::filesystem::remove(path_of(package)); }
    [[nodiscard]] std::string path_of(const std::string& package) const {
        return uci.directory.path(file_of(package));
    }

private:
    static std::string file_of(const std::string& package) { return "config/" + package; }

    UciConfig original = UciConfig::Default;
    RedirectedUci uci;
};

}  // namespace zephran
