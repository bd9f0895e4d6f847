// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "standin_test.h"

namespace zephran::uci_standin {

namespace {

namespace fs = std::filesystem;

class CommitTest : public StandinTest {
protected:
    /// A set that changes nothing, followed by the commit.
    int commit_without_change(const std::string& overlay = {}) const {
        Session session{directory};
        if (!overlay.empty()) {
            EXPECT_EQ(session.add_delta_path(overlay), ok);
        }
        EXPECT_EQ(session.lookup("demo.main.enabled=1"), ok);
        EXPECT_EQ(session.set(), ok);
        EXPECT_EQ(session.save(), ok);
        return session.commit();
    }
};

TEST_F(CommitTest, DeletionBecomesPermanentWithAnyCommit) {
    directory.write("saved/demo", "-demo.main.name\n");

    ASSERT_EQ(commit_without_change(), ok);

    fs::remove_all(directory.path("saved"));
    EXPECT_EQ(read_anew("demo.main.name"), "<none>");
}

TEST_F(CommitTest, ChangesOfOtherProgramsAreCommittedToo) {
    directory.write("saved/demo", "demo.main.name='half edited'\n");

    ASSERT_EQ(commit_without_change(), ok);

    EXPECT_NE(directory.read("config/demo").find("option name 'half edited'"), std::string::npos);
}

TEST_F(CommitTest, ChangesSavedAfterTheLookupAreCommittedToo) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name=mine"), ok);
    directory.write("saved/demo", "demo.main.enabled='theirs'\n");

    ASSERT_EQ(session.set(), ok);
    ASSERT_EQ(session.save(), ok);
    ASSERT_EQ(session.commit(), ok);

    EXPECT_EQ(read_anew("demo.main.name"), "mine");
    EXPECT_EQ(read_anew("demo.main.enabled"), "theirs");
}

TEST_F(CommitTest, SavedFileIsEmptiedAndKept) {
    directory.write("saved/demo", "demo.main.name='other'\n");

    ASSERT_EQ(commit_without_change(), ok);

    ASSERT_TRUE(directory.has("saved/demo"));
    EXPECT_EQ(fs::file_size(directory.path("saved/demo")), 0U);
}

TEST_F(CommitTest, FileIsReplacedAndItsModeKept) {
    const fs::path file = directory.path("config/demo");
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
    fs::create_hard_link(file, directory.path("old"));
    directory.write("saved/demo", "demo.main.name='other'\n");

    ASSERT_EQ(commit_without_change(), ok);

    EXPECT_EQ(directory.read("old"), demo_text);
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    const fs::directory_iterator entries{directory.path("config")};
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

TEST_F(CommitTest, SymbolicLinkIsFollowed) {
    directory.write("real/target", demo_text);
    fs::create_symlink(directory.path("real/target"), directory.path("config/linked"));
    Session session{directory};
    ASSERT_EQ(session.lookup("linked.main.name=other"), ok);

    ASSERT_EQ(session.set(), ok);
    ASSERT_EQ(session.commit(), ok);

    EXPECT_TRUE(fs::is_symlink(directory.path("config/linked")));
    EXPECT_NE(directory.read("real/target").find("'other'"), std::string::npos);
}

TEST_F(CommitTest, FileIsRewrittenInTheUsualForm) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name=it's new"), ok);

    ASSERT_EQ(session.set(), ok);
    ASSERT_EQ(session.save(), ok);
    ASSERT_EQ(session.commit(), ok);

    EXPECT_EQ(directory.read("config/demo"),
              "\nconfig service 'main'\n\toption enabled '1'\n\toption name 'it'\\''s new'\n"
              "\tlist server 'one'\n\tlist server 'two'\n"
              "\nconfig rule\n\toption port '80'\n\nconfig rule\n\toption port '443'\n\n");
}

TEST_F(CommitTest, OverlayIsWrittenAndKept) {
    directory.write("state/demo", "demo.main.name='overlay'\n");

    ASSERT_EQ(commit_without_change(directory.path("state")), ok);

    EXPECT_EQ(read_anew("demo.main.name"), "overlay");
    EXPECT_EQ(directory.read("state/demo"), "demo.main.name='overlay'\n");
}

TEST_F(CommitTest, OverlayIsWrittenEvenWhenTheSetFailed) {
    directory.write("state/demo", "demo.main.name='overlay'\n");
    Session session{directory};
    ASSERT_EQ(session.add_delta_path(directory.path("state")), ok);
    ASSERT_EQ(session.lookup("demo.absent.name=value"), ok);
    ASSERT_EQ(session.set(), invalid);

    ASSERT_EQ(session.save(), ok);
    ASSERT_EQ(session.commit(), ok);

    EXPECT_EQ(read_anew("demo.main.name"), "overlay");
}

TEST_F(CommitTest, OverlayStillOverridesWhatWasCommitted) {
    directory.write("state/demo", "demo.main.name='overlay'\n");
    Session writer{directory};
    ASSERT_EQ(writer.add_delta_path(directory.path("state")), ok);
    ASSERT_EQ(writer.lookup("demo.main.name=mine"), ok);
    ASSERT_EQ(writer.set(), ok);
    ASSERT_EQ(writer.save(), ok);
    ASSERT_EQ(writer.commit(), ok);
    Session reader{directory};

    ASSERT_EQ(reader.add_delta_path(directory.path("state")), ok);
    ASSERT_EQ(reader.lookup("demo.main.name"), ok);

    EXPECT_EQ(reader.value(), "overlay");
    EXPECT_EQ(read_anew("demo.main.name"), "mine");
}

TEST_F(CommitTest, FailureToOpenTheFileKeepsTheSavedChange) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name=other"), ok);
    ASSERT_EQ(session.set(), ok);
    ASSERT_EQ(session.save(), ok);
    fs::rename(directory.path("config"), directory.path("away"));

