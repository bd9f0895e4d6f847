// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "standin_test.h"

// What holds for the stand-in alone: its mark, and mistakes of programs that the original does not
// notice.
namespace zephran::uci_standin {

namespace {

using StandinOnlyTest = StandinTest;

TEST_F(StandinOnlyTest, SaysThatItIsAStandIn) {
    const Library library;

    const char* const notice = *library.find<const char* const>("uci_standin_notice");

    EXPECT_NE(std::strstr(notice, "Stand-in for libuci"), nullptr) << notice;
}

TEST_F(StandinOnlyTest, PackageOfAnotherContextIsInvalid) {
    Session owner{directory};
    Session stranger{directory};
    ASSERT_EQ(owner.lookup("demo.main.name=other"), ok);
    ASSERT_EQ(stranger.lookup("demo.main.name=other"), ok);

    stranger.pointer.p = owner.pointer.p;

    EXPECT_EQ(stranger.set(), invalid);
    EXPECT_EQ(stranger.save(), invalid);
    EXPECT_EQ(stranger.commit(), invalid);
}

}  // namespace

}  // namespace zephran::uci_standin
