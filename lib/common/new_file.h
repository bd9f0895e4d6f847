// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ostream>
#include <streambuf>
#include <string>

#include "common/file_descriptor.h"

namespace zephran::common {

/// A file that is made anew and written without a buffer. Whatever else had this name loses it: a
/// link or a pipe that somebody planted is not followed, and who has the former file open does not
/// see the new one. Only the owner may read and write it, and child processes do not inherit it.
class NewFile : public std::ostream {
public:
    /// @throws OutputFileOpenException with filename_tag, also if a directory has this name
    explicit NewFile(const std::string& path);

private:
    class Buffer : public std::streambuf {
    public:
        explicit Buffer(FileDescriptor open_file) : file{std::move(open_file)} {}

    protected:
        int_type overflow(int_type character) override;
        std::streamsize xsputn(const char* data, std::streamsize length) override;

    private:
        FileDescriptor file;
    };

    Buffer buffer;
};

}  // namespace zephran::common
