// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/messages/cancel_action.h"

#include <gtest/gtest.h>

#include "json_errors.h"

namespace zephran::hawkbit {
namespace {

TEST(CancelAction, ReadsBothIds) {
    CancelActionMessage message;

    message.from_json(parse(R"({"id": "3", "cancelAction": {"stopId": "04"}})"));

    EXPECT_EQ(message.id(), "3");
    EXPECT_EQ(message.stop_id(), "04");
}

TEST(CancelAction, ReadingAgainReplaces) {
    CancelActionMessage message;
    message.from_json(parse(R"({"id": "3", "cancelAction": {"stopId": "3"}})"));

    message.from_json(parse(R"({"id": "5", "cancelAction": {"stopId": "6"}, "more": 1})"));

    EXPECT_EQ(message.id(), "5");
    EXPECT_EQ(message.stop_id(), "6");
}

TEST(CancelAction, MissingMembersAreNamed) {
    using Message = CancelActionMessage;
    EXPECT_EQ(missing_key<Message>(parse(R"({"cancelAction": {"stopId": "3"}})")), "id");
    EXPECT_EQ(missing_key<Message>(parse(R"({"id": null, "cancelAction": {}})")), "id");
    EXPECT_EQ(missing_key<Message>(parse(R"({"id": "3"})")), "cancelAction");
    EXPECT_EQ(missing_key<Message>(parse(R"({"id": "3", "cancelAction": {}})")), "stopId");
}

TEST(CancelAction, NumericIdsAreRefused) {
    using Message = CancelActionMessage;
    EXPECT_EQ(mistyped_key<Message>(parse(R"({"id": 3, "cancelAction": {"stopId": "3"}})")), "id");
    EXPECT_EQ(mistyped_key<Message>(parse(R"({"id": "3", "cancelAction": {"stopId": 3}})")),
              "stopId");
    EXPECT_EQ(mistyped_key<Message>(parse(R"({"id": "3", "cancelAction": "3"})")), "cancelAction");
}

}  // namespace
}  // namespace zephran::hawkbit
