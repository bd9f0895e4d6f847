// SPDX-License-Identifier: Apache-2.0
#include "agent/report_file.h"

#include <cerrno>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/captured_log.h"
#include "support/largest_file.h"
#include "support/noted_syncs.h"
#include "support/temporary_directory.h"

namespace zephran {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ReportFileTest : public ::testing::Test {
protected:
    static UnsentReport closing() {
        UnsentReport report;
        report.kind = UnsentReport::Kind::closing;
        report.address = common::URI{"https://update.example/feedback?c=-1"};
        report.document["status"]["details"].append("done\n\"<\u00e4>");
        return report;
    }

    [[nodiscard]] std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator{directory.path()}) {
            found.push_back(entry.path().filename());
        }
        return found;
    }
    [[nodiscard]] std::string path() const { return directory.path() + "/" + names().at(0); }

    [[nodiscard]] std::string text() const {
        std::ifstream stream{path()};
        return {std::istreambuf_iterator<char>{stream}, {}};
    }
    void write(const std::string& content) const { std::ofstream{path()} << content; }
    /// Replaces a text of a file that was written properly.
    void falsify(const std::string& former, const std::string& other) const {
        std::string content = text();
        const auto place = content.find(former);
        ASSERT_NE(place, std::string::npos) << content;
        write(content.replace(place, former.size(), other));
    }
    void expect_dropped(const std::string& why) const {
        EXPECT_FALSE(file.load());
        EXPECT_THAT(names(), IsEmpty());
        EXPECT_THAT(log.text(), HasSubstr("event=report_file"));
        EXPECT_THAT(log.text(), HasSubstr("what=" + why));
    }

    CapturedLog log;
    TemporaryDirectory directory;
    common::URI target{"https://update.example/DEFAULT/controller/v1/00%3A13"};
    ReportFile file{target, directory.path() + "/"};
};

