// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/option_not_found.h"

namespace zephran {

/// Persistent key/value store of the device. Keys have the form "package.section.option". It may be
/// used by several threads at once.
class Config {
public:
    Config() = default;
    Config(const Config&) = delete;
    Config& operator=(const Config&) = delete;
    virtual ~Config() = default;

    /// True when the key names an existing string option.
    [[nodiscard]] virtual bool has_option(const std::string& key) = 0;
    /// @throws OptionNotFoundException with config_key_tag when has_option() would be false;
    ///         `unreadable` tells an option that cannot be read from a missing one
    [[nodiscard]] virtual std::string get_option(const std::string& key) = 0;
    /// Stores and commits. An empty value deletes the option; no section is ever created.
    /// @returns false when nothing, or not everything, was stored
    [[nodiscard]] virtual bool set_option(const std::string& key, const std::string& value) = 0;
    /// Deletes until the next reboot, or permanently with the next commit of the package.
    /// @returns false when nothing was deleted
    [[nodiscard]] virtual bool delete_option(const std::string& key) = 0;
};

}  // namespace zephran
