// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "common/mac_address.h"
#include "installer/download_folder.h"
#include "options/service_options.h"

namespace zephran {

/// What installers need to know about their target.
struct InstallerContext {
    /// Part types that may be installed; empty means all.
    std::vector<std::string> accepted_parts;
    /// The gateway property "installed_flash_type".
    std::string installed_flash_type;
    /// Name of the MTD device for bootloaders, without "/dev/".
    std::string bootloader_mtd;
    /// Maximum number of erase-and-write attempts on an MTD device.
    std::uint32_t mtd_write_attempts = 0;
    /// Address of the device that the agent represents.
    common::MacAddress mac_address;
    InstallationOptions options;
    /// Where the artifacts of the target are downloaded to.
    DownloadFolder download_folder;
};

}  // namespace zephran
