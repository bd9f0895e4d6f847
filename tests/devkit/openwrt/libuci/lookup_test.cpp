// SPDX-License-Identifier: Apache-2.0
#include "standin_test.h"

namespace zephran::uci_standin {

namespace {

using LookupTest = StandinTest;

TEST_F(LookupTest, NewContextHasTheDirectoriesAndFlagsOfADevice) {
    const Library library;
    const std::unique_ptr<uci_context, void (*)(uci_context*)> context{
        library.find<decltype(uci_alloc_context)>("uci_alloc_context")(),
        library.find<decltype(uci_free_context)>("uci_free_context")};

    ASSERT_NE(context, nullptr);
    EXPECT_STREQ(context->confdir, "/etc/config");
    EXPECT_STREQ(context->savedir, "/tmp/.uci");
    EXPECT_EQ(context->flags, strict | saved_delta);
}

TEST_F(LookupTest, MissingPackageIsNotFound) {
    Session session{directory};

    EXPECT_EQ(session.lookup("absent.main.name"), not_found);
}

TEST_F(LookupTest, PackageThatIsNoFileIsNotFound) {
    directory.write("config/other/file", "");
    Session session{directory};

    EXPECT_EQ(session.lookup("other.main.name"), not_found);
}

TEST_F(LookupTest, SyntaxErrorInTheFileIsAParseError) {
    directory.write("config/broken", "config service 'main'\n\toption name 'unclosed\n");
    Session session{directory};

    EXPECT_EQ(session.lookup("broken.main.name"), parse_error);
}

TEST_F(LookupTest, OptionIsComplete) {
    Session session{directory};

    const int result = session.lookup("demo.main.name");

    EXPECT_EQ(result, ok);
    EXPECT_TRUE(session.complete());
    EXPECT_EQ(session.pointer.target, option_element);
    EXPECT_EQ(session.pointer.last, &session.pointer.o->e);
    EXPECT_EQ(session.pointer.o->e.type, option_element);
    EXPECT_STREQ(session.pointer.o->e.name, "name");
    EXPECT_EQ(session.value(), "gateway");
}

TEST_F(LookupTest, MissingSectionIsAnIncompleteSuccess) {
    Session session{directory};

    const int result = session.lookup("demo.absent.name");

    EXPECT_EQ(result, ok);
    EXPECT_FALSE(session.complete());
    EXPECT_NE(session.pointer.p, nullptr);
    EXPECT_EQ(session.pointer.o, nullptr);
}

TEST_F(LookupTest, MissingOptionIsAnIncompleteSuccess) {
    Session session{directory};

    const int result = session.lookup("demo.main.absent");

    EXPECT_EQ(result, ok);
    EXPECT_FALSE(session.complete());
    EXPECT_NE(session.pointer.s, nullptr);
    EXPECT_EQ(session.pointer.o, nullptr);
}

TEST_F(LookupTest, BarePackageIsCompleteWithoutOption) {
    Session session{directory};

    const int result = session.lookup("demo");

    EXPECT_EQ(result, ok);
    EXPECT_TRUE(session.complete());
    EXPECT_EQ(session.pointer.target, package_element);
    EXPECT_EQ(session.pointer.o, nullptr);
}

TEST_F(LookupTest, BareSectionIsCompleteWithoutOption) {
    Session session{directory};

    const int result = session.lookup("demo.main");

    EXPECT_EQ(result, ok);
    EXPECT_TRUE(session.complete());
    EXPECT_EQ(session.pointer.target, section_element);
    EXPECT_EQ(session.pointer.o, nullptr);
}

TEST_F(LookupTest, ListOptionHasTheListType) {
    Session session{directory};

    const int result = session.lookup("demo.main.server");

    EXPECT_EQ(result, ok);
    EXPECT_TRUE(session.complete());
    ASSERT_NE(session.pointer.o, nullptr);
    EXPECT_EQ(session.pointer.o->type, list_option);
}

TEST_F(LookupTest, SectionIsFoundByTypeAndPlace) {
    EXPECT_EQ(read_anew("demo.@rule[0].port"), "80");
    EXPECT_EQ(read_anew("demo.@rule[1].port"), "443");
    EXPECT_EQ(read_anew("demo.@rule[-1].port"), "443");
    EXPECT_EQ(read_anew("demo.@rule[-2].port"), "80");
    EXPECT_EQ(read_anew("demo.@rule[].port"), "80");
}

TEST_F(LookupTest, SectionIsFoundByPlaceAlone) {
    EXPECT_EQ(read_anew("demo.@[0].name"), "gateway");
    EXPECT_EQ(read_anew("demo.@[-1].port"), "443");
}

TEST_F(LookupTest, PlaceOutOfRangeIsAnIncompleteSuccess) {
    Session session{directory};

    EXPECT_EQ(session.lookup("demo.@rule[2].port"), ok);
    EXPECT_FALSE(session.complete());
    EXPECT_EQ(session.lookup("demo.@rule[-3].port"), ok);
    EXPECT_FALSE(session.complete());
}

TEST_F(LookupTest, AnonymousSectionIsFoundByItsGeneratedName) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.@rule[1].port"), ok);
    const std::string name = session.pointer.section;