TEST_F(ReportFileTest, HoldsNothingAtFirst) {
    EXPECT_FALSE(file.load());
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ReportFileTest, GivesBackWhatWasSaved) {
    UnsentReport report = closing();
    report.is_shortened = true;

    file.save(report);
    const auto loaded = ReportFile{target, directory.path() + "/"}.load();

    ASSERT_TRUE(loaded);
    EXPECT_EQ(loaded->kind, UnsentReport::Kind::closing);
    EXPECT_EQ(loaded->address.str(), "https://update.example/feedback?c=-1");
    EXPECT_EQ(loaded->document, report.document);
    EXPECT_TRUE(loaded->is_shortened);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ReportFileTest, IsForTheDaemonsUserOnly) {
    file.save(closing());

    struct stat status {};
    ASSERT_EQ(stat(path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    EXPECT_EQ(names().size(), 1U);
}

TEST_F(ReportFileTest, HasANameThatOtherVersionsKnow) {
    file.save(closing());

    EXPECT_THAT(names(), ElementsAre("report-1475dfeb03144be962621d5fbf7ce0f1"));
}

TEST_F(ReportFileTest, IsOnTheDiskWithItsNameAndSoIsItsEnd) {
    const NotedSyncs syncs;
    const std::string folder = directory.path();

    file.save(closing());
    const std::string written = path();
    EXPECT_THAT(syncs.paths(), ElementsAre(written + ".new", folder));
    EXPECT_EQ(syncs.all().front().bytes, std::filesystem::file_size(written));
    file.remove();

    EXPECT_THAT(syncs.paths(), ElementsAre(written + ".new", folder, folder));
    EXPECT_FALSE(syncs.is_any_inherited());
}

TEST_F(ReportFileTest, FolderThatCannotBeSyncedIsNoFailure) {
    NotedSyncs syncs;
    syncs.fail(directory.path(), EINVAL);

    file.save(closing());

    EXPECT_TRUE(file.load());
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ReportFileTest, FailedSyncIsLogged) {
    file.save(closing());
    const std::string written = path();
    for (const std::string& failing : {written + ".new", directory.path()}) {
        NotedSyncs syncs;
        syncs.fail(failing, EIO);
        file.save(closing());
    }

    EXPECT_THAT(
        logged_after("the report cannot be kept over the end of the process what=", log.text()),
        ElementsAre("Input/output error", "Input/output error"));
}

TEST_F(ReportFileTest, IsReplacedAsAWhole) {
    file.save(closing());
    UnsentReport other = closing();
    other.shorten();
    {
        const LargestFile full{4};
        file.save(other);
    }

    ASSERT_EQ(names().size(), 2U);
    const auto loaded = file.load();
    ASSERT_TRUE(loaded);
    EXPECT_FALSE(loaded->is_shortened);
    EXPECT_THAT(log.text(), HasSubstr("the report cannot be kept over the end of the process"));
    // What is left of the attempt is not in the way of the next one.
    file.save(other);
    EXPECT_TRUE(file.load()->is_shortened);
}

TEST_F(ReportFileTest, DirectoryInTheWayOfTheNewOneIsLogged) {
    file.save(closing());
    std::filesystem::create_directory(path() + ".new");

    file.save(closing());

    EXPECT_THAT(log.text(), HasSubstr("what=File exists\n"));
}

TEST_F(ReportFileTest, IsReadableWhateverTheMask) {
    const mode_t former = umask(0777);
    file.save(closing());
    umask(former);

    EXPECT_TRUE(file.load());
}

TEST_F(ReportFileTest, OneThatCannotBeRemovedIsLogged) {
    file.save(closing());
    const std::string written = path();
    std::filesystem::remove(written);
    std::filesystem::create_directory(written);

    file.remove();

    EXPECT_THAT(log.text(), HasSubstr("the kept report cannot be removed"));
}

TEST_F(ReportFileTest, RemovalIsNoFailureWhateverFailedBefore) {
    file.save(closing());

    errno = EIO;
    file.remove();

    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ReportFileTest, IsReplacedAndRemoved) {
    file.save(closing());
    UnsentReport other = closing();
    other.shorten();

    file.save(other);
    EXPECT_TRUE(file.load()->is_shortened);
    file.remove();

    EXPECT_FALSE(file.load());
    EXPECT_THAT(names(), IsEmpty());
    file.remove();
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ReportFileTest, MakesItsDirectory) {
    const ReportFile deeper{target, directory.path() + "/state/"};

    deeper.save(closing());

    EXPECT_TRUE(deeper.load());
    struct stat status {};
    ASSERT_EQ(stat((directory.path() + "/state").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
}

TEST_F(ReportFileTest, WhatCannotBeWrittenIsLogged) {
    const ReportFile nowhere{target, directory.path() + "/no/such/"};

    nowhere.save(closing());

    EXPECT_THAT(log.text(), HasSubstr("WARNING"));
    EXPECT_THAT(log.text(), HasSubstr("the report cannot be kept over the end of the process"));
}

TEST_F(ReportFileTest, OfAnotherTargetIsAnotherFile) {
    file.save(closing());
    const common::URI other{"https://update.example/DEFAULT/controller/v1/gw-2"};

    EXPECT_FALSE((ReportFile{other, directory.path() + "/"}.load()));
    EXPECT_TRUE(file.load());
}

TEST_F(ReportFileTest, ForAnotherServerIsDropped) {
    file.save(closing());
    const common::URI moved{"https://new.example/DEFAULT/controller/v1/00%3A13"};

    EXPECT_FALSE((ReportFile{moved, directory.path() + "/"}.load()));
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(log.text(), HasSubstr("of another target or for another server"));
}

TEST_F(ReportFileTest, CutFileIsDropped) {
    file.save(closing());
    const std::string whole = text();
    for (std::size_t length = 0; length + 2 < whole.size(); length += 7) {
        file.save(closing());
        write(whole.substr(0, length));

        EXPECT_FALSE(file.load()) << whole.substr(0, length);
        EXPECT_THAT(names(), IsEmpty());
    }
}

TEST_F(ReportFileTest, FileOfAnotherVersionIsDropped) {
    file.save(closing());
    falsify("\"format\" : 1", "\"format\" : 2");

    expect_dropped("of another version");
}

TEST_F(ReportFileTest, IncompleteFileIsDropped) {
    file.save(closing());
    falsify("\"status\"", "\"other\"");

    expect_dropped("incomplete");
}

TEST_F(ReportFileTest, AddressThatIsNoneIsDropped) {
    file.save(closing());
    falsify("https://update.example/feedback", "file:///etc/passwd");

    expect_dropped("Server supplied insecure URL");
}

TEST_F(ReportFileTest, TextThatIsNoObjectIsDropped) {
    file.save(closing());
    write("[1]");

    expect_dropped("of another version");
}

TEST_F(ReportFileTest, EndlessNestingIsDropped) {
    file.save(closing());
    write(std::string(100'000, '['));

    EXPECT_FALSE(file.load());
    EXPECT_THAT(names(), IsEmpty());
}

TEST_F(ReportFileTest, FileThatOthersMayReadIsDropped) {
    file.save(closing());
    ASSERT_EQ(chmod(path().c_str(), 0644), 0);

    expect_dropped("not a file that this daemon has written");
}

TEST_F(ReportFileTest, FileOfAnotherUserIsDropped) {
    constexpr uid_t another = 65534;
    file.save(closing());
    if (chown(path().c_str(), another, static_cast<gid_t>(-1)) != 0) {
        GTEST_SKIP() << "only root can give files away";
    }

    expect_dropped("not a file that this daemon has written");
}

TEST_F(ReportFileTest, SecondNameIsDropped) {
    file.save(closing());
    const TemporaryDirectory elsewhere;
    const std::string other = elsewhere.path() + "/other";
    ASSERT_EQ(link(path().c_str(), other.c_str()), 0);

    expect_dropped("not a file that this daemon has written");
}

TEST_F(ReportFileTest, HugeFileIsDropped) {
    file.save(closing());
    std::filesystem::resize_file(path(), 1'048'577);

    expect_dropped("not a file that this daemon has written");
}

TEST_F(ReportFileTest, LargestFileIsRead) {
    file.save(closing());
    std::filesystem::resize_file(path(), 1'048'576);

    EXPECT_TRUE(file.load());
}

TEST_F(ReportFileTest, LinkIsDroppedAndItsTargetStays) {
    file.save(closing());
    const TemporaryDirectory elsewhere;
    const std::string other = elsewhere.path() + "/other";
    const std::string name = path();
    std::filesystem::rename(name, other);
    ASSERT_EQ(symlink(other.c_str(), name.c_str()), 0);

    expect_dropped("not a regular file");
    EXPECT_TRUE(std::filesystem::exists(other));
}

}  // namespace
}  // namespace zephran
