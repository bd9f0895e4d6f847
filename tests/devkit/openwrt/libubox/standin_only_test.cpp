// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bytes.h"

extern "C" {
#include <libubox/blobmsg_json.h>
}

// What holds for the stand-in alone: mistakes that the original does not notice, and what the
// stand-in leaves out.
namespace zephran::ubox_standin {

TEST(UboxStandinOnly, RefusesANameThatItsLengthCannotTell) {
    Buffer buffer;
    const std::string longest(0xffff, 'n');

    EXPECT_EQ(blobmsg_add_u8(buffer.get(), longest.c_str(), 1), 0);
    EXPECT_EQ(blobmsg_add_u8(buffer.get(), (longest + 'n').c_str(), 1), -1);
}

TEST(UboxStandinOnly, FindsNoValueBehindANameThatIsTooLong) {
    Received name_too_long{"8300000c ffff7300 61626300"};

    EXPECT_EQ(blobmsg_data_len(name_too_long.attr()), 0U);
}

TEST(UboxStandinOnly, WritesNullForWhatNestsDeeperThanAStackMayGo) {
    constexpr std::size_t levels = 100000;
    Buffer buffer;
    std::vector<void*> cookies;
    for (std::size_t i = 0; i < levels; ++i) {
        cookies.push_back(blobmsg_open_nested(buffer.get(), nullptr, true));
    }
    while (!cookies.empty()) {
        blob_nest_end(buffer.get(), cookies.back());
        cookies.pop_back();
    }

    const std::unique_ptr<char, decltype(&std::free)> text{
        blobmsg_format_json_with_cb(buffer.head(), true, nullptr, nullptr, -1), &std::free};

    EXPECT_NE(std::string{text.get()}.find("[[[null]]]"), std::string::npos);
}

TEST(UboxStandinOnly, RefusesWhatIsLeftOut) {
    Buffer buffer;
    const auto replace = [](void* /*priv*/, blob_attr* /*attr*/) { return ""; };

    EXPECT_EQ(blobmsg_format_json_with_cb(buffer.head(), false, nullptr, nullptr, -1), nullptr);
    EXPECT_EQ(blobmsg_format_json_with_cb(buffer.head(), true, replace, nullptr, -1), nullptr);
    EXPECT_EQ(blobmsg_format_json_with_cb(buffer.head(), true, nullptr, nullptr, 0), nullptr);
}

}  // namespace zephran::ubox_standin
