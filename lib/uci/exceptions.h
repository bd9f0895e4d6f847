#pragma once

#include "common/exception.h"

namespace zephran {

/// Key of the configuration value that could not be read.
using config_key_tag = boost::error_info<struct config_key_record, std::string>;

/// A configuration value cannot be read: its package, section or option is missing, it is not a
/// string, or there is no configuration store at all.
struct PackageNotFoundException : common::Exception {
    PackageNotFoundException() : Exception{"UCI package was not found"} {}
};

}  // namespace zephran
