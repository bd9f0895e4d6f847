// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>
#include <string>

#include <boost/current_function.hpp>
#include <boost/exception/exception.hpp>
#include <boost/exception/info.hpp>

#include "common/record.h"

namespace zephran::common {

/// Base of every exception that the daemon throws itself.
///
/// Each failure has a type of its own with one fixed text. Details travel as boost::error_info
/// records (common/record.h), and ZEPHRAN_THROW adds function, file and line.
class Exception : public boost::exception, public std::exception {
public:
    const char* what() const noexcept override { return what_; }

protected:
    /// @param fixed_text a string literal; only the pointer is kept.
    explicit Exception(const char* fixed_text) noexcept : what_{fixed_text} {}

private:
    const char* what_;
};

/// Adds the place that throws a failure.
///
/// @param function, file literals; only the pointers are kept.
void attach_place(const boost::exception& failure, const char* function, const char* file,
                  int line);

template <class Failure>
[[noreturn]] void throw_from_place(const Failure& failure, const char* function, const char* file,
                                   int line) {
    // Standard exceptions become exceptions of Boost as well; our own stay as they are.
    const auto with_place = boost::enable_error_info(failure);
    attach_place(with_place, function, file, line);
    throw with_place;  // NOLINT(cert-err09-cpp,cert-err61-cpp): the place had to be attached
}

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

/// Throws an exception that carries function, file and line:
///
///     ZEPHRAN_THROW(InputFileOpenException{} << filename_tag{path});
///
/// BOOST_THROW_EXCEPTION throws a class of its own for each type, which can be cloned into a
/// boost::exception_ptr. Nothing here needs that, and the classes would be a fifth of the daemon.
#define ZEPHRAN_THROW(FAILURE) \
    ::zephran::common::throw_from_place(FAILURE, BOOST_CURRENT_FUNCTION, __FILE__, __LINE__)
