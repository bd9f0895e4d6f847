#pragma once

#include <string>

#include "common/exception.h"

namespace zephran::installer {

using expected_version_tag = boost::error_info<struct expected_version_record, std::string>;
using found_version_tag = boost::error_info<struct found_version_record, std::string>;
/// What a package manager wrote.
using installer_output_tag = boost::error_info<struct installer_output_record, std::string>;

/// Carries what is known of common::program_output_tag, common::program_exit_code_tag,
/// common::program_signal_tag and common::popen_command_tag.
struct ProgramExecutionFailedException : common::Exception {
    ProgramExecutionFailedException() : Exception{"External program returned an error"} {}
};
/// Carries expected_version_tag and found_version_tag.
struct VersionMismatchException : common::Exception {
    VersionMismatchException()
        : Exception{"Expected version does not match the version that was found"} {}
};
/// Carries installer_output_tag.
struct PackageInstallFailedException : common::Exception {
    PackageInstallFailedException() : Exception{"Failed to install the package"} {}
};
struct InstallationFailedException : common::Exception {
    InstallationFailedException() : Exception{"Failed to install artifacts"} {}
};
/// Carries the flash device as common::filename_tag.
struct VerificationFailedException : common::Exception {
    VerificationFailedException() : Exception{"Flash verification failed"} {}
};

}  // namespace zephran::installer
