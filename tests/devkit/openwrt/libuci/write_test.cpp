// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "standin_test.h"

namespace zephran::uci_standin {

namespace {

class WriteTest : public StandinTest {
protected:
    /// The three steps a program takes, with all their results.
    void store(const std::string& assignment) {
        Session session{directory};
        ASSERT_EQ(session.lookup(assignment), ok);
        ASSERT_EQ(session.set(), ok);
        ASSERT_EQ(session.save(), ok);
        ASSERT_EQ(session.commit(), ok);
    }
};

TEST_F(WriteTest, ValueIsReplaced) {
    store("demo.main.name=other");

    EXPECT_EQ(read_anew("demo.main.name"), "other");
}

TEST_F(WriteTest, PointerLeadsToTheNewValue) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.fresh=value"), ok);

    ASSERT_EQ(session.set(), ok);

    ASSERT_NE(session.pointer.o, nullptr);
    EXPECT_STREQ(session.pointer.o->v.string, "value");
}

TEST_F(WriteTest, LookupStaysIncompleteAfterTheSet) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.fresh=value"), ok);

    ASSERT_EQ(session.set(), ok);

    EXPECT_FALSE(session.complete());
}

TEST_F(WriteTest, MissingOptionIsCreatedAtTheEndOfTheSection) {
    store("demo.main.fresh=value");

    EXPECT_NE(directory.read("config/demo").find("two'\n\toption fresh 'value'\n\nconfig rule"),
              std::string::npos)
        << directory.read("config/demo");
}

TEST_F(WriteTest, OptionInAMissingSectionIsNotStored) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.absent.name=value"), ok);

    EXPECT_EQ(session.set(), invalid);
    EXPECT_EQ(session.save(), ok);
    EXPECT_EQ(session.commit(), ok);
    EXPECT_EQ(directory.read("config/demo"), demo_text);
}

TEST_F(WriteTest, MissingPackageIsNotCreated) {
    Session session{directory};

    EXPECT_EQ(session.lookup("absent.main.name=value"), not_found);
    EXPECT_FALSE(directory.has("config/absent"));
}

TEST_F(WriteTest, EmptyValueDeletes) {
    store("demo.main.name=");

    EXPECT_EQ(read_anew("demo.main.name"), "<none>");
    EXPECT_EQ(directory.read("config/demo").find("name"), std::string::npos);
}

TEST_F(WriteTest, EmptyValueOfAMissingOptionIsNoError) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.absent="), ok);

    EXPECT_EQ(session.set(), ok);
}

TEST_F(WriteTest, SectionIsCreatedByItsType) {
    store("demo.device=factory");
    store("demo.device.serial=42");

    EXPECT_NE(directory.read("config/demo").find("config factory 'device'\n\toption serial '42'"),
              std::string::npos)
        << directory.read("config/demo");
}

TEST_F(WriteTest, TypeOfASectionIsChanged) {
    store("demo.main=daemon");

    EXPECT_EQ(read_anew("demo.@daemon[0].name"), "gateway");
}

TEST_F(WriteTest, SectionIsDeletedByAnEmptyType) {
    store("demo.main=");

    EXPECT_EQ(read_anew("demo.main.name"), "<none>");
    EXPECT_EQ(read_anew("demo.@[0].port"), "80");
}

TEST_F(WriteTest, PackageHasNoValue) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo=value"), ok);

    EXPECT_EQ(session.set(), invalid);
}

TEST_F(WriteTest, SetWithoutValueIsInvalid) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name"), ok);

    EXPECT_EQ(session.set(), invalid);
}

TEST_F(WriteTest, SameValueIsNotWrittenAgain) {
    store("demo.main.name=gateway");

    EXPECT_EQ(directory.read("config/demo"), demo_text);
    EXPECT_EQ(directory.read("saved/demo"), "");
}

TEST_F(WriteTest, StringReplacesAList) {
    store("demo.main.server=three");

    EXPECT_EQ(read_anew("demo.main.server"), "three");
    EXPECT_EQ(directory.read("config/demo").find("list"), std::string::npos);
}

TEST_F(WriteTest, OptionOfASectionNamedByItsPlaceIsSet) {
    store("demo.@rule[-1].port=8443");

    EXPECT_EQ(read_anew("demo.@rule[1].port"), "8443");
    EXPECT_EQ(read_anew("demo.@rule[0].port"), "80");
}

TEST_F(WriteTest, SectionNamedByItsPlaceIsDeleted) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.@rule[0]"), ok);

    ASSERT_EQ(session.remove(), ok);
    ASSERT_EQ(session.save(), ok);

    EXPECT_EQ(read_anew("demo.@rule[0].port"), "443");
}

TEST_F(WriteTest, DeletingSomethingMissingIsNotFound) {
    Session session{directory};

    ASSERT_EQ(session.lookup("demo.main.absent"), ok);
    EXPECT_EQ(session.remove(), not_found);
    ASSERT_EQ(session.lookup("demo.absent.name"), ok);
    EXPECT_EQ(session.remove(), not_found);
    ASSERT_EQ(session.lookup("demo.absent"), ok);
    EXPECT_EQ(session.remove(), not_found);
}

TEST_F(WriteTest, UnsavedDeletionIsLost) {
    {
        Session session{directory};
        ASSERT_EQ(session.lookup("demo.main.name"), ok);
        ASSERT_EQ(session.remove(), ok);
    }

    EXPECT_EQ(read_anew("demo.main.name"), "gateway");
    EXPECT_FALSE(directory.has("saved/demo"));
}

TEST_F(WriteTest, SavedDeletionIsOneLineThatReadersSee) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name"), ok);
    ASSERT_EQ(session.remove(), ok);

    ASSERT_EQ(session.save(), ok);

    EXPECT_EQ(directory.read("saved/demo"), "-demo.main.name\n");
    EXPECT_EQ(read_anew("demo.main.name"), "<none>");
    EXPECT_EQ(directory.read("config/demo"), demo_text);
}

TEST_F(WriteTest, SavedDeletionIsLostWithItsDirectory) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name"), ok);
    ASSERT_EQ(session.remove(), ok);
    ASSERT_EQ(session.save(), ok);

    std::filesystem::remove_all(directory.path("saved"));

    EXPECT_EQ(read_anew("demo.main.name"), "gateway");
}

TEST_F(WriteTest, SaveFailsWhenTheDirectoryIsAFile) {
    directory.write("saved", "");
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name=other"), ok);
    ASSERT_EQ(session.set(), ok);

    EXPECT_EQ(session.save(), io_error);
}

TEST_F(WriteTest, SavedChangesAreAppended) {
    Session session{directory};
    for (const char* const assignment : {"demo.main.name=it's", "demo.main.enabled=0"}) {
        ASSERT_EQ(session.lookup(assignment), ok);
        ASSERT_EQ(session.set(), ok);
        ASSERT_EQ(session.save(), ok);
    }

    EXPECT_EQ(directory.read("saved/demo"), "demo.main.name='it'\\''s'\ndemo.main.enabled='0'\n");
    EXPECT_EQ(read_anew("demo.main.name"), "it's");
}

}  // namespace

}  // namespace zephran::uci_standin
