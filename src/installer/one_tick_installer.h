// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/exception.h"
#include "installer/hawkbit_installer.h"

namespace zephran::installer {

/// An installer that runs its tools to their end within start_installation(). The daemon is blocked
/// meanwhile, so there is never a running installation to cancel.
class OneTickInstaller : public HawkbitInstaller {
protected:
    [[nodiscard]] bool installation_has_finished() override { return installed; }
    /// @throws CannotBeCancelledException
    void cancel_installation() override { ZEPHRAN_THROW(CannotBeCancelledException{}); }
    [[nodiscard]] bool cancellation_has_finished() override { return false; }

    /// To be called once the installation has succeeded.
    void set_installed() { installed = true; }

private:
    bool installed = false;
};

}  // namespace zephran::installer
