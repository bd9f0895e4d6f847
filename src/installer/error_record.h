// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>

namespace zephran {

/// The error of a deployment or an installation. The first error is kept, as the likely cause of
/// later ones, which are only logged.
struct ErrorRecord {
    bool has_error = false;
    std::string error_message;
    std::string error_details;
    /// What code_of() says of the exception.
    int code = 0;

    /// Stores the exception's text, records and code unless there is already an error.
    void keep_first(const std::exception& error);
    /// Copies the other record unless there is already an error.
    void keep_first(const ErrorRecord& other);
};

}  // namespace zephran
