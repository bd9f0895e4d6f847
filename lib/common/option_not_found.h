// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/exception.h"
#include "common/record.h"

namespace zephran {

/// Key of the configuration value that could not be read.
ZEPHRAN_RECORD(config_key, std::string, reported_at(120));

/// A configuration value cannot be read. What the store of a platform throws derives from this, so
/// that callers need not know which store it is. Carries config_key_tag.
struct OptionNotFoundException : common::Exception {
    /// @param fixed_text a string literal; only the pointer is kept.
    explicit OptionNotFoundException(
        const char* fixed_text = "Configuration option was not found") noexcept
        : Exception{fixed_text} {}

    /// The option may exist all the same: what holds it cannot be read, or it is not a string.
    bool unreadable = false;
};

}  // namespace zephran
