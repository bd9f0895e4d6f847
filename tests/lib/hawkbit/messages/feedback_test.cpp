// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/feedback.h"

#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "json_errors.h"
#include "support/time_zone.h"

namespace zephran::hawkbit {
namespace {

using Base = ActionFeedbackMessage;

/// As it goes out: a document that was built has unsigned numbers where a parsed one has signed.
std::string written(const Json::Value& document) {
    return common::JSONDefaultWriter{}(document);
}
std::string written(const char* text) {
    return written(parse(text));
}

class Feedback : public ::testing::Test {
private:
    const TimeZone zone{"UTC0"};
};

TEST_F(Feedback, ExecutionStatusesHaveTheirWords) {
    EXPECT_EQ(Base::to_string(Base::ExecutionStatus::closed), "closed");
    EXPECT_EQ(Base::to_string(Base::ExecutionStatus::proceeding), "proceeding");
    EXPECT_EQ(Base::to_string(Base::ExecutionStatus::canceled), "canceled");
    EXPECT_EQ(Base::to_string(Base::ExecutionStatus::scheduled), "scheduled");
    EXPECT_EQ(Base::to_string(Base::ExecutionStatus::rejected), "rejected");
    EXPECT_EQ(Base::to_string(Base::ExecutionStatus::resumed), "resumed");
}

TEST_F(Feedback, FinalResultsHaveTheirWords) {
    EXPECT_EQ(Base::to_string(Base::FinalResult::success), "success");
    EXPECT_EQ(Base::to_string(Base::FinalResult::failure), "failure");
    EXPECT_EQ(Base::to_string(Base::FinalResult::none), "none");
}

TEST_F(Feedback, EnumerationsKeepTheirValues) {
    EXPECT_EQ(static_cast<int>(Base::ExecutionStatus::closed), 0);
    EXPECT_EQ(static_cast<int>(Base::ExecutionStatus::resumed), 5);
    EXPECT_EQ(static_cast<int>(Base::FinalResult::success), 0);
    EXPECT_EQ(static_cast<int>(Base::FinalResult::none), 2);
}

TEST_F(Feedback, ValuesWithoutAWordAreRefused) {
    try {
        Base::to_string(static_cast<Base::ExecutionStatus>(6));
        FAIL() << "no exception";
    } catch (const UnsupportedExecutionStatusException& error) {
        EXPECT_STREQ(error.what(), "Unsupported execution status");
    }
    try {
        Base::to_string(static_cast<Base::FinalResult>(3));
        FAIL() << "no exception";
    } catch (const UnsupportedFinalResultException& error) {
        EXPECT_STREQ(error.what(), "Unsupported final result type");
    }
}

TEST_F(Feedback, TimeZeroIsTheEpoch) {
    EXPECT_EQ(Base::to_localtime_string(0), "19700101T000000");
}

TEST_F(Feedback, TimeIsLocal) {
    const TimeZone local{central_european_time};

    EXPECT_EQ(Base::to_localtime_string(1'706'741'999), "20240131T235959");
    EXPECT_EQ(Base::to_localtime_string(1'720'000'000), "20240703T114640");
}

TEST_F(Feedback, TimeFollowsAZoneThatHasChangedMeanwhile) {
    const TimeZone first{"UTC0"};
    setenv("TZ", "UTC-5", 1);

    EXPECT_EQ(Base::to_localtime_string(0), "19700101T050000");
}

TEST_F(Feedback, TimeThatCannotBeFormattedIsEmpty) {
    if constexpr (sizeof(long) > 4) {
        // A year of more than nine digits does not fit, later ones do not even have a date.
        EXPECT_EQ(Base::to_localtime_string(40'000'000'000'000'000), "");
        EXPECT_EQ(Base::to_localtime_string(std::numeric_limits<long>::max()), "");
    } else {
        EXPECT_EQ(Base::to_localtime_string(std::numeric_limits<long>::max()), "20380119T031407");
    }
}

TEST_F(Feedback, OfADeployment) {
    DeploymentActionFeedbackMessage message;
    message.id = "3";
    message.execution = Base::ExecutionStatus::closed;
    message.result = Base::FinalResult::failure;
    message.progress_count = 1;
    message.progress_of = 4'294'967'295U;
    message.time = 1;
    message.details = {"first", "", "second"};

    EXPECT_EQ(written(message.to_json()), written(R"({
        "id": "3", "time": "19700101T000001",
        "status": {"execution": "closed", "details": ["first", "", "second"],
                   "result": {"finished": "failure", "progress": {"count": 1, "of": 4294967295}}}
    })"));
}

TEST_F(Feedback, OfADeploymentAlwaysCarriesProgressAndDetails) {
    const DeploymentActionFeedbackMessage message;

    EXPECT_EQ(written(message.to_json()), written(R"({
        "id": "", "time": "19700101T000000",
        "status": {"execution": "proceeding", "details": [],
                   "result": {"finished": "none", "progress": {"count": 0, "of": 0}}}
    })"));
}

TEST_F(Feedback, OfACancelActionHasTheEpochUntilATimeIsSet) {
    EXPECT_EQ(CancelActionFeedbackMessage{}.to_json()["time"], "19700101T000000");
}

TEST_F(Feedback, OfACancelAction) {
    CancelActionFeedbackMessage message;
    message.id = "12";
    message.execution = Base::ExecutionStatus::proceeding;
    message.result = Base::FinalResult::success;
    message.time = 60;
    message.details = {"text"};

    EXPECT_EQ(written(message.to_json()), written(R"({
        "id": "12", "time": "19700101T000100",
        "status": {"execution": "proceeding", "details": ["text"],
                   "result": {"finished": "success"}}
    })"));
}

TEST_F(Feedback, OfACancelActionAlwaysCarriesDetails) {
    const CancelActionFeedbackMessage message;

    EXPECT_EQ(message.to_json()["status"]["details"], Json::Value{Json::arrayValue});
}

TEST_F(Feedback, CarriesACodeOnlyWhereOneIsSet) {
    DeploymentActionFeedbackMessage of_deployment;
    CancelActionFeedbackMessage of_cancel;

    EXPECT_FALSE(of_deployment.to_json()["status"].isMember("code"));
    EXPECT_FALSE(of_cancel.to_json()["status"].isMember("code"));

    of_deployment.code = 4001;
    of_cancel.code = 0;

    EXPECT_EQ(of_deployment.to_json()["status"]["code"], Json::Value{4001});
    EXPECT_EQ(of_cancel.to_json()["status"]["code"], Json::Value{0});
}

TEST_F(Feedback, OfConfigData) {
    ConfigDataFeedbackMessage message;
    message.data = {{"hw", "1"}, {"serial", "0017"}};

    EXPECT_EQ(written(message.to_json()), written(R"({
        "id": "", "mode": "replace", "time": "19700101T000000",
        "status": {"execution": "closed", "details": [], "result": {"finished": "success"}},
        "data": {"hw": "1", "serial": "0017"}
    })"));
}

TEST_F(Feedback, OfNoConfigDataCarriesAnEmptyObject) {
    const ConfigDataFeedbackMessage message;

    EXPECT_EQ(message.to_json()["data"], Json::Value{Json::objectValue});
}

TEST_F(Feedback, WithAnUnknownStatusIsNotBuilt) {
    DeploymentActionFeedbackMessage deployment;
    deployment.execution = static_cast<Base::ExecutionStatus>(6);
    CancelActionFeedbackMessage cancel;
    cancel.result = static_cast<Base::FinalResult>(3);

    EXPECT_THAT([&] { (void)deployment.to_json(); },
                ::testing::Throws<UnsupportedExecutionStatusException>());
    EXPECT_THAT([&] { (void)cancel.to_json(); },
                ::testing::Throws<UnsupportedFinalResultException>());
}

}  // namespace
}  // namespace zephran::hawkbit
