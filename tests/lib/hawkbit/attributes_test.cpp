// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/attributes.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephran::hawkbit {
namespace {

using testing::ElementsAre;

// Operators select targets by these names, so they have to stay what they are.
TEST(Attributes, OwnOnesKeepTheirNames) {
    EXPECT_THAT(own_attributes,
                ElementsAre(std::string{"dormant"}, std::string{"installed_flash_type"},
                            std::string{"parent"}));
}

TEST(Attributes, OnlyATargetWithoutAParentIsTheGateway) {
    EXPECT_TRUE(is_gateway({}));
    EXPECT_TRUE(is_gateway({{"dormant", "0"}}));
    EXPECT_FALSE(is_gateway({{"parent", "gw-1"}}));
    EXPECT_FALSE(is_gateway({{"parent", ""}}));
}

}  // namespace
}  // namespace zephran::hawkbit
