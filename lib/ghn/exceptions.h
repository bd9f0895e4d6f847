#pragma once

#include <string>

#include "common/exception.h"

namespace zephran::ghn {

/// What configlayer wrote to its standard output.
using configlayer_output_tag = boost::error_info<struct configlayer_output_record, std::string>;

/// Carries common::program_exit_code_tag and configlayer_output_tag, or boost::errinfo_errno when
/// configlayer could not be started. The command is left out: it holds the password, and records
/// reach the update server.
struct ConfigLayerFailedException : common::Exception {
    ConfigLayerFailedException() : Exception{"configlayer returned an error"} {}
};
/// Carries configlayer_output_tag.
struct ConfigLayerFormatException : common::Exception {
    ConfigLayerFormatException() : Exception{"configlayer returned data in an unknown format"} {}
};

}  // namespace zephran::ghn
