// SPDX-License-Identifier: Apache-2.0
#include "locked_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace zephran::uci_standin {

namespace {

void require(bool condition) {
    if (!condition) {
        throw Failure{io_error};
    }
}

int open_flags(LockedFile::Mode mode) {
    switch (mode) {
        case LockedFile::Mode::read:
            return O_RDONLY | O_CLOEXEC;
        case LockedFile::Mode::read_write:
            return O_RDWR | O_CREAT | O_CLOEXEC;
        case LockedFile::Mode::append:
            break;
    }
    return O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC;
}

void write_fully(int descriptor, const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = write(descriptor, text.data() + written, text.size() - written);
        require(count > 0 || (count < 0 && errno == EINTR));
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

std::string resolved(const std::string& path) {
    const std::unique_ptr<char, void (*)(void*)> target{realpath(path.c_str(), nullptr), std::free};
    require(target != nullptr);
    return target.get();
}

}  // namespace

LockedFile::LockedFile(const std::string& file_path, Mode mode) : path{file_path} {
    open_and_lock(mode);
}

LockedFile::~LockedFile() {
    close_once();
}

void LockedFile::close_once() {
    if (const int number = std::exchange(descriptor, -1); number >= 0) {
        close(number);
    }
}

void LockedFile::open_and_lock(Mode mode) {
    struct stat named {};
    if (mode == Mode::read && (stat(path.c_str(), &named) != 0 || !S_ISREG(named.st_mode))) {
        throw Failure{not_found};
    }
    descriptor = open(path.c_str(), open_flags(mode), S_IRUSR | S_IWUSR);
    if (descriptor < 0) {
        throw Failure{io_error};
    }
    int result = 0;
    do {
        result = flock(descriptor, mode == Mode::read ? LOCK_SH : LOCK_EX);
    } while (result != 0 && errno == EINTR);
    if (result != 0) {
        close_once();
        throw Failure{io_error};
    }
}

std::string LockedFile::read_all() const {
    std::string text;
    std::array<char, 4096> block{};
    require(lseek(descriptor, 0, SEEK_SET) == 0);
    for (;;) {
        const ssize_t count = read(descriptor, block.data(), block.size());
        if (count == 0) {
            return text;
        }
        require(count > 0 || errno == EINTR);
        text.append(block.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}

void LockedFile::write_all(const std::string& text) const {
    write_fully(descriptor, text);
}

void LockedFile::truncate() const {
    require(ftruncate(descriptor, 0) == 0);
}

void LockedFile::replace_with(const std::string& text) {
    const std::string target = resolved(path);
    const std::size_t name_start = target.rfind('/') + 1;
    std::string temporary =
        target.substr(0, name_start) + "." + target.substr(name_start) + ".uci-XXXXXX";
    const int file = mkostemp(temporary.data(), O_CLOEXEC);
    require(file >= 0);
    bool complete = false;
    try {
        struct stat original {};
        require(fstat(descriptor, &original) == 0);
        require(fchmod(file, original.st_mode & 07777U) == 0);
        require(fchown(file, original.st_uid, original.st_gid) == 0);
        write_fully(file, text);
        require(fsync(file) == 0);
        complete = true;
    } catch (const Failure&) {
        complete = false;
    }
    const bool closed = close(file) == 0;
    close_once();
    if (!complete || !closed || std::rename(temporary.c_str(), target.c_str()) != 0) {
        unlink(temporary.c_str());
        throw Failure{io_error};
    }
}

}  // namespace zephran::uci_standin
