// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <ostream>
#include <string>
#include <typeinfo>

#include <boost/exception/get_error_info.hpp>
#include <boost/exception/info.hpp>
#include <boost/exception/to_string_stub.hpp>

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

/// What reports need to know about one kind of record. ZEPHRAN_RECORD makes these constants.
struct RecordDescription {
    /// Writes the value of an exception's record; false when the exception has none of this kind.
    using Print = bool (*)(const boost::exception& error, std::ostream& stream);

    /// @param record_name a string literal
    constexpr RecordDescription(const char* record_name, ReportRank report_rank,
                                Print print_value) noexcept
        : name{record_name}, rank{report_rank}, print{print_value} {}

    const char* name;
    ReportRank rank;
    Print print;
};

/// One kind of record that reports show. ZEPHRAN_REPORTED makes these objects. They live as long as
/// the program and enter a list, sorted by position, before main() runs.
class ReportedRecord {
public:
    /// @param of_record a constant
    explicit ReportedRecord(const RecordDescription& of_record) noexcept;
    ReportedRecord(const ReportedRecord&) = delete;
    ReportedRecord(ReportedRecord&&) = delete;
    ReportedRecord& operator=(const ReportedRecord&) = delete;
    ReportedRecord& operator=(ReportedRecord&&) = delete;
    ~ReportedRecord() = default;

    /// The first one in the list, null when there is none.
    [[nodiscard]] static const ReportedRecord* first();
    [[nodiscard]] const ReportedRecord* next() const { return next_; }

    const RecordDescription& description;

private:
    // Constants that are initialised later still enter the list behind this one.
    mutable const ReportedRecord* next_ = nullptr;
};

template <class Record>
bool print_record(const boost::exception& error, std::ostream& stream) {
    const auto* const value = boost::get_error_info<Record>(error);
    if (value != nullptr) {
        stream << *value;
    }
    return value != nullptr;
}

/// The line that Boost's diagnostic text has for a record. Boost itself would compile a function
/// for this into each kind of record.
/// @param tag type of a pointer to the record's tag
std::string diagnostic_line(const std::type_info& tag, const std::string& value);

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
/// @param RANK reported_at(), which needs a ZEPHRAN_REPORTED as well, or not_reported
#define ZEPHRAN_RECORD(NAME, TYPE, RANK)                                                    \
    namespace record {                                                                      \
    struct NAME##_tag;                                                                      \
    inline std::string to_string(const ::boost::error_info<NAME##_tag, TYPE>& record) {     \
        return ::zephran::common::diagnostic_line(typeid(NAME##_tag*),                      \
                                                  ::boost::to_string_stub(record.value())); \
    }                                                                                       \
    }                                                                                       \
    using NAME##_tag = ::boost::error_info<record::NAME##_tag, TYPE>;                       \
    inline constexpr ::zephran::common::RecordDescription NAME##_description(               \
        #NAME, ::zephran::common::RANK, ::zephran::common::print_record<NAME##_tag>)

/// Enters a record into the list of those that reports show. It stands once, in a source file that
/// is linked wherever the record is thrown. In the header, every source that includes it would
/// contain the code for this, together a twentieth of the daemon.
#define ZEPHRAN_REPORTED(NAME)                                             \
    static_assert(NAME##_description.rank.shown, "declared not_reported"); \
    const ::zephran::common::ReportedRecord NAME##_is_reported(NAME##_description)
