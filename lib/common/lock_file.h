// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "common/file_descriptor.h"

namespace zephran::common {

/// A lock that one process at a time holds, on a file that is made for it and stays.
///
/// A program that inherits the descriptor holds the lock as well. It ends with unlock(), whoever
/// has inherited it by then; without that, such as after leave() or a SIGKILL, with the last of
/// these programs.
class LockFile {
public:
    /// @param file_path in a directory into which nobody else may write
    explicit LockFile(std::string file_path) : path{std::move(file_path)} {}
    LockFile(const LockFile&) = delete;
    LockFile(LockFile&&) = delete;
    LockFile& operator=(const LockFile&) = delete;
    LockFile& operator=(LockFile&&) = delete;
    ~LockFile() { unlock(); }

    /// Does not wait.
    /// @returns true if this object holds it, also by an earlier call; false while somebody else
    /// holds it
    /// @throws OutputFileOpenException with filename_tag if there is no such file and none can be
    ///         made, or if it is not a regular file of this process's user alone; a link is not
    ///         followed
    [[nodiscard]] bool try_to_lock();
    void unlock();
    /// Leaves the lock to the programs that have inherited it, and frees it if there are none left.
    void leave() { file.reset(); }
    /// To be inherited by programs. Above the standard streams; -1 while the lock is not held.
    [[nodiscard]] int descriptor() const { return file ? file->get() : -1; }

private:
    std::string path;
    std::optional<FileDescriptor> file;
};

}  // namespace zephran::common
