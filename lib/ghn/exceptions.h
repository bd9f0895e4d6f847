// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/exception.h"
#include "common/record.h"

namespace zephran::ghn {

/// What configlayer wrote to its standard output.
ZEPHRAN_RECORD(configlayer_output, std::string, reported_at(240));

/// Carries common::program_exit_code_tag and configlayer_output_tag, or boost::errinfo_errno when
/// configlayer could not be started. It does not carry the command, which contains the password:
/// records are sent to the update server.
struct ConfigLayerFailedException : common::Exception {
    ConfigLayerFailedException() : Exception{"configlayer returned an error"} {}
};
/// Carries configlayer_output_tag.
struct ConfigLayerFormatException : common::Exception {
    ConfigLayerFormatException() : Exception{"configlayer returned data in an unknown format"} {}
};

}  // namespace zephran::ghn
