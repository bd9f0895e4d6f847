// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "support/redirected_uci.h"

namespace zephran {

/// Puts the process-wide UCI store on a temporary directory while the object lives. Nothing is set
/// at first.
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
        uci.directory.write("config/" + package, "config x '" + section + "'\n" + options + "\n");
    }
    /// Replaces the file of a package by this text.
    void write(const std::string& package, const std::string& text) const {
        uci.directory.write("config/" + package, text);
    }
    /// What is committed of a package.
    [[nodiscard]] std::string stored(const std::string& package) const {
        return uci.directory.read("config/" + package);
    }
    /// What is saved but not committed of a package.
    [[nodiscard]] std::string pending(const std::string& package) const {
        return uci.directory.read("saved/" + package);
    }

private:
    UciConfig original = UciConfig::Default;
    RedirectedUci uci;
};

}  // namespace zephran
