// SPDX-License-Identifier: Apache-2.0
#include "deployment/partial_file.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "common/exception.h"
#include "support/captured_log.h"
#include "support/make_chunk.h"
#include "support/noted_syncs.h"
#include "support/temporary_directory.h"

namespace zephran {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class PartialFileOfArtifact : public ::testing::Test {
protected:
    /// What an interrupted process leaves behind.
    void leave(const std::string& bytes) const {
        const common::FileDescriptor file = partial.begin();
        partial.write_record(record);
        EXPECT_EQ(file.write(bytes.data(), bytes.size()), bytes.size());
    }

    /// The bytes that can be gone on with.
    std::uint64_t reopened() {
        ResumeRecord wanted = record;
        wanted.entity_tag.clear();
        const common::FileDescriptor file = partial.reopen(wanted);
        found_tag = wanted.entity_tag;
        return file.is_open() ? size_of(file) : 0;
    }

    void expect_nothing_left(const std::string& reason) {
        EXPECT_EQ(reopened(), 0U);
        EXPECT_THAT(log.text(), HasSubstr("event=download_restarted filename="));
        EXPECT_THAT(log.text(), HasSubstr(reason));
        EXPECT_FALSE(directory.has("fw.bin.part"));
        EXPECT_FALSE(directory.has(".fw.bin.part"));
    }

    CapturedLog log;
    TemporaryDirectory directory;
    const PartialFile partial{directory.path("fw.bin")};
    ResumeRecord record{"/fw.bin", 10, "md5:00", "tag"};
    std::string found_tag;
};

TEST_F(PartialFileOfArtifact, IsGoneOnWith) {
    leave("1234");

    EXPECT_EQ(reopened(), 4U);
    EXPECT_EQ(found_tag, "tag");
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(PartialFileOfArtifact, NothingThereIsNotWorthALine) {
    EXPECT_EQ(reopened(), 0U);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(PartialFileOfArtifact, IsKnownByItsName) {
    EXPECT_EQ(PartialFile::artifact_of("fw.bin.part"), "fw.bin");
    EXPECT_EQ(PartialFile::artifact_of(".fw.bin.part"), "fw.bin");
    EXPECT_EQ(PartialFile::artifact_of("fw.bin"), "");
    EXPECT_EQ(PartialFile::artifact_of(".part"), "");
    EXPECT_EQ(PartialFile::artifact_of(""), "");
}

TEST_F(PartialFileOfArtifact, WithoutItsRecordIsDeleted) {
    leave("1234");
    std::filesystem::remove(directory.path(".fw.bin.part"));

    expect_nothing_left("the record beside the partial file is missing");
}

TEST_F(PartialFileOfArtifact, RecordWithoutItsFileIsDeleted) {
    leave("1234");
    std::filesystem::remove(directory.path("fw.bin.part"));

    expect_nothing_left("the partial file is missing");
}

TEST_F(PartialFileOfArtifact, OfAnotherArtifactIsDeleted) {
    leave("1234");
    record.digest = "md5:01";

    expect_nothing_left("the partial file is of another artifact");
}

TEST_F(PartialFileOfArtifact, ThatHasGrownTooLargeIsDeleted) {
    leave("12345678901");

    expect_nothing_left("larger than announced");
}

TEST_F(PartialFileOfArtifact, ThatIsEmptyIsDeleted) {
    leave("");

    expect_nothing_left("the partial file is empty");
}

TEST_F(PartialFileOfArtifact, OfFullSizeIsGoneOnWith) {
    leave("1234567890");

    EXPECT_EQ(reopened(), 10U);
}

TEST_F(PartialFileOfArtifact, ThatOthersMayWriteIsDeleted) {
    leave("1234");
    ASSERT_EQ(::chmod(directory.path("fw.bin.part").c_str(), 0666), 0);

    expect_nothing_left("not the daemon's own");
}

TEST_F(PartialFileOfArtifact, RecordThatOthersMayWriteCountsAsMissing) {
    leave("1234");
    ASSERT_EQ(::chmod(directory.path(".fw.bin.part").c_str(), 0666), 0);

    expect_nothing_left("the record beside the partial file is missing");
}

TEST_F(PartialFileOfArtifact, PlantedLinkIsNotFollowed) {
    directory.write("other", "1234");
    leave("1234");
    std::filesystem::remove(directory.path("fw.bin.part"));
    std::filesystem::create_symlink(directory.path("other"), directory.path("fw.bin.part"));

    expect_nothing_left("not the daemon's own");
    EXPECT_EQ(directory.read("other"), "1234");
}

TEST_F(PartialFileOfArtifact, BeginsWithoutARecord) {
    leave("1234");

    const common::FileDescriptor file = partial.begin();

    EXPECT_EQ(directory.read("fw.bin.part"), "");
    EXPECT_FALSE(directory.has(".fw.bin.part"));
}

TEST_F(PartialFileOfArtifact, WeakTagLeavesNoRecord) {
    record.entity_tag = "W/\"x\"";
    leave("1234");

    EXPECT_FALSE(directory.has(".fw.bin.part"));
}

TEST_F(PartialFileOfArtifact, RecordThatCannotBeMadeIsALineAndNoFailure) {
    std::filesystem::create_directory(directory.path(".fw.bin.part"));

    partial.write_record(record);

    EXPECT_THAT(logged_after("event=record_failed", log.text()), SizeIs(1));
    EXPECT_THAT(log.text(), HasSubstr("the record cannot be made"));
}

TEST_F(PartialFileOfArtifact, HasItsRecordOnTheDiskBeforeItsBytesArrive) {
    const NotedSyncs syncs;

    partial.write_record(record);

    EXPECT_THAT(syncs.paths(), ElementsAre(directory.path(".fw.bin.part"), directory.path()));
    EXPECT_EQ(syncs.all().front().bytes, record.to_text().size());
    EXPECT_FALSE(syncs.is_any_inherited());
}

TEST_F(PartialFileOfArtifact, TakesTheNameOfTheArtifactAtTheEnd) {
    directory.write("fw.bin", "planted");
    leave("1234567890");

    partial.complete();

    EXPECT_EQ(directory.read("fw.bin"), "1234567890");
    EXPECT_FALSE(directory.has("fw.bin.part"));
    EXPECT_FALSE(directory.has(".fw.bin.part"));
}

TEST_F(PartialFileOfArtifact, DirectoryWithTheNameOfTheArtifactIsAFailure) {
    std::filesystem::create_directory(directory.path("fw.bin"));
    leave("1234567890");

    EXPECT_THROW(partial.complete(), common::FileWriteException);
}

TEST_F(PartialFileOfArtifact, HasASizeWhateverItsRecordSays) {
    EXPECT_EQ(partial.size(), 0U);
    leave("1234");
    std::filesystem::remove(directory.path(".fw.bin.part"));

    EXPECT_EQ(partial.size(), 4U);
}

bool is_possible(const std::vector<std::string>& names) {
    const auto chunk = make_chunk("script", names);
    return PartialFile::is_possible(chunk.artifacts().front(), {chunk});
}

TEST(PartialFile, IsImpossibleWhereAnotherArtifactHasItsName) {
    EXPECT_TRUE(is_possible({"a", "b"}));
    EXPECT_FALSE(is_possible({"a", "a.part"}));
    EXPECT_FALSE(is_possible({"a.part"}));
    EXPECT_TRUE(is_possible({std::string(240, 'a')}));
    EXPECT_FALSE(is_possible({std::string(241, 'a')}));
}

}  // namespace
}  // namespace zephran
