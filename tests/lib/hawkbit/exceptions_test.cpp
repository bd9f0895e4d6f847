// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/exceptions.h"

#include <gtest/gtest.h>

namespace zephran::hawkbit {
namespace {

TEST(HawkbitExceptions, LackOfSpaceHasItsText) {
    EXPECT_STREQ(NotEnoughSpaceException{}.what(), "Not enough space for the artifact");
}

}  // namespace
}  // namespace zephran::hawkbit
