// SPDX-License-Identifier: Apache-2.0
#include "common/output_collector.h"

#include <vector>

#include <gtest/gtest.h>

namespace zephran::common {
namespace {

std::string collected(const std::vector<std::string>& pieces, std::size_t kept) {
    std::string text;
    OutputCollector collector{text, kept};
    for (const std::string& piece : pieces) {
        collector.take(piece);
    }
    collector.finish();
    return text;
}

TEST(OutputCollector, ShortTextIsKeptWhole) {
    EXPECT_EQ(collected({}, 4), "");
    EXPECT_EQ(collected({"ab", "", "cde"}, 4), "abcde");
    EXPECT_EQ(collected({"abcd", "efgh"}, 4), "abcdefgh");
}

TEST(OutputCollector, OfALongTextTheBeginningAndTheEndAreKept) {
    EXPECT_EQ(collected({"abcd", "efgh", "i"}, 4), "abcd\n[bytes left out: 1]\nfghi");
    EXPECT_EQ(collected({"abcdefghijkl"}, 4), "abcd\n[bytes left out: 4]\nijkl");
    EXPECT_EQ(collected({"abc", "defghi", "jklm", "no"}, 4), "abcd\n[bytes left out: 7]\nlmno");
}

TEST(OutputCollector, PieceMayBeLongerThanWhatIsKept) {
    EXPECT_EQ(collected({"ab", std::string(1000, 'x') + "yz"}, 2),
              "ab\n[bytes left out: 1000]\nyz");
}

TEST(OutputCollector, MemoryIsBoundedWhateverTheLength) {
    constexpr std::size_t kept = 4096;
    std::string text;
    OutputCollector collector{text, kept};

    for (int i = 0; i < 1000; ++i) {
        collector.take(std::string(1000, 'x'));
    }
    collector.finish();

    EXPECT_LE(text.capacity(), 2 * kept + 100);
}

/// What the text has room for after pieces of these sizes.
std::size_t capacity_after(const std::vector<std::size_t>& sizes, std::size_t kept) {
    std::string text;
    OutputCollector collector{text, kept};
    for (const std::size_t size : sizes) {
        collector.take(std::string(size, 'x'));
    }
    return text.capacity();
}

TEST(OutputCollector, TextThatMayStayShortTakesLittleMemory) {
    constexpr std::size_t kept = 4000;

    EXPECT_LT(capacity_after({1}, kept), kept);
    EXPECT_LT(capacity_after({1000, 1000, 1000}, kept), 2 * kept);
    EXPECT_LT(capacity_after({2500, 0}, kept), 2 * kept);
    EXPECT_LT(capacity_after({kept}, kept), 2 * kept);
}

TEST(OutputCollector, AllMemoryIsTakenOnceTheTextWouldOutgrowIt) {
    constexpr std::size_t kept = 4000;

    EXPECT_GE(capacity_after({2500, 100}, kept), 2 * kept);
    EXPECT_GE(capacity_after({100, kept}, kept), 2 * kept);
}

TEST(OutputCollector, OneMebibyteOfEachEndIsKept) {
    EXPECT_EQ(OutputCollector::default_kept, 1048576U);
}

TEST(OutputCollector, WithoutATargetNothingIsCollected) {
    OutputCollector collector;

    collector.take("text");

    EXPECT_NO_THROW(collector.finish());
}

}  // namespace
}  // namespace zephran::common
