// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>

#include <boost/exception/all.hpp>

#include "common/record.h"

namespace zephran::common {

/// Base of every exception that the daemon throws itself.
///
/// Each failure has a type of its own with one fixed text. Details travel as boost::error_info
/// records (common/record.h), and BOOST_THROW_EXCEPTION adds function, file and line.
class Exception : public virtual boost::exception, public virtual std::exception {
public:
    const char* what() const noexcept override { return what_; }

protected:
    /// @param fixed_text a string literal; only the pointer is kept.
    explicit Exception(const char* fixed_text) noexcept : what_{fixed_text} {}

private:
    const char* what_;
};

/// Path of the file that an operation failed on.
ZEPHRAN_RECORD(filename, std::string, reported_at(105));
/// What an external program wrote.
ZEPHRAN_RECORD(program_output, std::string, reported_at(220));
/// Exit status of an external program.
ZEPHRAN_RECORD(program_exit_code, int, reported_at(215));

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
