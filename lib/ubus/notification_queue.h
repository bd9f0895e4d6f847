// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include <json/json.h>

namespace zephran::ubus {

/// What the subscribers of an object are to hear.
struct Notification {
    std::string type;
    /// An object.
    Json::Value content;
    /// A later one of its type makes it worthless, so it is the first to be dropped.
    bool is_passing = false;
};

/// Notifications on their way from the threads that make them to the one that sends them. It is
/// bounded: nobody ever waits for the bus, and what nobody takes is dropped.
///
/// All functions are thread-safe.
class NotificationQueue {
public:
    /// Once there are so many, one goes for each that comes: the oldest passing one, or, without
    /// any, the oldest.
    explicit NotificationQueue(std::size_t most = 64) : capacity{most} {}

    void add(Notification notification);
    /// The oldest one, which leaves the queue.
    [[nodiscard]] std::optional<Notification> take();
    [[nodiscard]] bool empty() const;
    void clear();

private:
    void make_room();

    const std::size_t capacity;
    mutable std::mutex mutex;
    std::deque<Notification> waiting;
};

}  // namespace zephran::ubus
