#include "error_record.h"

#include "error_details.h"

namespace zephran {

void ErrorRecord::keep_first(const std::exception& error) {
    keep_first(ErrorRecord{true, error.what(), describe_records(error)});
}

void ErrorRecord::keep_first(const ErrorRecord& other) {
    if (!has_error && other.has_error) {
        *this = other;
    }
}

}  // namespace zephran
