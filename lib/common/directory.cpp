// SPDX-License-Identifier: Apache-2.0
#include "common/directory.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/file_descriptor.h"

namespace zephran::common {

namespace {

constexpr mode_t owner_only = S_IRWXU;

std::string last_error() {
    return std::generic_category().message(errno);
}

bool exists(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

// Only directories tell what is mounted: files of an overlay have the device of the layer they lie
// in. It goes on after a failure: the more is removed, the better.
// NOLINTNEXTLINE(misc-no-recursion): the longest path bounds it
void remove_on_device(const std::string& path, dev_t device) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        if (status.st_dev != device) {
            return;
        }
        const std::string prefix = path + "/";
        for (const auto& name : names_in(path)) {
            remove_on_device(prefix + name, device);
        }
    }
    static_cast<void>(std::remove(path.c_str()));
}

}  // namespace

std::string make_own_directory(const std::string& path,
                               const std::function<bool()>& may_be_closed) {
    constexpr mode_t all_permissions = 07777;
    if (::mkdir(path.c_str(), owner_only) != 0 && errno != EEXIST) {
        return last_error();
    }
    const FileDescriptor directory{
        ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
    struct stat status {};
    if (!directory.is_open() || ::fstat(directory.get(), &status) != 0) {
        return errno == ENOTDIR ? "it is a link or not a directory" : last_error();
    }
    if (status.st_uid != ::geteuid()) {
        return "it belongs to another user";
    }
    if ((status.st_mode & all_permissions) == owner_only) {
        return {};
    }
    if (!may_be_closed()) {
        return "others can enter it, and it holds what this daemon has not made";
    }
    return ::fchmod(directory.get(), owner_only) == 0 ? std::string{} : last_error();
}

std::vector<std::string> names_in(const std::string& directory) {
    const std::unique_ptr<DIR, int (*)(DIR*)> open{::opendir(directory.c_str()), ::closedir};
    std::vector<std::string> names;
    while (const dirent* entry = open ? ::readdir(open.get()) : nullptr) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

bool remove_tree(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) {
        remove_on_device(path, status.st_dev);
    }
    return !exists(path);
}

}  // namespace zephran::common
