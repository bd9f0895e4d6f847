// SPDX-License-Identifier: Apache-2.0
#include "common/record.h"

#include <sstream>

#include <boost/exception/errinfo_api_function.hpp>
#include <boost/exception/errinfo_errno.hpp>

namespace zephran::common {

namespace {

// Initialised before any description is made, because it needs no code to run.
const RecordDescription* first_description = nullptr;

// The records of Boost itself that exceptions of ours carry.
const RecordDescription api_function{"api_function", reported_at(110),
                                     print_record<boost::errinfo_api_function>};
const RecordDescription error_number{"errno", reported_at(115), print_record<boost::errinfo_errno>};

}  // namespace

RecordDescription::RecordDescription(const char* record_name, ReportRank report_rank,
                                     Print print_value) noexcept
    : name{record_name}, rank{report_rank}, print{print_value} {
    const RecordDescription** place = &first_description;
    while (*place != nullptr && (*place)->rank.position < rank.position) {
        place = &(*place)->next_;
    }
    next_ = *place;
    *place = this;
}

const RecordDescription* RecordDescription::first() {
    return first_description;
}

std::string describe_records(const std::exception& error) {
    const auto* const with_records = dynamic_cast<const boost::exception*>(&error);
    if (with_records == nullptr) {
        return {};
    }
    std::string lines;
    for (const auto* record = RecordDescription::first(); record != nullptr;
         record = record->next()) {
        std::ostringstream value;
        if (record->rank.shown && record->print(*with_records, value)) {
            lines.append(lines.empty() ? "" : "\n")
                .append(record->name)
                .append(": ")
                .append(value.str());
        }
    }
    return lines;
}

}  // namespace zephran::common
