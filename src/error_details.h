#pragma once

#include <exception>
#include <string>

namespace zephran {

/// The records attached to an exception, one "name: value" a line, a program's output verbatim;
/// empty for an exception without records.
///
/// Type names, function names and source locations are left out: the update server refuses a report
/// with texts such as boost::wrapexcept<...>, which look like markup.
std::string describe_records(const std::exception& error);

}  // namespace zephran
