#include "strict_c.h"

#include <gtest/gtest.h>

#include "bytes.h"

namespace zephran::ubox_standin {

TEST(StrictC, ReadsAndWritesTheSameBytes) {
    Buffer buffer;

    EXPECT_EQ(add_two_values(buffer.get()), 0);

    EXPECT_EQ(content_hex(buffer.head()),
              "82000018 00017400 84000010 00016c00 00000000 00000001 "
              "88000010 00016400 3ff80000 00000000");
}

TEST(StrictC, WalksOverValues) {
    Buffer buffer;

    EXPECT_EQ(count_values(buffer.get(), R"({"a":1,"b":"x"})"), 2);
    EXPECT_EQ(count_values(buffer.get(), "[]"), -1);
}

}  // namespace zephran::ubox_standin
