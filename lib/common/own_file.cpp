// SPDX-License-Identifier: Apache-2.0
#include "common/own_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/exception.h"

namespace zephran::common {

namespace {

constexpr mode_t owner_only = S_IRUSR | S_IWUSR;

bool is_own(const FileDescriptor& file) {
    constexpr mode_t all_permissions = 07777;
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_uid == ::geteuid() && (status.st_mode & all_permissions) == owner_only &&
           status.st_nlink == 1;
}

}  // namespace

FileDescriptor open_own_file(const std::string& path) {
    // A pipe is not waited for.
    FileDescriptor file{
        ::open(path.c_str(), O_RDWR | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)};
    if (file.is_open() && !is_own(file)) {
        return FileDescriptor{-1};
    }
    return file;
}

FileDescriptor create_own_file(const std::string& path) {
    // What cannot be removed, such as a directory, makes the next call fail.
    ::unlink(path.c_str());
    FileDescriptor file{
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, owner_only)};
    if (!file.is_open()) {
        ZEPHRAN_THROW(OutputFileOpenException{} << filename_tag{path});
    }
    return file;
}

}  // namespace zephran::common
