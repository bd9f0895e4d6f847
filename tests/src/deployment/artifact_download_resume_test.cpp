// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include "artifact_download_test.h"
#include "hawkbit/exceptions.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

class ResumedDownload : public ArtifactDownloadOfBytes {
protected:
    ResumedDownload() {
        options.resume = true;
        options.retry_delay = 0;
        task.resumes = true;
    }
};

TEST_F(ResumedDownload, GoesOnWhereItWasCutOff) {
    answers = {whole("0123", CURLE_PARTIAL_FILE), rest_from(4, CURLE_RECV_ERROR, 3), rest_from(7)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 4, 7));
    EXPECT_EQ(server.ranges.back().entity_tag, "tag");
    EXPECT_THAT(log.text(), HasSubstr("INFO"));
    EXPECT_THAT(log.text(), HasSubstr("download_artifact: event=download_resumed from=4 of=10\n"));
    EXPECT_THAT(log.text(), HasSubstr("event=download_resumed from=7 of=10\n"));
    EXPECT_FALSE(directory.has("a.bin.part"));
    EXPECT_FALSE(directory.has(".a.bin.part"));
}

TEST_F(ResumedDownload, IsInItsOwnFileUntilItIsComplete) {
    answers = {whole("0123", CURLE_PARTIAL_FILE), whole("")};
    begin();
    download->advance();

    EXPECT_FALSE(directory.has("a.bin"));
    EXPECT_EQ(directory.read("a.bin.part"), "0123");
    EXPECT_THAT(directory.read(".a.bin.part"), HasSubstr("/files/a.bin"));
    EXPECT_THAT(directory.read(".a.bin.part"), Not(HasSubstr("update.example")));
}

TEST_F(ResumedDownload, NextProcessGoesOn) {
    answers = {whole("0123", CURLE_PARTIAL_FILE), rest_from(4)};
    begin();
    download->advance();
    download.reset();
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 4));
}

TEST_F(ResumedDownload, WithoutATagItBeginsAnew) {
    answers = {{{200, "", "", ""}, "0123", CURLE_PARTIAL_FILE}, whole(content)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 0));
}

TEST_F(ResumedDownload, WholeFileInsteadOfTheRestReplacesWhatWasThere) {
    answers = {whole("abcd", CURLE_PARTIAL_FILE), whole(content)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(log.text(), HasSubstr("event=download_restarted"));
    EXPECT_THAT(log.text(), HasSubstr("what=the server sends the whole file"));
}

TEST_F(ResumedDownload, SomethingElseThanTheRestIsNotAppended) {
    Answer other_tag = rest_from(4);
    other_tag.head.entity_tag = "other";
    Answer other_start = rest_from(5);
    Answer no_range = rest_from(4);
    no_range.head.content_range = "";
    for (const Answer& lie : {other_tag, other_start, no_range}) {
        server.ranges.clear();
        answers = {whole("0123", CURLE_PARTIAL_FILE), lie, whole(content)};
        begin();

        run();

        EXPECT_EQ(directory.read("a.bin"), content);
        EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 4, 0));
    }
    EXPECT_THAT(log.text(), HasSubstr("what=the server sends something else than the rest"));
}

TEST_F(ResumedDownload, BeginningAnewIsNoTryOfItsOwn) {
    options.attempts = 2;
    answers = {whole("0123", CURLE_PARTIAL_FILE), rest_from(5), whole(content)};
    begin();

    EXPECT_NO_THROW(run());
}

TEST_F(ResumedDownload, RangeThatIsNotThereBeginsAnew) {
    answers = {whole("0123", CURLE_PARTIAL_FILE), refusal(416), whole(content)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(log.text(), HasSubstr("what=the server does not have the rest"));
}

TEST_F(ResumedDownload, CompleteFileOfWhichNothingIsMissingIsVerified) {
    answers = {whole(content, CURLE_RECV_ERROR), refusal(416)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 10));
}

TEST_F(ResumedDownload, RefusedRangeWithoutAPartIsAFailure) {
    answers = {refusal(416)};
    begin();

    EXPECT_THROW(run(), http::HttpErrorCodeException);
}

TEST_F(ResumedDownload, WrongSumOfPiecesBeginsAnewOnce) {
    answers = {whole("abcd", CURLE_PARTIAL_FILE), rest_from(4), whole(content)};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), content);
    EXPECT_THAT(first_bytes_wanted(), ElementsAre(0, 4, 0));
    EXPECT_THAT(log.text(), HasSubstr("what=the sum of the whole file is wrong"));
}

TEST_F(ResumedDownload, WrongSumOfPiecesFailsTheSecondTime) {
    answers = {whole("abcd", CURLE_PARTIAL_FILE), rest_from(4), whole("abcd", CURLE_PARTIAL_FILE),
               rest_from(4)};
    begin();

    EXPECT_THROW(run(), hawkbit::VerificationFailedException);

    EXPECT_FALSE(directory.has("a.bin"));
}

TEST_F(ResumedDownload, WrongFileInOnePieceIsLeftToTheVerification) {
    answers = {whole("abcdefghij")};
    begin();

    run();

    EXPECT_EQ(directory.read("a.bin"), "abcdefghij");
}

}  // namespace
}  // namespace zephran::test
