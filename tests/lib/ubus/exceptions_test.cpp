// SPDX-License-Identifier: Apache-2.0
#include "ubus/exceptions.h"

#include <gtest/gtest.h>

namespace zephran::ubox {
namespace {

TEST(UboxExceptions, RefusedMessagesHaveTheirTexts) {
    EXPECT_STREQ(NotAnObjectException{}.what(), "Text is not a JSON object");
    EXPECT_STREQ(NestingTooDeepException{}.what(), "Message is nested too deeply");
}

}  // namespace
}  // namespace zephran::ubox
