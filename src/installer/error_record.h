#pragma once

#include <exception>
#include <string>

namespace zephran {

/// What went wrong in a deployment or an installation. The first error is the cause of what follows
/// and stays; later ones are only logged.
struct ErrorRecord {
    bool has_error = false;
    std::string error_message;
    std::string error_details;

    /// Takes the exception's text and records unless there is an error already.
    void keep_first(const std::exception& error);
    /// Takes over another record unless there is an error already.
    void keep_first(const ErrorRecord& other);
};

}  // namespace zephran
