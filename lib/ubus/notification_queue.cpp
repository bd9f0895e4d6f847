// SPDX-License-Identifier: Apache-2.0
#include "ubus/notification_queue.h"

#include <algorithm>
#include <utility>

namespace zephran::ubus {

void NotificationQueue::add(Notification notification) {
    const std::lock_guard<std::mutex> lock{mutex};
    if (waiting.size() >= capacity) {
        make_room();
    }
    waiting.push_back(std::move(notification));
}

void NotificationQueue::make_room() {
    const auto passing = std::find_if(waiting.begin(), waiting.end(),
                                      [](const Notification& each) { return each.is_passing; });
    waiting.erase(passing == waiting.end() ? waiting.begin() : passing);
}

std::optional<Notification> NotificationQueue::take() {
    const std::lock_guard<std::mutex> lock{mutex};
    if (waiting.empty()) {
        return std::nullopt;
    }
    std::optional<Notification> first{std::move(waiting.front())};
    waiting.pop_front();
    return first;
}

bool NotificationQueue::empty() const {
    const std::lock_guard<std::mutex> lock{mutex};
    return waiting.empty();
}

void NotificationQueue::clear() {
    const std::lock_guard<std::mutex> lock{mutex};
    waiting.clear();
}

}  // namespace zephran::ubus
