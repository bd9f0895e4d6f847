// SPDX-License-Identifier: Apache-2.0
#include "common/published.h"

#include <string>
#include <thread>

#include <gtest/gtest.h>

namespace zephran::common {

namespace {

TEST(Published, HoldsNothingAtFirst) {
    const Published<std::string> published;

    EXPECT_EQ(published.read(), nullptr);
}

TEST(Published, SnapshotOutlivesWhatReplacesIt) {
    Published<std::string> published{"first"};

    const auto snapshot = published.read();
    published.publish("second");
    const auto later_snapshot = published.read();
    published.withdraw();

    EXPECT_EQ(*snapshot, "first");
    EXPECT_EQ(*later_snapshot, "second");
    EXPECT_EQ(published.read(), nullptr);
}

TEST(Published, TakenValueIsThereNoMore) {
    Published<std::string> published{"value"};

    const auto taken = published.take();

    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(*taken, "value");
    EXPECT_EQ(published.read(), nullptr);
    EXPECT_EQ(published.take(), nullptr);
}

TEST(Published, ReadersSeeWholeValuesOnly) {
    constexpr unsigned rounds = 2000;
    Published<std::string> published{std::string(100, 'a')};

    std::thread writer{[&] {
        for (unsigned round = 0; round < rounds; ++round) {
            published.publish(std::string(100, static_cast<char>('a' + round % 26)));
        }
    }};
    unsigned torn = 0;
    for (unsigned round = 0; round < rounds; ++round) {
        const auto snapshot = published.read();
        torn += *snapshot == std::string(100, snapshot->front()) ? 0 : 1;
    }
    writer.join();

    EXPECT_EQ(torn, 0U);
}

}  // namespace

}  // namespace zephran::common
