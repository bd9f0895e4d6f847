// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include <unistd.h>

namespace zephran::common {

/// Closes a file descriptor.
class FileDescriptor {
public:
    /// @param open_descriptor -1 for none
    explicit FileDescriptor(int open_descriptor) : number{open_descriptor} {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : number{std::exchange(other.number, -1)} {}
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor() {
        if (is_open()) {
            ::close(number);
        }
    }

    [[nodiscard]] int get() const { return number; }
    [[nodiscard]] bool is_open() const { return number != -1; }
    /// Hands the descriptor over to the caller, who closes it.
    int release() { return std::exchange(number, -1); }

private:
    int number;
};

}  // namespace zephran::common
