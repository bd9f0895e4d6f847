// SPDX-License-Identifier: Apache-2.0
#include "installer/error_record.h"

#include "common/record.h"
#include "installer/code_of.h"

namespace zephran {

void ErrorRecord::keep_first(const std::exception& error) {
    keep_first(ErrorRecord{true, error.what(), common::describe_records(error), code_of(error)});
}

void ErrorRecord::keep_first(const ErrorRecord& other) {
    if (!has_error && other.has_error) {
        *this = other;
    }
}

}  // namespace zephran
