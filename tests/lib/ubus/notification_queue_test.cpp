// SPDX-License-Identifier: Apache-2.0
#include "ubus/notification_queue.h"

#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ubus::NotificationQueue;

std::vector<std::string> drained(NotificationQueue& queue) {
    std::vector<std::string> types;
    while (const auto notification = queue.take()) {
        types.push_back(notification->type);
    }
    return types;
}

TEST(NotificationQueueTest, HandsThemOutInOrder) {
    NotificationQueue queue;
    queue.add({"a", {}, false});
    queue.add({"b", {}, true});
    EXPECT_FALSE(queue.empty());

    EXPECT_THAT(drained(queue), ElementsAre("a", "b"));
    EXPECT_TRUE(queue.empty());
    EXPECT_FALSE(queue.take());
}

TEST(NotificationQueueTest, HoldsSixtyFourUnlessToldOtherwise) {
    NotificationQueue queue;
    for (int number = 0; number <= 64; ++number) {
        queue.add({std::to_string(number), {}});
    }

    EXPECT_EQ(drained(queue).size(), 64U);
}

TEST(NotificationQueueTest, OneIsPassingOnlyIfItSaysSo) {
    EXPECT_FALSE(ubus::Notification{}.is_passing);
}

TEST(NotificationQueueTest, DropsTheOldestPassingOneFirst) {
    NotificationQueue queue{3};
    queue.add({"state 1", {}, false});
    queue.add({"progress 1", {}, true});
    queue.add({"progress 2", {}, true});

    queue.add({"state 2", {}, false});
    queue.add({"progress 3", {}, true});

    EXPECT_THAT(drained(queue), ElementsAre("state 1", "state 2", "progress 3"));
}

TEST(NotificationQueueTest, DropsTheOldestIfNoneIsPassing) {
    NotificationQueue queue{2};
    queue.add({"1", {}, false});
    queue.add({"2", {}, false});

    queue.add({"3", {}, false});

    EXPECT_THAT(drained(queue), ElementsAre("2", "3"));
}

TEST(NotificationQueueTest, CanBeCleared) {
    NotificationQueue queue;
    queue.add({"1", {}, false});

    queue.clear();

    EXPECT_TRUE(queue.empty());
}

TEST(NotificationQueueTest, ServesTwoThreads) {
    NotificationQueue queue{8};
    std::thread producer{[&] {
        for (unsigned i = 0; i < 1000; ++i) {
            queue.add({"progress", i, true});
        }
        queue.add({"end", {}, false});
    }};
    Json::UInt last = 0;
    bool in_order = true;
    for (bool has_ended = false; !has_ended;) {
        if (const auto notification = queue.take()) {
            has_ended = notification->type == "end";
            in_order = in_order && (has_ended || notification->content.asUInt() >= last);
            last = has_ended ? last : notification->content.asUInt();
        }
    }
    producer.join();

    EXPECT_TRUE(in_order);
    EXPECT_EQ(last, 999U);
}

}  // namespace
}  // namespace zephran::test
