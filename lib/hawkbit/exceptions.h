// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "common/exception.h"
#include "common/record.h"

namespace zephran::hawkbit {

/// Bytes that a download takes, and those that are free.
ZEPHRAN_RECORD(needed, std::uint64_t, reported_at(125));
ZEPHRAN_RECORD(available, std::uint64_t, reported_at(130));

/// Carries common::filename_tag.
struct UnsafeFilenameException : common::Exception {
    UnsafeFilenameException() : Exception{"Artifact file name is not safe to use"} {}
};
/// Carries needed_tag, available_tag.
struct NotEnoughSpaceException : common::Exception {
    NotEnoughSpaceException() : Exception{"Not enough space for the artifact"} {}
};
struct ChecksumMismatchException : common::Exception {
    ChecksumMismatchException()
        : Exception{"Calculated checksum does not match the one provided"} {}
};
struct VerificationFailedException : common::Exception {
    VerificationFailedException() : Exception{"Failed to verify artifact"} {}
};

}  // namespace zephran::hawkbit
