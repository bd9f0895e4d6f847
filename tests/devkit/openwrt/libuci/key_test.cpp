// SPDX-License-Identifier: Apache-2.0
#include "standin_test.h"

namespace zephran::uci_standin {

namespace {

struct MalformedKey {
    const char* description;
    const char* text;
    int result;
};

class MalformedKeyTest : public StandinTest, public testing::WithParamInterface<MalformedKey> {};

TEST_P(MalformedKeyTest, FailsAndLeavesAZeroedPointer) {
    Session session{directory};
    session.pointer.p = reinterpret_cast<Package*>(&session);

    const int result = session.lookup(GetParam().text);

    EXPECT_EQ(result, GetParam().result);
    EXPECT_EQ(session.pointer.p, nullptr);
    EXPECT_EQ(session.pointer.package, nullptr);
    EXPECT_EQ(session.pointer.flags, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Keys, MalformedKeyTest,
    testing::Values(MalformedKey{"Empty", "", parse_error}, MalformedKey{"Dot", ".", parse_error},
                    MalformedKey{"Dots", "..", parse_error},
                    MalformedKey{"EmptyOption", "demo.main.", parse_error},
                    MalformedKey{"FourParts", "demo.main.name.more", parse_error},
                    MalformedKey{"BlankInOption", "demo.main.na me", parse_error},
                    MalformedKey{"MinusInOption", "demo.main.na-me", parse_error},
                    MalformedKey{"BlankInPackage", "de mo.main.name", parse_error},
                    MalformedKey{"ControlCharacterInValue", "demo.main.name=a\x01z", parse_error},
                    MalformedKey{"EmptySection", "demo..name", invalid},
                    MalformedKey{"EmptyLastSection", "demo.", invalid},
                    MalformedKey{"BlankInSection", "demo.ma in.name", invalid},
                    MalformedKey{"MinusInSection", "demo.ma-in.name", invalid},
                    MalformedKey{"TypeWithoutIndex", "demo.@rule.port", invalid},
                    MalformedKey{"IndexWithoutNumber", "demo.@rule[x].port", invalid},
                    MalformedKey{"BadSectionAndOption", "demo.ma in.na-me", parse_error},
                    MalformedKey{"BadSectionAndFourParts", "demo.ma in.name.more", parse_error}),
    [](const auto& row) { return row.param.description; });

using KeyTest = StandinTest;

TEST_F(KeyTest, SectionByPlaceNeedsTheExtendedSyntax) {
    Session session{directory};

    EXPECT_EQ(session.lookup("demo.@rule[0].port", false), invalid);
}

TEST_F(KeyTest, IsCutAtTheFirstEqualsSign) {
    Session session{directory};

    const int result = session.lookup("demo.main.name=a=b.c");

    EXPECT_EQ(result, ok);
    EXPECT_STREQ(session.pointer.option, "name");
    EXPECT_STREQ(session.pointer.value, "a=b.c");
}

TEST_F(KeyTest, PackageNameMayHoldAMinus) {
    directory.write("config/demo-private", "config factory 'data'\n\toption word 'secret'\n");

    EXPECT_EQ(read_anew("demo-private.data.word"), "secret");
}

TEST_F(KeyTest, PackageMayBeAnAbsoluteFileName) {
    const std::string text = "config a 'b'\n\toption c 'd'\n";

    EXPECT_EQ(read_anew(directory.write("elsewhere/other", text) + ".b.c"), "d");
    EXPECT_EQ(read_anew(directory.write("elsewhere.d/other", text) + ".b.c"), "<error 5>");
}

}  // namespace

}  // namespace zephran::uci_standin
