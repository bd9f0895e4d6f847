// SPDX-License-Identifier: Apache-2.0
#include "common/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/exception.h"

namespace zephran::common {

namespace {

FileDescriptor create_anew(const std::string& path) {
    // What cannot be removed, such as a directory, makes the next call fail.
    ::unlink(path.c_str());
    FileDescriptor file{::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                               S_IRUSR | S_IWUSR)};
    if (!file.is_open()) {
        ZEPHRAN_THROW(OutputFileOpenException{} << filename_tag{path});
    }
    return file;
}

}  // namespace

NewFile::NewFile(const std::string& path) : std::ostream{nullptr}, buffer{create_anew(path)} {
    rdbuf(&buffer);
}

NewFile::Buffer::int_type NewFile::Buffer::overflow(int_type character) {
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

std::streamsize NewFile::Buffer::xsputn(const char* data, std::streamsize length) {
    return static_cast<std::streamsize>(file.write(data, static_cast<std::size_t>(length)));
}

}  // namespace zephran::common
