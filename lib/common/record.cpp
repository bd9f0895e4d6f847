// SPDX-License-Identifier: Apache-2.0
#include "common/record.h"

#include <sstream>

#include <boost/core/demangle.hpp>
#include <boost/exception/errinfo_api_function.hpp>
#include <boost/exception/errinfo_errno.hpp>

namespace zephran::common {

namespace {

// Initialised before any record enters the list, because it needs no code to run.
const ReportedRecord* first_record = nullptr;

// The records of Boost itself that exceptions of ours carry.
constexpr RecordDescription api_function_description{"api_function", reported_at(110),
                                                     print_record<boost::errinfo_api_function>};
constexpr RecordDescription error_number_description{"errno", reported_at(115),
                                                     print_record<boost::errinfo_errno>};
ZEPHRAN_REPORTED(api_function);
ZEPHRAN_REPORTED(error_number);

}  // namespace

ReportedRecord::ReportedRecord(const RecordDescription& of_record) noexcept
    : description{of_record} {
    const ReportedRecord** place = &first_record;
    while (*place != nullptr && (*place)->description.rank.position < description.rank.position) {
        place = &(*place)->next_;
    }
    next_ = *place;
    *place = this;
}

const ReportedRecord* ReportedRecord::first() {
    return first_record;
}

std::string diagnostic_line(const std::type_info& tag, const std::string& value) {
    return '[' + boost::core::demangle(tag.name()) + "] = " + value + '\n';
}

std::string describe_records(const std::exception& error) {
    const auto* const with_records = dynamic_cast<const boost::exception*>(&error);
    if (with_records == nullptr) {
        return {};
    }
    std::string lines;
    for (const auto* record = ReportedRecord::first(); record != nullptr; record = record->next()) {
        std::ostringstream value;
        if (record->description.print(*with_records, value)) {
            lines.append(lines.empty() ? "" : "\n")
                .append(record->description.name)
                .append(": ")
                .append(value.str());
        }
    }
    return lines;
}

}  // namespace zephran::common
