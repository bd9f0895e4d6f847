// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran::installer {

/// Where the firmware says what it is.
inline constexpr const char* nevra_version_file = "/etc/nevra-version";

/// Version of the running firmware, such as "2.1_20260101".
///
/// @param version_file shell script that sets FIRMWARE_VERSION and FIRMWARE_DATE
/// @throws ProgramExecutionFailedException with common::program_output_tag
std::string get_installed_nevra_version(const std::string& version_file = nevra_version_file);

}  // namespace zephran::installer
