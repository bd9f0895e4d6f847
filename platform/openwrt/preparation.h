// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace zephran::platform::openwrt {

/// Frees memory for a firmware image. Each object takes each step to its end at most once. Nothing
/// is undone, since a firmware installation ends in a reboot.
class Preparation {
public:
    /// The longest time that a program may take; none without a value.
    using Limit = std::optional<std::chrono::milliseconds>;

    /// The programs that it runs. Other values than these are for unit tests.
    struct Environment {
        std::string download_script = "/sbin/prepare_download.sh";
        /// Stopped before an installation, on devices that have it.
        std::string service_script = "/etc/init.d/opensync";
    };

    Preparation() : Preparation{Environment{}} {}
    explicit Preparation(Environment environment);

    /// Runs the download script for a firmware part and waits for it. Its exit code is ignored.
    /// @param part type of the chunk that is about to be downloaded
    /// @throws common::POpenFailedException when no process can be started
    /// @throws common::AbnormalTerminationException when a signal or the limit ends its shell; the
    ///         next firmware part runs it again
    void prepare_download(const std::string& part, const Limit& limit = std::nullopt);

    /// Stops the service for a firmware part. If the device does not have the service, the next
    /// firmware part checks again.
    /// @param part type of the chunk that is about to be installed
    /// @throws common::POpenFailedException when no process can be started
    /// @throws common::AbnormalTerminationException when a signal or the limit ends it; the next
    ///         firmware part runs it again
    void prepare_install(const std::string& part, const Limit& limit = std::nullopt);

private:
    std::string download_script;
    std::string service_script;
    bool download_prepared = false;
    bool install_prepared = false;
};

}  // namespace zephran::platform::openwrt
