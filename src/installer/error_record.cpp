// SPDX-License-Identifier: Apache-2.0
#include "installer/error_record.h"

#include "common/popen.h"
#include "common/record.h"
#include "installer/code_of.h"
#include "installer/exceptions.h"

namespace zephran {

namespace common {
namespace {

ZEPHRAN_REPORTED(popen_command);
ZEPHRAN_REPORTED(program_signal);

}  // namespace
}  // namespace common

namespace installer {
namespace {

ZEPHRAN_REPORTED(expected_version);
ZEPHRAN_REPORTED(found_version);
ZEPHRAN_REPORTED(image_size);
ZEPHRAN_REPORTED(partition_size);
ZEPHRAN_REPORTED(expected_label);
ZEPHRAN_REPORTED(found_label);
ZEPHRAN_REPORTED(installer_output);
ZEPHRAN_REPORTED(script_exit_code);
ZEPHRAN_REPORTED(script_output);

}  // namespace
}  // namespace installer

void ErrorRecord::keep_first(const std::exception& error) {
    keep_first(ErrorRecord{true, error.what(), common::describe_records(error), code_of(error)});
}

void ErrorRecord::keep_first(const ErrorRecord& other) {
    if (!has_error && other.has_error) {
        *this = other;
    }
}

}  // namespace zephran
