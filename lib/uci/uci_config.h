// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

namespace zephran {

class UciLibrary;

/// Key/value access to the UCI configuration store of the device through libuci.
///
/// Keys have the form "package.section.option". libuci splits them at the first "=" and at dots:
/// external text may become part of a key only if it consists of ASCII letters, digits and "_".
/// Nothing is stored under a key, or as a value, with a NUL: libuci would take it for the end.
/// Every call uses its own context, so several threads may use one object. Within the process, one
/// write waits for another. Of two programs that commit a package at the same time, libuci may lose
/// what one wrote, although set_option() returned true.
class UciConfig {
public:
    /// What it depends on. Other values than these are for unit tests.
    struct Environment {
        /// Null for the process-wide binding, UciLibrary::Default.
        const UciLibrary* library = nullptr;
        /// Called with each new uci_context before it is used, if set.
        std::function<void(void* context)> prepare_context;
    };

    /// @param overlay_directory see delta_path
    explicit UciConfig(std::string overlay_directory);
    UciConfig(std::string overlay_directory, Environment environment);

    /// The store of the device, with run-time values from "/tmp/state/" layered over it.
    static UciConfig& Default;

    /// True when the key names an existing option that is a string; a list does not count.
    [[nodiscard]] bool has_option(const std::string& key);

    /// @throws PackageNotFoundException with config_key_tag when has_option() would be false; it is
    ///         `unreadable` when libuci fails for another reason than that something is missing,
    ///         and for a list
    [[nodiscard]] std::string get_option(const std::string& key);

    /// Sets, saves and commits. libuci commits all pending changes of the package along with it,
    /// including those of other programs and of the overlay. It deletes the option when the value
    /// is empty, writes nothing when the value is unchanged and nothing is pending, and never
    /// creates a section.
    ///
    /// @returns true when all three steps succeeded; otherwise the value may be stored, pending
    ///          until the next commit, or lost
    [[nodiscard]] bool set_option(const std::string& key, const std::string& value);

    /// Deletes the option or section until the next reboot, or for good with the next commit of
    /// the package.
    ///
    /// @returns true when the deletion was made and saved
    [[nodiscard]] bool delete_option(const std::string& key);

    /// Directory added to the delta search path of every context; none if empty. What lies there
    /// overrides the stored configuration in reads. It is left out while it is a symbolic link,
    /// belongs to another user than root and the one of this process, or can be written to by
    /// others.
    std::string delta_path;

private:
    [[nodiscard]] const UciLibrary& library() const;

    const UciLibrary* library_;
    std::function<void(void* context)> prepare_context;
};

}  // namespace zephran
