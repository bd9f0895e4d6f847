// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/option_not_found.h"

namespace zephran {

/// A configuration value cannot be read: its package, section or option is missing, it is not a
/// string, or there is no configuration store at all. Carries config_key_tag.
struct PackageNotFoundException : OptionNotFoundException {
    PackageNotFoundException() : OptionNotFoundException{"UCI package was not found"} {}
};

}  // namespace zephran
