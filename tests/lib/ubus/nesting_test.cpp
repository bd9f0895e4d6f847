// SPDX-License-Identifier: Apache-2.0
#include "ubus/nesting.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace zephran::ubox {

namespace {

using Bytes = std::vector<unsigned char>;

constexpr unsigned char array = 1;
constexpr unsigned char table = 2;

/// An element of the given type without a name.
Bytes element(unsigned char type, const Bytes& value) {
    const std::size_t length = 8 + value.size();
    Bytes bytes{static_cast<unsigned char>(0x80U | type),
                static_cast<unsigned char>(length >> 16U),
                static_cast<unsigned char>(length >> 8U),
                static_cast<unsigned char>(length),
                0,
                0,
                0,
                0};
    bytes.insert(bytes.end(), value.begin(), value.end());
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

Bytes nested(unsigned depth, unsigned char type = table) {
    Bytes bytes = element(3, {'x', 0});
    for (unsigned level = 0; level < depth; ++level) {
        bytes = element(type, bytes);
    }
    return bytes;
}

bool is_nested_at_most(unsigned depth, const Bytes& bytes) {
    return ubox::is_nested_at_most(depth, bytes.data(), bytes.size());
}

TEST(Nesting, FlatAndEmptyMessagesAreNotNested) {
    EXPECT_TRUE(is_nested_at_most(0, {}));
    EXPECT_TRUE(is_nested_at_most(0, nested(0)));
}

TEST(Nesting, TablesAndArraysCount) {
    for (const unsigned char type : {array, table}) {
        EXPECT_TRUE(is_nested_at_most(3, nested(3, type)));
        EXPECT_FALSE(is_nested_at_most(2, nested(3, type)));
    }
}

TEST(Nesting, StringThatLooksLikeATableDoesNotCount) {
    EXPECT_TRUE(is_nested_at_most(0, element(3, nested(5))));
}

TEST(Nesting, ElementsAfterTheFirstAreChecked) {
    Bytes bytes = nested(0);
    const Bytes deep = nested(3);
    bytes.insert(bytes.end(), deep.begin(), deep.end());

    EXPECT_FALSE(is_nested_at_most(2, bytes));
    EXPECT_TRUE(is_nested_at_most(3, bytes));
}

TEST(Nesting, NamesAreSkipped) {
    // a table "ab" that holds an empty array
    const Bytes bytes{0x82, 0, 0, 20, 0, 2, 'a', 'b', 0, 0, 0, 0, 0x81, 0, 0, 8, 0, 0, 0, 0};

    EXPECT_TRUE(is_nested_at_most(2, bytes));
    EXPECT_FALSE(is_nested_at_most(1, bytes));
}

TEST(Nesting, ContainersWithoutANameAreChecked) {
    // two tables without the place for a name, one in the other; read as names, the first bytes of
    // the inner one would hide it
    const Bytes bytes{0x02, 0, 0, 12, 0x02, 0, 0, 8, 0x02, 0, 0, 4};

    EXPECT_TRUE(is_nested_at_most(3, bytes));
    EXPECT_FALSE(is_nested_at_most(2, bytes));
}

TEST(Nesting, NeighboursAreNotNestedInEachOther) {
    Bytes bytes = element(table, {});
    const Bytes neighbour = element(array, {});
    bytes.insert(bytes.end(), neighbour.begin(), neighbour.end());

    EXPECT_TRUE(is_nested_at_most(1, bytes));
}

TEST(Nesting, NothingIsReadBehindTheLastElement) {
    Bytes bytes = nested(0);
    const std::size_t size = bytes.size();
    const Bytes behind = element(table, {});
    bytes.insert(bytes.end(), behind.begin(), behind.end());

    EXPECT_TRUE(ubox::is_nested_at_most(0, bytes.data(), size));
}

TEST(Nesting, ContainerThatIsTooShortForItsNameIsFlat) {
    for (const unsigned char length : Bytes{4, 5, 6, 7}) {
        EXPECT_TRUE(is_nested_at_most(0, {0x82, 0, 0, length, 0, 0, 0, 0}));
    }
}

TEST(Nesting, MegabyteOfNestedTablesIsRefusedWithoutDeepRecursion) {
    constexpr std::size_t levels = (1U << 20U) / 8;
    Bytes bytes;
    for (std::size_t level = 0; level < levels; ++level) {
        const std::size_t length = (levels - level) * 8;
        for (const std::size_t byte :
             {std::size_t{0x82}, length >> 16U, length >> 8U, length, std::size_t{0},
              std::size_t{0}, std::size_t{0}, std::size_t{0}}) {
            bytes.push_back(static_cast<unsigned char>(byte));
        }
    }

    EXPECT_FALSE(is_nested_at_most(32, bytes));
}

TEST(Nesting, MalformedElementsEndTheSearch) {
    const std::vector<Bytes> malformed{
        {0x82},
        {0x82, 0, 0},
        {0x82, 0, 0, 0},
        {0x82, 0, 0, 3},
        {0x82, 0, 0, 4},
        {0x82, 0, 0, 5, 0},
        {0x82, 0, 0, 7, 0, 0, 0},
        {0x82, 0, 0, 9, 0, 0, 0, 0, 0},
        {0x82, 0, 1, 0, 0, 0, 0, 0},
        {0x82, 0, 0, 8, 0xff, 0xff, 0, 0},
        {0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff},
    };

    for (const Bytes& bytes : malformed) {
        EXPECT_TRUE(is_nested_at_most(1, bytes));
    }
}

}  // namespace

}  // namespace zephran::ubox
