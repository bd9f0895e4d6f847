#pragma once

#include <exception>
#include <string>

#include <boost/exception/all.hpp>

namespace zephran::common {

/// Base of every exception that the daemon throws itself.
///
/// Each failure has a type of its own with one fixed text. Details travel as boost::error_info
/// records, and BOOST_THROW_EXCEPTION adds function, file and line. src/error_details knows how to
/// render every record for a report: a new record type is added there, too.
class Exception : public virtual boost::exception, public virtual std::exception {
public:
    const char* what() const noexcept override { return text; }

protected:
    /// @param fixed_text a string literal; only the pointer is kept.
    explicit Exception(const char* fixed_text) noexcept : text{fixed_text} {}

private:
    const char* text;
};

/// Path of the file that an operation failed on.
using filename_tag = boost::error_info<struct filename_record, std::string>;
/// What an external program wrote.
using program_output_tag = boost::error_info<struct program_output_record, std::string>;
/// Exit status of an external program.
using program_exit_code_tag = boost::error_info<struct program_exit_code_record, int>;

struct InputFileOpenException : Exception {
    InputFileOpenException() : Exception{"Failed to open file for reading"} {}
};
struct OutputFileOpenException : Exception {
    OutputFileOpenException() : Exception{"Failed to open file for writing"} {}
};
struct FileReadException : Exception {
    FileReadException() : Exception{"Failed to read from file"} {}
};
struct FileWriteException : Exception {
    FileWriteException() : Exception{"Failed to write to file"} {}
};
struct NotImplementedException : Exception {
    NotImplementedException() : Exception{"Not implemented"} {}
};

}  // namespace zephran::common
