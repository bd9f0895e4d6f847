// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

#include "common/exception.h"
#include "common/record.h"

namespace zephran::installer {

ZEPHRAN_RECORD(expected_version, std::string, reported_at(245));
ZEPHRAN_RECORD(found_version, std::string, reported_at(250));
/// Bytes.
ZEPHRAN_RECORD(image_size, std::int64_t, reported_at(255));
ZEPHRAN_RECORD(partition_size, std::int64_t, reported_at(260));
ZEPHRAN_RECORD(script_exit_code, int, reported_at(225));
/// A script's standard output.
ZEPHRAN_RECORD(script_output, std::string, reported_at(230));
ZEPHRAN_RECORD(expected_label, std::string, reported_at(265));
ZEPHRAN_RECORD(found_label, std::string, reported_at(270));
/// The output of a package manager.
ZEPHRAN_RECORD(installer_output, std::string, reported_at(235));
/// Its exit status.
ZEPHRAN_RECORD(installer_exit_code, int, not_reported);

/// Carries those of common::program_output_tag, common::program_exit_code_tag,
/// common::program_signal_tag and common::popen_command_tag that are known.
struct ProgramExecutionFailedException : common::Exception {
    ProgramExecutionFailedException() : Exception{"External program returned an error"} {}
};
/// Carries expected_version_tag and found_version_tag.
struct VersionMismatchException : common::Exception {
    VersionMismatchException()
        : Exception{"Expected version does not match the version that was found"} {}
};
/// Without the record the installation would be repeated after each reboot that it ends in.
struct InstallationNotRecordedException : common::Exception {
    InstallationNotRecordedException()
        : Exception{"The start of the installation could not be recorded"} {}
};
/// Carries installer_output_tag and installer_exit_code_tag.
struct PackageInstallFailedException : common::Exception {
    PackageInstallFailedException() : Exception{"Failed to install the package"} {}
};
/// Carries the flash device as common::filename_tag, image_size_tag and partition_size_tag.
struct ImageTooLargeException : common::Exception {
    ImageTooLargeException() : Exception{"Image is larger than the partition"} {}
};
/// Carries the flash device as common::filename_tag, expected_label_tag and found_label_tag.
struct WrongPartitionException : common::Exception {
    WrongPartitionException() : Exception{"Flash partition has another label than configured"} {}
};
struct InstallationFailedException : common::Exception {
    InstallationFailedException() : Exception{"Failed to install artifacts"} {}
};
/// Carries the flash device as common::filename_tag.
struct VerificationFailedException : common::Exception {
    VerificationFailedException() : Exception{"Flash verification failed"} {}
};

}  // namespace zephran::installer
