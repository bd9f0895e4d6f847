// SPDX-License-Identifier: Apache-2.0
#include "support/noted_syncs.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace zephran {
namespace {

thread_local NotedSyncs* current = nullptr;

}  // namespace

NotedSyncs::NotedSyncs() {
    current = this;
}

NotedSyncs::~NotedSyncs() {
    current = nullptr;
}

std::vector<std::string> NotedSyncs::paths() const {
    std::vector<std::string> found;
    std::transform(syncs.begin(), syncs.end(), std::back_inserter(found),
                   [](const Sync& sync) { return sync.path; });
    return found;
}

bool NotedSyncs::is_any_inherited() const {
    return std::any_of(syncs.begin(), syncs.end(),
                       [](const Sync& sync) { return sync.is_inherited; });
}

void NotedSyncs::fail(const std::string& path, int error) {
    failing_path = path;
    failing_error = error;
}

int NotedSyncs::note(int descriptor) {
    namespace fs = std::filesystem;
    const fs::path path = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
    const auto flags = static_cast<unsigned>(::fcntl(descriptor, F_GETFD));
    syncs.push_back({path.string(), fs::is_regular_file(path) ? fs::file_size(path) : 0,
                     (flags & unsigned{FD_CLOEXEC}) == 0});
    return path == failing_path ? failing_error : 0;
}

}  // namespace zephran

extern "C" int note_sync(int descriptor) {
    if (zephran::current == nullptr) {
        return static_cast<int>(::syscall(SYS_fsync, descriptor));
    }
    const int error = zephran::current->note(descriptor);
    errno = error == 0 ? errno : error;
    return error == 0 ? 0 : -1;
}

// In the place of the system's.
extern "C" int fsync(int) __attribute__((alias("note_sync")));
