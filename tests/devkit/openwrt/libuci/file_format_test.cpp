// SPDX-License-Identifier: Apache-2.0
#include "standin_test.h"

namespace zephran::uci_standin {

namespace {

class FileFormatTest : public StandinTest {
protected:
    [[nodiscard]] std::string read_from(const std::string& text, const std::string& key) const {
        directory.write("config/other", text);
        return read_anew("other." + key);
    }
    [[nodiscard]] std::string with_delta(const std::string& text, const std::string& key) const {
        directory.write("saved/demo", text);
        return read_anew("demo." + key);
    }
};

TEST_F(FileFormatTest, PlainWordsNeedNoQuotes) {
    EXPECT_EQ(read_from("config a b\noption c d\n", "b.c"), "d");
}

TEST_F(FileFormatTest, DoubleQuotesTakeEscapedCharacters) {
    EXPECT_EQ(read_from(R"(config a "b"
        option c "say \"hi\" \\")",
                        "b.c"),
              R"(say "hi" \)");
}

TEST_F(FileFormatTest, AdjacentPiecesAreOneWord) {
    EXPECT_EQ(read_from("config a b\noption c 'it'\\''s'\" so\"\n", "b.c"), "it's so");
}

TEST_F(FileFormatTest, HashBeginsACommentAlsoInAWord) {
    EXPECT_EQ(read_from("config a b # comment 'unclosed\noption c d#e\n", "b.c"), "d");
    EXPECT_EQ(read_from("config a b\noption c 'd#e'\n", "b.c"), "d#e");
}

TEST_F(FileFormatTest, OptionWithoutValueIsLeftOut) {
    EXPECT_EQ(read_from("config a b\noption c\n", "b.c"), "<none>");
    EXPECT_EQ(read_from("config a b\noption c d\noption c\n", "b.c"), "d");
    EXPECT_EQ(read_from("config a b\noption c d\noption c ''\n", "b.c"), "d");
    EXPECT_EQ(read_from("config a b\nlist c\n", "b.c"), "<none>");
}

TEST_F(FileFormatTest, BackslashAtTheEndIsLeftOut) {
    EXPECT_EQ(read_from("config a b\noption c d\\", "b.c"), "d");
}

TEST_F(FileFormatTest, LaterOptionOfTheSameNameCounts) {
    EXPECT_EQ(read_from("config a b\noption c one\nconfig a b\noption c two\n", "b.c"), "two");
}

TEST_F(FileFormatTest, SyntaxErrorsAreReported) {
    const std::string parse_failure = "<error 5>";

    EXPECT_EQ(read_from("option c d\n", "b.c"), parse_failure);
    EXPECT_EQ(read_from("nonsense\n", "b.c"), parse_failure);
    EXPECT_EQ(read_from("config\n", "b.c"), parse_failure);
    EXPECT_EQ(read_from("config a b c\n", "b.c"), parse_failure);
    EXPECT_EQ(read_from("config a b-c\n", "b.c"), parse_failure);
    EXPECT_EQ(read_from("config a b\nconfig other b\n", "b.c"), parse_failure);
    EXPECT_EQ(read_from("config a b\noption c-d e\n", "b.c"), parse_failure);
    EXPECT_EQ(read_from("config a b\nlist c d e\n", "b.c"), parse_failure);
    EXPECT_EQ(read_from("config a b\noption c \"d\n", "b.c"), parse_failure);
}

TEST_F(FileFormatTest, EveryKindOfSavedChangeIsApplied) {
    EXPECT_EQ(with_delta("demo.main.name='it'\\''s\nhere'\n", "main.name"), "it's\nhere");
    EXPECT_EQ(with_delta("demo.extra='rule'\ndemo.extra.port='1'\n", "@rule[2].port"), "1");
    EXPECT_EQ(with_delta("+demo.cfg99='rule'\ndemo.cfg99.port='2'\n", "@rule[-1].port"), "2");
    EXPECT_EQ(with_delta("-demo.main\n", "main.name"), "<none>");
    EXPECT_EQ(with_delta("@demo.main='service'\n", "service.name"), "gateway");
    EXPECT_EQ(with_delta("@demo.main.name='title'\n", "main.title"), "gateway");
    EXPECT_EQ(with_delta("^demo.main='2'\n", "@[-1].name"), "gateway");
    EXPECT_EQ(with_delta("|demo.main.name='more'\n", "main.name"), "<none>");
    EXPECT_EQ(with_delta("-demo.main.server\ndemo.main.server='x'\n", "main.server"), "x");
}

TEST_F(FileFormatTest, ListItemsAreAddedAndRemoved) {
    directory.write("saved/demo", "|demo.main.server='three'\n~demo.main.server='one'\n");
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name"), ok);

    ASSERT_EQ(session.commit(), ok);

    EXPECT_NE(directory.read("config/demo").find("\tlist server 'two'\n\tlist server 'three'\n\n"),
              std::string::npos)
        << directory.read("config/demo");
}

TEST_F(FileFormatTest, StringBecomesTheFirstItemOfAListOfItsName) {
    directory.write("config/demo", "config a b\noption c one\nlist c two\n");
    directory.write("saved/demo", "|demo.b.c='three'\n");
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.b"), ok);

    ASSERT_EQ(session.commit(), ok);

    EXPECT_NE(
        directory.read("config/demo").find("\tlist c 'one'\n\tlist c 'two'\n\tlist c 'three'\n"),
        std::string::npos)
        << directory.read("config/demo");
}

TEST_F(FileFormatTest, BadLinesOfSavedChangesAreLeftOut) {
    EXPECT_EQ(with_delta("nonsense\nother.main.name='no'\ndemo.main.name='yes'\n", "main.name"),
              "yes");
    EXPECT_EQ(with_delta("demo.main.name='yes'\ndemo.main.name='unclosed\n", "main.name"), "yes");
}

class RoundTripTest : public FileFormatTest, public testing::WithParamInterface<std::string> {};

TEST_P(RoundTripTest, ValueComesBackIntact) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name=" + GetParam()), ok);
    ASSERT_EQ(session.set(), ok);
    ASSERT_EQ(session.save(), ok);
    EXPECT_EQ(read_anew("demo.main.name"), GetParam());

    ASSERT_EQ(session.commit(), ok);

    EXPECT_EQ(read_anew("demo.main.name"), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Values, RoundTripTest,
                         testing::Values("a=b=c", "it's", R"(say "hi")", R"(back\slash)", "a.b.c",
                                         " blanks around ", "# no comment", "a;b", "tab\there",
                                         "carriage\rreturn", "line\nend", "\n",
                                         "\xc3\xa4\xe2\x82\xac", "invalid \xff\xfe", "'",
                                         std::string(120000, 'x')));

}  // namespace

}  // namespace zephran::uci_standin
