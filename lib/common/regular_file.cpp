// SPDX-License-Identifier: Apache-2.0
#include "common/regular_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/exception.h"

namespace zephran::common {

namespace {

FileDescriptor open_at_once(const std::string& path) {
    // A pipe is opened without a writer; a regular file is the same with and without this flag.
    return FileDescriptor{::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
}

bool is_regular(const FileDescriptor& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

RegularFile::RegularFile(const std::string& file_path)
    : path{file_path}, file{open_at_once(file_path)} {
    if (!file.is_open()) {
        ZEPHRAN_THROW(InputFileOpenException{} << filename_tag{path});
    }
    if (!is_regular(file)) {
        ZEPHRAN_THROW(FileReadException{} << filename_tag{path});
    }
}

FileDescriptor RegularFile::try_to_open(const std::string& path) {
    FileDescriptor file = open_at_once(path);
    if (file.is_open() && !is_regular(file)) {
        errno = EINVAL;
        return FileDescriptor{-1};
    }
    return file;
}

const std::vector<std::uint8_t>& RegularFile::read() {
    constexpr std::size_t block = 65536;
    bytes.resize(block);
    ssize_t count = 0;
    do {
        count = ::read(file.get(), bytes.data(), bytes.size());
    } while (count == -1 && errno == EINTR);
    if (count == -1) {
        ZEPHRAN_THROW(FileReadException{} << filename_tag{path});
    }
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

}  // namespace zephran::common
