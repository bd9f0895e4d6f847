// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/detail_text.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hawkbit/utf8.h"

namespace zephran::hawkbit {
namespace {

using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

const std::string emoji = "\xF0\x9F\x98\x80";
const std::string replacement = "\xEF\xBF\xBD";

std::string repeat(const std::string& text, std::size_t count) {
    std::string repeated;
    for (std::size_t i = 0; i < count; ++i) {
        repeated += text;
    }
    return repeated;
}

/// Pieces that the server makes of details without white space at their ends.
std::size_t count_pieces(const std::vector<std::string>& details) {
    std::size_t pieces = 0;
    for (const auto& detail : details) {
        pieces += std::max<std::size_t>(1, (utf8::count_utf16_units(detail) + 511) / 512);
    }
    return pieces;
}

/// Characters of two units that the server would cut in two.
std::size_t count_cut_characters(const std::string& detail) {
    std::size_t cut = 0;
    std::size_t units = 0;
    for (std::size_t position = 0; position < detail.size();) {
        const auto length = utf8::sequence_length(detail, position);
        const bool takes_two = length == 4;
        cut += takes_two && units % 512 == 511 ? 1 : 0;
        units += takes_two ? 2 : 1;
        position += length;
    }
    return cut;
}

TEST(CleanDetail, BlankIsInsertedWhereMarkupBegins) {
    EXPECT_EQ(clean_detail("foo <a@b.c>"), "foo < a@b.c>");
    EXPECT_EQ(clean_detail("</x>"), "< /x>");
    EXPECT_EQ(clean_detail("<!x"), "< !x");
    EXPECT_EQ(clean_detail("<?x"), "< ?x");
    EXPECT_EQ(clean_detail("<<Z>"), "<< Z>");
    EXPECT_EQ(clean_detail("std::vector<int>"), "std::vector< int>");
    EXPECT_EQ(clean_detail("<b"), "< b");
}

TEST(CleanDetail, OtherBracketsAreUnchanged) {
    for (const std::string text :
         {"a < b", "a<2", "<_x>", "<:a>", "a <", "<", "<<", "<\xC3\xA9>", "&lt;b&gt;", "a > b"}) {
        EXPECT_EQ(clean_detail(text), text);
    }
}

TEST(CleanDetail, ControlCharactersBecomeBlanks) {
    EXPECT_EQ(clean_detail(std::string("a\0b", 3)), "a b");
    EXPECT_EQ(clean_detail("\x01\x1B[31m\r\x7F\v\f"), "  [31m    ");
    EXPECT_EQ(clean_detail("a\xC2\x80\xC2\x9F\xC2\xA0"), "a  \xC2\xA0");
}

TEST(CleanDetail, LineEndsAndTabsStay) {
    EXPECT_EQ(clean_detail("a\n\tb\n"), "a\n\tb\n");
}

TEST(CleanDetail, InvalidBytesAreReplaced) {
    EXPECT_EQ(clean_detail("gr\xFC\xDF"), "gr" + replacement + replacement);
    EXPECT_EQ(clean_detail("\xE2\x82"), replacement + replacement);
    EXPECT_EQ(clean_detail("\xE2\x82\xAC" + emoji), "\xE2\x82\xAC" + emoji);
}

TEST(CleanDetail, CleaningAgainChangesNothing) {
    for (const std::string text : {"<a><b>\x01<\x02z", "<\xFF<a", "</<//<<a"}) {
        const auto once = clean_detail(text);

        EXPECT_EQ(clean_detail(once), once);
    }
}

TEST(CleanDetails, CleansEveryDetail) {
    EXPECT_THAT(clean_details({"<a>", "", "b\x01"}), ElementsAre("< a>", "", "b "));
    EXPECT_THAT(clean_details({}), ElementsAre());
}

TEST(CleanDetails, ThirtyNinePiecesAreLeftAlone) {
    const std::string text(39 * 512, 'x');

    EXPECT_THAT(clean_details({text}), ElementsAre(text));
}

TEST(CleanDetails, LastPieceMayBeShort) {
    for (const std::size_t length : {1U, 511U, 512U, 513U, 1024U, 1025U}) {
        const std::string text(length, 'x');

        EXPECT_THAT(clean_details({text}), ElementsAre(text));
    }
}

TEST(CleanDetails, OneCharacterMoreIsShortened) {
    const std::string text = "begin" + std::string(39 * 512 - 7, 'x') + "end";

    const auto cleaned = clean_details({text});

    ASSERT_EQ(cleaned.size(), 1U);
    EXPECT_EQ(count_pieces(cleaned), 39U);
    EXPECT_THAT(cleaned[0], StartsWith("beginx"));
    EXPECT_THAT(cleaned[0], EndsWith("xend"));
    EXPECT_THAT(cleaned[0], ::testing::ContainsRegex("x\n\\[\\.\\.\\. [0-9]+ characters left out "
                                                     "\\.\\.\\.\\]\nx"));
}

TEST(CleanDetails, TheLineSaysHowManyCharactersWereLeftOut) {
    const std::string text(100'000, 'x');

    const auto cleaned = clean_details({text});

    ASSERT_EQ(cleaned.size(), 1U);
    const auto kept =
        static_cast<std::size_t>(std::count(cleaned[0].begin(), cleaned[0].end(), 'x'));
    EXPECT_THAT(cleaned[0], HasSubstr("\n[... " + std::to_string(text.size() - kept) +
                                      " characters left out ...]\n"));
    EXPECT_GT(kept, 39U * 512 - 60);
}

TEST(CleanDetails, CharactersOutsideTheBasicPlaneCountTwice) {
    const auto fits = repeat(emoji, 39 * 256);
    const auto cleaned = clean_details({fits + emoji});

    EXPECT_THAT(clean_details({fits}), ElementsAre(fits));
    ASSERT_EQ(cleaned.size(), 1U);
    EXPECT_EQ(count_pieces(cleaned), 39U);
    EXPECT_EQ(clean_detail(cleaned[0]), cleaned[0]) << "a character was cut";
    EXPECT_THAT(cleaned[0], HasSubstr(emoji + "\n[... "));
    EXPECT_THAT(cleaned[0], HasSubstr(" ...]\n" + emoji));
}

TEST(CleanDetails, CharactersLeftOutAreCountedNotTheirUnits) {
    const auto text = repeat(emoji, 20'000);

    const auto cleaned = clean_details({text});

    ASSERT_EQ(cleaned.size(), 1U);
    const auto begin = cleaned[0].find(" characters");
    const auto number = cleaned[0].find("[... ") + 5;
    const auto left_out = std::stoul(cleaned[0].substr(number, begin - number));
    const auto kept =
        static_cast<std::size_t>(std::count(cleaned[0].begin(), cleaned[0].end(), emoji.front()));
    EXPECT_EQ(left_out + kept, 20'000U);
}

TEST(CleanDetails, WhiteSpaceAtTheEndsDoesNotCount) {
    const auto text = " \n\t\xE3\x80\x80" + std::string(39 * 512, 'x') + "\xE2\x80\x83\r\n";

    const auto cleaned = clean_details({text});

    EXPECT_THAT(cleaned, ElementsAre(clean_detail(text)));
}

TEST(CleanDetails, BlanksThatMayNotBeBrokenAtCount) {
    const auto text = std::string(39 * 512, 'x') + "\xC2\xA0";

    EXPECT_THAT(clean_details({text})[0], HasSubstr(" characters left out "));
}

TEST(CleanDetails, EmptyDetailsArePiecesToo) {
    const std::vector<std::string> fits{"", " ", std::string(37 * 512, 'x')};
    const auto cleaned = clean_details({"", " ", std::string(37 * 512 + 1, 'x')});

    EXPECT_EQ(clean_details(fits), fits);
    ASSERT_EQ(cleaned.size(), 3U);
    EXPECT_EQ(cleaned[0], "");
    EXPECT_EQ(cleaned[1], " ");
    EXPECT_EQ(count_pieces({cleaned[2]}), 37U);
}

TEST(CleanDetails, TheLongestIsShortenedFirst) {
    const std::string message = "Installation failed";
    const std::string chunk = "os:firmware:1.0";
    const std::string output(1'000'000, 'x');

    const auto cleaned = clean_details({message, output, chunk});

    ASSERT_EQ(cleaned.size(), 3U);
    EXPECT_EQ(cleaned[0], message);
    EXPECT_EQ(cleaned[2], chunk);
    EXPECT_EQ(count_pieces({cleaned[1]}), 37U);
}

TEST(CleanDetails, TwoLongTextsShareTheRoom) {
    const auto cleaned = clean_details({std::string(100'000, 'x'), std::string(50'000, 'y'), "z"});

    ASSERT_EQ(cleaned.size(), 3U);
    EXPECT_EQ(count_pieces({cleaned[0]}), 19U);
    EXPECT_EQ(count_pieces({cleaned[1]}), 19U);
    EXPECT_EQ(cleaned[2], "z");
}

TEST(CleanDetails, TheFirstOfTwoLongTextsGetsThePieceLess) {
    const auto cleaned = clean_details({std::string(50'000, 'x'), std::string(50'000, 'y')});

    ASSERT_EQ(cleaned.size(), 2U);
    EXPECT_EQ(count_pieces({cleaned[0]}), 19U);
    EXPECT_EQ(count_pieces({cleaned[1]}), 20U);
}

TEST(CleanDetails, ATextBelowItsShareIsNotTouched) {
    const std::string middle(15 * 512, 'y');

    const auto cleaned = clean_details({std::string(100'000, 'x'), middle});

    ASSERT_EQ(cleaned.size(), 2U);
    EXPECT_EQ(count_pieces({cleaned[0]}), 24U);
    EXPECT_EQ(cleaned[1], middle);
}

TEST(CleanDetails, TheMiddleOfMoreThanThirtyNineDetailsIsLeftOut) {
    std::vector<std::string> details;
    for (int i = 0; i < 39; ++i) {
        details.push_back(std::to_string(i));
    }
    EXPECT_EQ(clean_details(details), details);

    details.push_back("39");
    const auto cleaned = clean_details(details);

    ASSERT_EQ(cleaned.size(), 39U);
    EXPECT_EQ(cleaned[18], "18");
    EXPECT_EQ(cleaned[19], "[... 2 details left out ...]");
    EXPECT_EQ(cleaned[20], "21");
    EXPECT_EQ(cleaned[38], "39");
}

TEST(CleanDetails, ManyLongDetailsGetAPieceEach) {
    const std::vector<std::string> details(60, std::string(2000, 'x'));

    const auto cleaned = clean_details(details);

    EXPECT_EQ(count_pieces(cleaned), 39U);
    EXPECT_THAT(cleaned[0], HasSubstr(" characters left out "));
}

TEST(CleanDetails, NoCutOfTheServerGoesThroughACharacter) {
    const auto cleaned = clean_details({"x" + repeat(emoji, 600)});

    EXPECT_EQ(cleaned, std::vector<std::string>{"x" + repeat(emoji, 255) + " " +
                                                repeat(emoji, 256) + repeat(emoji, 89)});
}

TEST(CleanDetails, CharactersBesideTheCutsAreUnchanged) {
    const std::vector<std::string> details{"\n" + repeat(emoji, 600) + "\n"};

    EXPECT_EQ(clean_details(details), details);
}

TEST(CleanDetails, CutsAreCountedFromWhereTheServerBegins) {
    const auto cleaned = clean_details({" \nx" + repeat(emoji, 256) + "\n"});

    EXPECT_EQ(cleaned, std::vector<std::string>{"x" + repeat(emoji, 255) + " " + emoji});
}

TEST(CleanDetails, TheBlanksAtTheCutsAreWithinTheLimit) {
    // just short enough, just too long, and far too long
    for (const std::size_t count : {39U * 256U - 20U, 39U * 256U - 1U, 39U * 256U, 50'000U}) {
        const auto cleaned = clean_details({"x" + repeat(emoji, count)});

        ASSERT_EQ(cleaned.size(), 1U);
        EXPECT_LE(count_pieces(cleaned), 39U) << count;
        EXPECT_GE(count_pieces(cleaned), 38U) << count;
        EXPECT_EQ(count_cut_characters(cleaned[0]), 0U) << count;
    }
}

TEST(CleanDetails, MarkupIsStillCleanWhereATextWasCut) {
    const auto cleaned = clean_details({repeat("<", 30'000) + repeat("a>", 30'000)});

    ASSERT_EQ(cleaned.size(), 1U);
    EXPECT_EQ(clean_detail(cleaned[0]), cleaned[0]);
}

TEST(SameDetail, ComparesAfterCleaningAndStripping) {
    EXPECT_TRUE(same_detail("script:a<b>:1", "script:a< b>:1"));
    EXPECT_TRUE(same_detail(" os:firmware:1\n", "os:firmware:1"));
    EXPECT_TRUE(same_detail("os:firm\x01ware:1", "os:firm ware:1"));
    EXPECT_TRUE(same_detail("", " "));
}

TEST(SameDetail, DifferentTextsAreNotTheSame) {
    EXPECT_FALSE(same_detail("os:firmware:1", "os:firmware:2"));
    EXPECT_FALSE(same_detail("os:firmware:1", "os:firm ware:1"));
    EXPECT_FALSE(same_detail("os:firmware:1", ""));
}

}  // namespace
}  // namespace zephran::hawkbit
