#pragma once

#include <utility>

#include <unistd.h>

namespace zephran::ubusd {

/// Owner of a file descriptor.
class UniqueFd {
public:
    explicit UniqueFd(int descriptor) noexcept : fd{descriptor} {}
    UniqueFd(UniqueFd&& other) noexcept : fd{std::exchange(other.fd, -1)} {}
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    UniqueFd& operator=(UniqueFd&&) = delete;
    ~UniqueFd() {
        if (fd >= 0) {
            ::close(fd);
        }
    }

    [[nodiscard]] int get() const noexcept { return fd; }

private:
    int fd;
};

}  // namespace zephran::ubusd
