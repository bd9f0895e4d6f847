// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/exception.h"

namespace zephran::hawkbit {

/// Carries common::filename_tag.
struct UnsafeFilenameException : common::Exception {
    UnsafeFilenameException() : Exception{"Artifact file name is not safe to use"} {}
};
struct ChecksumMismatchException : common::Exception {
    ChecksumMismatchException()
        : Exception{"Calculated checksum does not match the one provided"} {}
};
struct VerificationFailedException : common::Exception {
    VerificationFailedException() : Exception{"Failed to verify artifact"} {}
};

}  // namespace zephran::hawkbit
