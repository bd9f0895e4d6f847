// SPDX-License-Identifier: Apache-2.0
#include "ubus/ubus_object.h"

#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/private_broker.h"
#include "ubus/exceptions.h"
#include "ubus/message_text.h"

namespace zephran::test {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ubus::UbusContext;
using ubus::UbusObject;

constexpr std::chrono::milliseconds soon{10};

Json::Value text_document(const std::string& text) {
    Json::Value document;
    document["text"] = text;
    return document;
}

class UbusObjectTest : public ::testing::Test {
protected:
    std::unique_ptr<UbusObject> make(const std::string& name, std::list<UbusObject::Method> methods,
                                     bool served = true) {
        auto object = std::make_unique<UbusObject>(
            name, std::move(methods), UbusContext::Environment{broker.socket(), soon, soon});
        if (served) {
            object->get_context().start_receiver();
        }
        return object;
    }

    /// Answers every call with the text of its arguments.
    static UbusObject::Method echo(const std::string& name) {
        return {name,
                [](UbusObject* object, ubus_request_data* request, blob_attr* message) {
                    object->reply(request, text_document(ubox::to_json_text(message).value()));
                    return 0;
                },
                {{"first", BLOBMSG_TYPE_STRING}, {"second", BLOBMSG_TYPE_INT32}}};
    }

    static UbusObject::Method answering(const std::string& name, const Json::Value& answer) {
        return {name,
                [answer](UbusObject* object, ubus_request_data* request, blob_attr* /*message*/) {
                    object->reply(request, answer);
                    return 0;
                },
                {}};
    }

    template <class Function>
    static UbusObject::Method method(Function function) {
        return {"m", function, {}};
    }

    [[nodiscard]] CommandResult call(const std::string& arguments) const {
        return run_command(broker.command("call demo " + arguments));
    }

    CapturedLog log;
    PrivateBroker broker;
};

TEST_F(UbusObjectTest, IsListedWithItsMethodsAndArguments) {
    const auto demo = make("demo", {echo("one"), answering("two", {})});

    const CommandResult listed = run_command(broker.listing("demo"));

    EXPECT_EQ(listed.status, 0);
    EXPECT_THAT(listed.output, HasSubstr(R"("one":{"first":"String","second":"Integer"})"));
    EXPECT_THAT(listed.output, HasSubstr(R"("two":{})"));
    EXPECT_LT(listed.output.find("one"), listed.output.find("two"));
    EXPECT_EQ(demo->get_name(), "demo");
}

TEST_F(UbusObjectTest, AnswersCalls) {
    const auto demo = make("demo", {echo("one")});

    const CommandResult answer = call(R"(one '{"first":"x","second":5}')");

    EXPECT_EQ(answer.output, "{\"text\":\"{\\\"first\\\":\\\"x\\\",\\\"second\\\":5}\"}\n");
    EXPECT_EQ(answer.status, 0);
}

TEST_F(UbusObjectTest, CallWithoutArgumentsHasNoMembers) {
    const auto demo = make("demo", {echo("one")});

    EXPECT_EQ(call("one").output, "{\"text\":\"{}\"}\n");
    EXPECT_EQ(call("one '{}'").output, "{\"text\":\"{}\"}\n");
}

TEST_F(UbusObjectTest, MembersOfAReplyAreSortedByName) {
    Json::Value answer;
    answer["zebra"] = 1;
    answer["ape"] = Json::nullValue;
    answer["mouse"] = true;
    const auto demo = make("demo", {answering("one", answer)});

    EXPECT_EQ(call("one").output, "{\"ape\":null,\"mouse\":true,\"zebra\":1}\n");
}

TEST_F(UbusObjectTest, StatusOfTheHandlerReachesTheCaller) {
    const auto demo = make("demo", {method([](auto*...) { return 8; })});

    const CommandResult answer = call("m");

    EXPECT_EQ(answer.status, UBUS_STATUS_NOT_SUPPORTED);
}

TEST_F(UbusObjectTest, MethodThatIsNotInTheListIsRefusedByTheLibrary) {
    const auto demo = make("demo", {echo("one")});

    EXPECT_EQ(call("two").status, UBUS_STATUS_METHOD_NOT_FOUND);
}

TEST_F(UbusObjectTest, DispatcherAnswersNothingToAMethodThatIsNotInTheList) {
    const auto demo = make("demo", {echo("one")}, false);
    ubus_request_data request{};
    auto owner_record = ubus::ObjectRegistration{"demo", {}, nullptr, demo.get()};

    EXPECT_EQ(UbusObject::ubus_method_handler_internal(
                  demo->get_context().get(), owner_record.object(), &request, "two", nullptr),
              0);
}

TEST_F(UbusObjectTest, SecondObjectOfTheSameNameIsRefusedWithTheLibrarysText) {
    // The library does not support two connections on two threads.
    const auto demo = make("demo", {echo("one")}, false);

    try {
        make("demo", {echo("one")}, false);
        FAIL() << "registered twice";
    } catch (const ubus::ObjectAddException& error) {
        EXPECT_STREQ(error.what(), "Failed to add object");
        const auto* const text = boost::get_error_info<ubus::ubus_error_tag>(error);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(*text, "Invalid argument");
    }
    demo->get_context().start_receiver();
    EXPECT_EQ(call("one").status, 0);
}

TEST_F(UbusObjectTest, NameIsFreeAfterTheObjectIsDestroyed) {
    make("demo", {echo("one")}).reset();

    EXPECT_EQ(call("one").status, UBUS_STATUS_NOT_FOUND);
    EXPECT_NO_THROW(make("demo", {echo("one")}));
}

TEST_F(UbusObjectTest, ExceptionOfAHandlerBecomesALoggedFailure) {
    auto demo =
        make("demo", {method([](auto*...) -> int { throw std::runtime_error{"out of luck"}; })});

    EXPECT_EQ(call("m").output, "{\"success\":false}\n");
    EXPECT_EQ(call("m").status, 0);

    demo.reset();
    EXPECT_THAT(log.text(), HasSubstr("ERROR"));
    EXPECT_THAT(log.text(), HasSubstr("event=exception_caught action=call method=m what="));
    EXPECT_THAT(log.text(), HasSubstr("out of luck"));
}

TEST_F(UbusObjectTest, ThrownNumberDoesNotEndTheProcess) {
    const auto demo = make("demo", {method([](auto*...) -> int { throw 5; })});  // NOLINT

    EXPECT_EQ(call("m").output, "{\"success\":false}\n");
}

TEST_F(UbusObjectTest, MethodWithoutAFunctionFails) {
    auto demo = make("demo", {UbusObject::Method{"m", nullptr, {}}});

    EXPECT_EQ(call("m").output, "{\"success\":false}\n");

    demo.reset();
    EXPECT_THAT(log.text(), HasSubstr("bad_function_call"));
}

TEST_F(UbusObjectTest, ReplyOfNearlyAMegabyteArrives) {
    const std::string long_text(1'000'000, 'x');
    const auto demo = make("demo", {answering("one", text_document(long_text))});

    const CommandResult answer = call("one");

    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.output.size(), long_text.size() + std::string{"{\"text\":\"\"}\n"}.size());
}

