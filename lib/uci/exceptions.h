#pragma once

#include "common/exception.h"
#include "common/record.h"

namespace zephran {

/// Key of the configuration value that could not be read.
ZEPHRAN_RECORD(config_key, std::string, reported_at(120));

/// A configuration value cannot be read: its package, section or option is missing, it is not a
/// string, or there is no configuration store at all.
struct PackageNotFoundException : common::Exception {
    PackageNotFoundException() : Exception{"UCI package was not found"} {}
};

}  // namespace zephran
