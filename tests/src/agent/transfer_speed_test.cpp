// SPDX-License-Identifier: Apache-2.0
#include "agent/transfer_speed.h"

#include <gtest/gtest.h>

namespace zephran {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TransferSpeed::time_point at(milliseconds time) {
    return TransferSpeed::time_point{std::chrono::hours{1}} + time;
}

TEST(TransferSpeed, IsUnknownUntilTwoMomentsCanBeCompared) {
    TransferSpeed speed;
    EXPECT_EQ(speed.per_second(), std::nullopt);

    speed.note(at(seconds{0}), 100);
    EXPECT_EQ(speed.per_second(), std::nullopt);

    speed.note(at(seconds{0}), 200);
    EXPECT_EQ(speed.per_second(), std::nullopt);
}

TEST(TransferSpeed, IsBytesASecond) {
    TransferSpeed speed;
    speed.note(at(seconds{0}), 100);

    speed.note(at(milliseconds{500}), 1100);

    EXPECT_EQ(speed.per_second(), 2000U);
}

TEST(TransferSpeed, IsKnownAfterAMillisecond) {
    TransferSpeed speed;
    speed.note(at(seconds{0}), 0);

    speed.note(at(milliseconds{1}), 5);

    EXPECT_EQ(speed.per_second(), 5000U);
}

TEST(TransferSpeed, ForgetsWhatIsLongAgo) {
    TransferSpeed speed;
    speed.note(at(seconds{0}), 0);
    speed.note(at(seconds{1}), 1'000'000);
    speed.note(at(seconds{6}), 1'000'050);

    EXPECT_EQ(speed.per_second(), 10U);
}

TEST(TransferSpeed, BeginsAnewWithFewerBytes) {
    TransferSpeed speed;
    speed.note(at(seconds{0}), 1000);
    speed.note(at(seconds{1}), 10);
    EXPECT_EQ(speed.per_second(), std::nullopt);

    speed.note(at(seconds{2}), 20);
    EXPECT_EQ(speed.per_second(), 10U);
}

TEST(TransferSpeed, OfATransferThatStallsBecomesZero) {
    TransferSpeed speed;
    speed.note(at(seconds{0}), 0);
    for (int i = 1; i < 8; ++i) {
        speed.note(at(seconds{i}), 500);
    }

    EXPECT_EQ(speed.per_second(), 0U);
}

}  // namespace
}  // namespace zephran
