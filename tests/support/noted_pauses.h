// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>
#include <vector>

namespace zephran {

/// Notes the pauses that this thread makes with nanosleep(), such as by
/// std::this_thread::sleep_for(), while the object lives. Each lasts as long as asked for. One such
/// object at a time in a thread.
class NotedPauses {
public:
    /// @param before_pause called before each pause with the number of pauses so far, this one
    ///        included
    explicit NotedPauses(std::function<void(std::size_t)> before_pause = {});
    NotedPauses(const NotedPauses&) = delete;
    NotedPauses(NotedPauses&&) = delete;
    NotedPauses& operator=(const NotedPauses&) = delete;
    NotedPauses& operator=(NotedPauses&&) = delete;
    ~NotedPauses();

    [[nodiscard]] const std::vector<std::chrono::nanoseconds>& all() const { return pauses; }

    void note(std::chrono::nanoseconds pause);

private:
    std::vector<std::chrono::nanoseconds> pauses;
    std::function<void(std::size_t)> react;
};

}  // namespace zephran
