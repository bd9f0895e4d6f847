// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zephran {

/// Notes what this thread syncs with fsync() while the object lives, and can make it fail. Nothing
/// is written to the disk. One such object at a time in a thread.
class NotedSyncs {
public:
    struct Sync {
        std::string path;
        /// Of a regular file at this moment; 0 of a folder.
        std::uintmax_t bytes;
        /// Whether programs that are started inherit the descriptor.
        bool is_inherited;
    };

    NotedSyncs();
    NotedSyncs(const NotedSyncs&) = delete;
    NotedSyncs(NotedSyncs&&) = delete;
    NotedSyncs& operator=(const NotedSyncs&) = delete;
    NotedSyncs& operator=(NotedSyncs&&) = delete;
    ~NotedSyncs();

    [[nodiscard]] const std::vector<Sync>& all() const { return syncs; }
    [[nodiscard]] std::vector<std::string> paths() const;
    [[nodiscard]] bool is_any_inherited() const;

    /// From now on fsync() of this path fails with an error.
    void fail(const std::string& path, int error);

    /// @returns the error, 0 for none
    int note(int descriptor);

private:
    std::vector<Sync> syncs;
    std::string failing_path;
    int failing_error = 0;
};

}  // namespace zephran
