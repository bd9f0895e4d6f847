// SPDX-License-Identifier: Apache-2.0
#include "common/lock_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/exception.h"

namespace zephran::common {

namespace {

/// Whoever can open the file can keep the lock for himself.
bool is_private(const FileDescriptor& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_uid == ::geteuid() && status.st_nlink == 1 &&
           (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
}

FileDescriptor open_or_create(const std::string& path) {
    // With O_NONBLOCK a device is not waited for.
    return FileDescriptor{::open(
        path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR)};
}

FileDescriptor above_standard_streams(const FileDescriptor& file) {
    return FileDescriptor{::fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1)};
}

/// flock(2) that lasts through signals.
int change_lock(const FileDescriptor& file, int operation) {
    int result = -1;
    do {
        result = ::flock(file.get(), operation);
    } while (result == -1 && errno == EINTR);
    return result;
}

}  // namespace

bool LockFile::try_to_lock() {
    if (file) {
        return true;
    }
    const FileDescriptor opened = open_or_create(path);
    FileDescriptor usable = above_standard_streams(opened);
    if (!usable.is_open() || !is_private(usable)) {
        ZEPHRAN_THROW(OutputFileOpenException{} << filename_tag{path});
    }
    if (change_lock(usable, LOCK_EX | LOCK_NB) == -1) {
        if (errno != EWOULDBLOCK) {
            ZEPHRAN_THROW(OutputFileOpenException{} << filename_tag{path});
        }
        return false;
    }
    file.emplace(std::move(usable));
    return true;
}

void LockFile::unlock() {
    if (file) {
        // Closing alone would leave the lock to a program that has inherited it.
        change_lock(*file, LOCK_UN);
        file.reset();
    }
}

}  // namespace zephran::common