TEST_F(UbusObjectTest, ReplyThatTheBrokerWouldRefuseBecomesAFailure) {
    auto demo =
        make("demo", {answering("one", text_document(std::string(1U << 20U, 'x'))), echo("two")});

    EXPECT_EQ(call("one").output, "{\"success\":false}\n");
    EXPECT_EQ(call("two").status, 0);

    demo.reset();
    EXPECT_THAT(log.text(), HasSubstr("Message is too large for ubus"));
    EXPECT_THAT(log.text(), Not(HasSubstr("connection lost")));
}

TEST_F(UbusObjectTest, LargestReplyIsTheBrokersLimit) {
    // frame and attributes around a text of this length fill the megabyte to the last word
    constexpr std::size_t around_the_text = 4 + 8 + 4 + 4 + 8 + 1;
    constexpr std::size_t largest = (1U << 20U) - around_the_text;
    auto demo = make("demo", {answering("fits", text_document(std::string(largest, 'x'))),
                              answering("exceeds", text_document(std::string(largest + 1, 'x')))});

    EXPECT_GT(call("fits").output.size(), largest);
    EXPECT_EQ(call("exceeds").output, "{\"success\":false}\n");

    demo.reset();
    EXPECT_THAT(log.text(), Not(HasSubstr("connection lost")));
}

TEST_F(UbusObjectTest, IsThereAgainWhenTheBrokerComesBack) {
    auto demo = make("demo", {echo("one")});

    broker.kill();
    broker.start();
    ASSERT_EQ(run_command(broker.command("wait_for demo")).status, 0);

    EXPECT_EQ(call("one").output, "{\"text\":\"{}\"}\n");
    demo.reset();
    EXPECT_THAT(log.text(), HasSubstr("connection lost"));
    EXPECT_THAT(log.text(), HasSubstr("connection restored"));
}

}  // namespace
}  // namespace zephran::test
