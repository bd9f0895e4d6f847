// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <ostream>
#include <string>

#include <boost/exception/get_error_info.hpp>
#include <boost/exception/info.hpp>

namespace zephran::common {

/// Whether a report to the update server shows a record, and where.
struct ReportRank {
    bool shown;
    int position;
};

/// Shown in reports, in the order of positions. Every position is used once (script/check-records).
/// Each subject has its hundred: 1xx files, system calls and configuration, 2xx programs,
/// 3xx transfers, 4xx documents, 5xx deployments.
constexpr ReportRank reported_at(int position) {
    return {true, position};
}

/// Shown in the log only.
inline constexpr ReportRank not_reported{false, 0};

/// What reports need to know about one kind of record. ZEPHRAN_RECORD makes these objects. They
/// live as long as the program and enter a list, sorted by position, before main() runs.
class RecordDescription {
public:
    /// Writes the value of an exception's record; false when the exception has none of this kind.
    using Print = bool (*)(const boost::exception& error, std::ostream& stream);

    /// @param record_name a string literal
    RecordDescription(const char* record_name, ReportRank report_rank, Print print_value) noexcept;
    RecordDescription(const RecordDescription&) = delete;
    RecordDescription(RecordDescription&&) = delete;
    RecordDescription& operator=(const RecordDescription&) = delete;
    RecordDescription& operator=(RecordDescription&&) = delete;
    ~RecordDescription() = default;

    /// The first one in the list, null when there is none.
    [[nodiscard]] static const RecordDescription* first();
    [[nodiscard]] const RecordDescription* next() const { return next_; }

    const char* const name;
    const ReportRank rank;
    const Print print;

private:
    // Constants that are initialised later still enter the list behind this one.
    mutable const RecordDescription* next_ = nullptr;
};

template <class Record>
bool print_record(const boost::exception& error, std::ostream& stream) {
    const auto* const value = boost::get_error_info<Record>(error);
    if (value != nullptr) {
        stream << *value;
    }
    return value != nullptr;
}

/// The records of an exception that reports show, one "name: value" a line, a program's output
/// verbatim; empty for an exception without records.
///
/// Type names, function names and source locations are left out: the update server refuses a report
/// with texts such as boost::wrapexcept<...>, which look like markup.
std::string describe_records(const std::exception& error);

}  // namespace zephran::common

/// Declares NAME_tag, a record that exceptions carry, and says how reports show it. The tag type
/// has the same name, in a namespace of its own, because Boost's diagnostic text shows it.
///
///     /// Path of the file that an operation failed on.
///     ZEPHRAN_RECORD(filename, std::string, reported_at(105));
///
/// @param NAME name of the record in reports
/// @param TYPE of its value, which must have an insertion operator
/// @param RANK reported_at() or not_reported
#define ZEPHRAN_RECORD(NAME, TYPE, RANK)                                  \
    namespace record {                                                    \
    struct NAME##_tag;                                                    \
    }                                                                     \
    using NAME##_tag = ::boost::error_info<record::NAME##_tag, TYPE>;     \
    inline const ::zephran::common::RecordDescription NAME##_description( \
        #NAME, ::zephran::common::RANK, ::zephran::common::print_record<NAME##_tag>)
