// SPDX-License-Identifier: Apache-2.0
#include "common/mac_address.h"

#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

namespace zephran::common {
namespace {

std::string invalid_argument_text(const std::string& address) {
    try {
        MacAddress::parse(address);
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "accepted";
}

TEST(MacAddress, IsAllZeroAndNotValidAtFirst) {
    const MacAddress address;

    EXPECT_FALSE(address.is_valid());
    EXPECT_EQ(address.str(), "00:00:00:00:00:00");
}

TEST(MacAddress, MissingBytesStayZero) {
    const MacAddress address{0x01, 0xFF};

    EXPECT_EQ(address.bytes(), (MacAddress::Bytes{0x01, 0xFF, 0, 0, 0, 0}));
}

TEST(MacAddress, TakesSixBytesButNotSeven) {
    EXPECT_EQ((MacAddress{1, 2, 3, 4, 5, 6}.str()), "01:02:03:04:05:06");
    try {
        const MacAddress address{1, 2, 3, 4, 5, 6, 7};
        FAIL() << "accepted as " << address;
    } catch (const std::invalid_argument& e) {
        EXPECT_STREQ(e.what(), "bytes");
    }
}

TEST(MacAddress, ParsesDigitsOfEitherCaseAndWritesLowerCase) {
    const auto address = MacAddress::parse("AA:bb:0C:d0:11:22");

    EXPECT_EQ(address.bytes(), (MacAddress::Bytes{0xAA, 0xBB, 0x0C, 0xD0, 0x11, 0x22}));
    EXPECT_EQ(address.str(), "aa:bb:0c:d0:11:22");
}

TEST(MacAddress, ParsesTheAddressThatIsNotSet) {
    EXPECT_FALSE(MacAddress::parse("00:00:00:00:00:00").is_valid());
}

TEST(MacAddress, RefusesAnyOtherForm) {
    for (const char* const text :
         {"", "AA-bb-0C-d0-11-22", "aa:bb:0c:d0:11:2", "aa:bb:0c:d0:11:222", "aa:bb:0c:d0:11-22",
          "aa:bb:0c:d0:11:2g", "ga:bb:0c:d0:11:22",
          "aabb:0c:d0:11:22:", "aa:bb:0c:d0:11:22:", " a:bb:0c:d0:11:22", "-1:bb:0c:d0:11:22"}) {
        EXPECT_EQ(invalid_argument_text(text), "mac") << text;
    }
}

TEST(MacAddress, OneBitMakesItValid) {
    EXPECT_TRUE((MacAddress{0, 0, 0, 0, 0, 1}.is_valid()));
    EXPECT_TRUE((MacAddress{0x80}.is_valid()));
}

TEST(MacAddress, ComparesAllSixBytes) {
    const MacAddress address{1, 2, 3, 4, 5, 6};

    EXPECT_TRUE(address == MacAddress::parse("01:02:03:04:05:06"));
    EXPECT_TRUE(address != (MacAddress{1, 2, 3, 4, 5, 7}));
    EXPECT_TRUE(address != (MacAddress{0, 2, 3, 4, 5, 6}));
    EXPECT_FALSE(address != address);
}

TEST(MacAddress, IsStreamedAsItsText) {
    std::ostringstream stream;

    stream << MacAddress{0xAB, 0xCD, 0xEF, 0x09, 0x90, 0x0A};

    EXPECT_EQ(stream.str(), "ab:cd:ef:09:90:0a");
}

TEST(HexCharToInt, KnowsExactlyTheHexadecimalDigits) {
    const std::string lower = "0123456789abcdef";
    const std::string upper = "0123456789ABCDEF";

    for (int character = -128; character < 128; ++character) {
        const char digit = static_cast<char>(character);
        const auto in_lower = lower.find(digit);
        const auto in_upper = upper.find(digit);
        const auto position = in_lower != std::string::npos ? in_lower : in_upper;
        const int expected = position == std::string::npos ? -1 : static_cast<int>(position);
        EXPECT_EQ(hex_char_to_int(digit), expected) << "character " << character;
    }
}

}  // namespace
}  // namespace zephran::common
