// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "bytes.h"

extern "C" {
#include <libubox/blobmsg_json.h>
}

namespace zephran::ubox_standin {

namespace {

/// Real data: {"ok":true,"s":"abc","n":7,"a":[1,"x"],"z":null}.
const char* const sample =
    "07000054 8700000d 00026f6b 00000000 01000000 8300000c 00017300 61626300 8500000c 00016e00 "
    "00000007 81000020 00016100 8500000c 00000000 00000001 8300000a 00000000 78000000 80000008 "
    "00017a00";

std::string formatted(blob_attr* attr) {
    const std::unique_ptr<char, decltype(&std::free)> text{
        blobmsg_format_json_with_cb(attr, true, nullptr, nullptr, -1), &std::free};
    return text.get();
}

/// Uses every reader on what claims to be a message; the enclosing length is made to fit.
std::string read_everything(std::vector<char> message) {
    message.shrink_to_fit();
    auto* const attr = reinterpret_cast<blob_attr*>(message.data());
    attr->id_len = cpu_to_be32(0x07000000U | static_cast<std::uint32_t>(message.size()));
    std::array<blob_attr*, 16> by_id{};
    blob_parse(attr, by_id.data(), nullptr, 16);
    return formatted(attr);
}

}  // namespace

TEST(HostileBytes, EndEarlyAtEveryPlace) {
    const auto whole = bytes(sample);

    for (std::size_t length = sizeof(blob_attr); length < whole.size(); ++length) {
        const auto text =
            read_everything({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});

        EXPECT_EQ(text.back(), '}');
    }
}

TEST(HostileBytes, MayDifferInAnyByte) {
    const auto whole = bytes(sample);

    for (std::size_t i = sizeof(blob_attr); i < whole.size(); ++i) {
        for (const int value : {0x00, 0x01, 0x7f, 0x80, 0xff}) {
            auto changed = whole;
            changed[i] = static_cast<char>(value);

            EXPECT_EQ(read_everything(changed).front(), '{');
        }
    }
}

TEST(HostileBytes, MayBeArbitrary) {
    std::mt19937 engine{1};  // the same bytes in every run
    std::uniform_int_distribution<int> byte{0, 255};
    std::uniform_int_distribution<int> small{0, 40};

    for (int round = 0; round < 20000; ++round) {
        std::vector<char> message(sizeof(blob_attr) + static_cast<std::size_t>(byte(engine)));
        for (std::size_t i = 0; i < message.size(); ++i) {
            // Words that could be attributes, or the bytes would end at the first.
            const std::size_t place = i % 4;
            const int value = place == 0   ? 0x80 + byte(engine) % 10
                              : place == 3 ? small(engine)
                                           : 0;
            message[i] = static_cast<char>(byte(engine) < 200 ? value : byte(engine));
        }

        EXPECT_EQ(read_everything(message).front(), '{');
    }
}

TEST(HostileBytes, MayLieAtAnyAddress) {
    const auto whole = bytes(sample);
    const auto expected = read_everything(whole);
    std::vector<char> shifted(whole.size() + 4);

    for (std::size_t shift = 1; shift < 4; ++shift) {
        std::copy(whole.begin(), whole.end(), shifted.begin() + static_cast<std::ptrdiff_t>(shift));

        EXPECT_EQ(formatted(reinterpret_cast<blob_attr*>(shifted.data() + shift)), expected);
    }
}

TEST(HostileBytes, ClaimNamesLongerThanThemselves) {
    Received name_too_long{"8300000c ffff7300 61626300"};
    Received name_without_end{"8300000c 00017373 61626300"};
    Received name_missing{"83000004"};
    Received name_cut{"83000005 00000000"};

    for (Received* const attr : {&name_too_long, &name_without_end, &name_missing, &name_cut}) {
        EXPECT_FALSE(blobmsg_check_attr(attr->attr(), false));
    }
}

TEST(HostileBytes, ClaimValuesOfTheWrongShape) {
    for (const auto* const digits :
         {"8300000b 00017300 61626300", "83000008 00017300", "85000008 00016e00",
          "85000010 00016e00 00000007 00000007", "84000008 00016e00", "8600000c 00016e00 00000007",
          "87000008 00016e00", "8800000c 00016e00 00000007", "89000008 00016e00", "83000003"}) {
        Received attr{digits};

        EXPECT_FALSE(blobmsg_check_attr(attr.attr(), false)) << digits;
    }
}

TEST(HostileBytes, MayLackANameWhereOneIsNeeded) {
    Received nameless{"8500000c 00000000 00000001"};
    Received without_room_for_one{"05000008 00000001"};

    for (Received* const attr : {&nameless, &without_room_for_one}) {
        EXPECT_TRUE(blobmsg_check_attr(attr->attr(), false));
        EXPECT_FALSE(blobmsg_check_attr(attr->attr(), true));
    }
}

}  // namespace zephran::ubox_standin
