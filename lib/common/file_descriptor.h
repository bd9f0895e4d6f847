// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cerrno>
#include <cstddef>
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
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(number, other.number);
        return *this;
    }
    ~FileDescriptor() {
        if (is_open()) {
            ::close(number);
        }
    }

    [[nodiscard]] int get() const { return number; }
    [[nodiscard]] bool is_open() const { return number != -1; }
    /// Writes as much as the file takes, also if signals interrupt it.
    /// @returns the number of bytes written; less than `length` after an error
    [[nodiscard]] std::size_t write(const void* data, std::size_t length) const {
        std::size_t written = 0;
        while (written < length) {
            const ssize_t count =
                ::write(number, static_cast<const char*>(data) + written, length - written);
            if (count > 0) {
                written += static_cast<std::size_t>(count);
            } else if (count == 0 || errno != EINTR) {
                break;
            }
        }
        return written;
    }
    /// Hands the descriptor over to the caller, who closes it.
    int release() { return std::exchange(number, -1); }

private:
    int number;
};

}  // namespace zephran::common