    EXPECT_EQ(read_anew("demo." + name + ".port"), "443");
}

TEST_F(LookupTest, OverlayDirectoryOverridesTheFile) {
    directory.write("state/demo", "demo.main.name='overlay'\n");
    Session session{directory};

    ASSERT_EQ(session.add_delta_path(directory.path("state")), ok);
    ASSERT_EQ(session.lookup("demo.main.name"), ok);

    EXPECT_EQ(session.value(), "overlay");
}

TEST_F(LookupTest, SavedChangesOverrideTheOverlay) {
    directory.write("state/demo", "demo.main.name='overlay'\ndemo.main.enabled='overlay'\n");
    directory.write("saved/demo", "demo.main.name='saved'\n");
    Session session{directory};

    ASSERT_EQ(session.add_delta_path(directory.path("state")), ok);
    ASSERT_EQ(session.lookup("demo.main.name"), ok);

    EXPECT_EQ(session.value(), "saved");
    ASSERT_EQ(session.lookup("demo.main.enabled"), ok);
    EXPECT_EQ(session.value(), "overlay");
}

TEST_F(LookupTest, LaterOverlayOverridesTheEarlier) {
    directory.write("first/demo", "demo.main.name='first'\n");
    directory.write("second/demo", "demo.main.name='second'\n");
    Session session{directory};

    ASSERT_EQ(session.add_delta_path(directory.path("first")), ok);
    ASSERT_EQ(session.add_delta_path(directory.path("second")), ok);
    ASSERT_EQ(session.lookup("demo.main.name"), ok);

    EXPECT_EQ(session.value(), "second");
}

TEST_F(LookupTest, FormerSaveDirectoryIsStillRead) {
    directory.write("saved/demo", "demo.main.name='former'\ndemo.main.enabled='former'\n");
    directory.write("later/demo", "demo.main.name='later'\n");
    Session session{directory};

    session.save_in(directory.path("later"));
    ASSERT_EQ(session.lookup("demo.main.name"), ok);

    EXPECT_EQ(session.value(), "later");
    ASSERT_EQ(session.lookup("demo.main.enabled"), ok);
    EXPECT_EQ(session.value(), "former");
}

TEST_F(LookupTest, OverlayDirectoryIsAddedOnce) {
    Session session{directory};

    EXPECT_EQ(session.add_delta_path(directory.path("state")), ok);
    EXPECT_EQ(session.add_delta_path(directory.path("state")), duplicate);
    EXPECT_EQ(session.add_delta_path(directory.path("saved")), duplicate);
}

}  // namespace

}  // namespace zephran::uci_standin