    const int result = session.commit();

    EXPECT_EQ(result, io_error);
    fs::rename(directory.path("away"), directory.path("config"));
    EXPECT_EQ(read_anew("demo.main.name"), "other");
}

TEST_F(CommitTest, FileThatHasGoneIsMadeAnew) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.other=kind"), ok);
    ASSERT_EQ(session.set(), ok);
    fs::remove(directory.path("config/demo"));

    ASSERT_EQ(session.commit(), ok);

    EXPECT_EQ(directory.read("config/demo"), "\nconfig kind 'other'\n\n");
}

TEST_F(CommitTest, FailureToMakeTheNewFileLosesTheSavedChange) {
    // The temporary file beside it would have a name longer than the file system allows.
    const std::string package(250, 'p');
    directory.write("config/" + package, demo_text);
    Session session{directory};
    ASSERT_EQ(session.lookup(package + ".main.name=other"), ok);
    ASSERT_EQ(session.set(), ok);
    ASSERT_EQ(session.save(), ok);

    const int result = session.commit();

    EXPECT_EQ(result, io_error);
    EXPECT_EQ(directory.read("config/" + package), demo_text);
    EXPECT_EQ(read_anew(package + ".main.name"), "gateway");
    EXPECT_EQ(directory.read("saved/" + package), "");
}

TEST_F(CommitTest, SavedChangeThatChangesNothingRewritesTheFile) {
    directory.write("saved/demo", "demo.main.name='gateway'\n");

    ASSERT_EQ(commit_without_change(), ok);

    EXPECT_EQ(directory.read("config/demo").find("# a comment"), std::string::npos);
    EXPECT_EQ(directory.read("saved/demo"), "");
}

TEST_F(CommitTest, SavedLinesThatCannotBeAppliedStay) {
    directory.write("saved/demo", "demo.absent.name='value'\n");

    ASSERT_EQ(commit_without_change(), ok);

    EXPECT_EQ(directory.read("config/demo"), demo_text);
    EXPECT_EQ(directory.read("saved/demo"), "demo.absent.name='value'\n");
}

TEST_F(CommitTest, OverwritingAddsWhatOthersSaved) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name=mine"), ok);
    directory.write("saved/demo", "demo.main.enabled='theirs'\n");

    ASSERT_EQ(session.set(), ok);
    ASSERT_EQ(session.commit(true), ok);

    EXPECT_EQ(read_anew("demo.main.name"), "mine");
    EXPECT_EQ(read_anew("demo.main.enabled"), "theirs");
}

TEST_F(CommitTest, OverwritingWritesNothingUnlessSomethingWasSaved) {
    Session session{directory};
    ASSERT_EQ(session.lookup("demo.main.name=mine"), ok);
    ASSERT_EQ(session.set(), ok);

    ASSERT_EQ(session.commit(true), ok);

    EXPECT_EQ(directory.read("config/demo"), demo_text);
}

TEST_F(CommitTest, AbsoluteFileIsWrittenWithoutSavedChanges) {
    const std::string path = directory.write("elsewhere/other", "config a 'b'\n\toption c 'd'\n");
    Session session{directory};
    ASSERT_EQ(session.lookup(path + ".b.c=new"), ok);

    ASSERT_EQ(session.set(), ok);
    ASSERT_EQ(session.save(), ok);
    ASSERT_EQ(session.commit(), ok);

    EXPECT_EQ(read_anew(path + ".b.c"), "new");
    EXPECT_FALSE(directory.has("saved"));
}

}  // namespace

}  // namespace zephran::uci_standin
