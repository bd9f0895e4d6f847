// SPDX-License-Identifier: Apache-2.0
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/private_broker.h"
#include "ubus/ubus_object.h"

namespace zephran::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class UbusNotificationTest : public ::testing::Test {
protected:
    static constexpr std::chrono::milliseconds shortly{10};

    std::unique_ptr<ubus::UbusObject> make() {
        auto object = std::make_unique<ubus::UbusObject>(
            "demo", std::list<ubus::UbusObject::Method>{},
            ubus::UbusContext::Environment{broker.socket(), shortly, shortly});
        object->notify_from(queue);
        object->get_context().start_receiver();
        return object;
    }

    static Json::Value content(const std::string& text) {
        Json::Value document;
        document["text"] = text;
        return document;
    }

    /// What a subscriber prints in a second in which this is said again and again.
    template <class Say>
    std::string heard_while(Say say) {
        auto subscriber = std::async(std::launch::async, [this] {
            return run_command(broker.command("-t 1 subscribe demo")).output;
        });
        while (subscriber.wait_for(shortly) != std::future_status::ready) {
            say();
        }
        return subscriber.get();
    }

    CapturedLog log;
    PrivateBroker broker;
    std::shared_ptr<ubus::NotificationQueue> queue = std::make_shared<ubus::NotificationQueue>();
};

TEST_F(UbusNotificationTest, ReachesASubscriber) {
    const auto object = make();

    const std::string heard = heard_while([this] { queue->add({"state", content("x"), false}); });

    EXPECT_THAT(heard, HasSubstr("{ \"state\": {\"text\":\"x\"} }\n"));
}

TEST_F(UbusNotificationTest, IsDroppedWhileNobodyListens) {
    const auto object = make();
    queue->add({"state", content("old"), false});
    while (!queue->empty()) {
        std::this_thread::yield();
    }

    const std::string heard = heard_while([this] { queue->add({"state", content("new"), false}); });

    EXPECT_THAT(heard, HasSubstr("new"));
    EXPECT_THAT(heard, Not(HasSubstr("old")));
}

TEST_F(UbusNotificationTest, ThatIsTooLargeIsLeftOut) {
    auto object = make();

    const std::string heard = heard_while([this] {
        queue->add({"large", content(std::string(40'000, 'x')), false});
        queue->add({"small", content("x"), false});
    });
    object.reset();

    EXPECT_THAT(heard, HasSubstr("small"));
    EXPECT_THAT(heard, Not(HasSubstr("large")));
    EXPECT_THAT(log.text(), HasSubstr("action=notify method=large"));
}

TEST_F(UbusNotificationTest, IsSentAgainAfterAnOutage) {
    const auto object = make();
    heard_while([this] { queue->add({"state", content("x"), false}); });

    broker.kill();
    broker.start();
    ASSERT_EQ(run_command(broker.command("wait_for demo")).status, 0);

    EXPECT_THAT(heard_while([this] {
                    queue->add({"state", content("back"), false});
                }),
                HasSubstr("back"));
}

}  // namespace
}  // namespace zephran::test
