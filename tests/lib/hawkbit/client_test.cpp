// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/client.h"

#include <gtest/gtest.h>

#include "common/logprint.h"
#include "http/exceptions.h"
#include "json_errors.h"
#include "support/loopback_http_server.h"

namespace zephran::hawkbit {
namespace {

using test::HttpAnswer;
using test::LoopbackHttpServer;

/// A controller with addresses on a server that offers both actions.
Controller make_controller(const LoopbackHttpServer& server, bool use_https) {
    const std::string scheme = use_https ? "https" : "http";
    Json::Value document;
    document["config"]["polling"]["sleep"] = "00:01:00";
    auto& links = document["_links"];
    links["cancelAction"]["href"] = server.url("/cancel/3", scheme);
    links["deploymentBase"]["href"] = server.url("/deployment/3?c=-21&actionHistory=1", scheme);
    links["configData"]["href"] = server.url("/attributes", scheme);
    ControllerStatusMessage status;
    status.from_json(document);

    Controller controller;
    controller.extract_from(ControllerURLBuilder{"gw-1", server.authority(), "DEFAULT", use_https});
    controller.extract_from(status, std::chrono::system_clock::now);
    return controller;
}

class HawkbitClient : public ::testing::Test {
protected:
    void SetUp() override { debug_logger.enabled = false; }
    void TearDown() override { debug_logger.enabled = was_enabled; }

    Client client{http::TransportSettings{}};

private:
    const bool was_enabled = debug_logger.enabled;
};

HttpAnswer answer(const std::string& body) {
    return HttpAnswer{200, body, {}, false};
}

TEST_F(HawkbitClient, ControllerStatusComesFromTheBaseAddress) {
    const LoopbackHttpServer server{{answer(R"({"config": {"polling": {"sleep": "00:00:42"}}})")}};

    const auto status = client.fetch_controller_status(make_controller(server, false));

    EXPECT_EQ(status.sleep_time(), 42U);
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].target, "/DEFAULT/controller/v1/gw-1");
}

TEST_F(HawkbitClient, IdsOfDotsReachTheServerAsTheyAre) {
    const LoopbackHttpServer server{{answer(R"({"config": {"polling": {"sleep": "00:00:42"}}})"),
                                     answer(R"({"config": {"polling": {"sleep": "00:00:42"}}})")}};
    Controller one;
    one.extract_from(ControllerURLBuilder{".", server.authority(), "DEFAULT", false});
    Controller two;
    two.extract_from(ControllerURLBuilder{"..", server.authority(), "DEFAULT", false});

    static_cast<void>(client.fetch_controller_status(one));
    static_cast<void>(client.fetch_controller_status(two));

    ASSERT_EQ(server.requests().size(), 2U);
    EXPECT_EQ(server.requests()[0].target, "/DEFAULT/controller/v1/%2E");
    EXPECT_EQ(server.requests()[1].target, "/DEFAULT/controller/v1/%2E%2E");
}

TEST_F(HawkbitClient, DeploymentIsFetchedWithItsHistoryWhateverTheQuery) {
    const LoopbackHttpServer server{{answer(
        R"({"id": "3", "deployment": {"download": "skip", "update": "attempt", "chunks": []}})")}};

    const auto action = client.fetch_deployment_action(make_controller(server, false));

    EXPECT_EQ(action.id(), "3");
    EXPECT_FALSE(action.forced());
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].target, "/deployment/3?actionHistory=10");
}

TEST_F(HawkbitClient, PreferredSumIsTheOneOfTheDeployment) {
    const LoopbackHttpServer server{{answer(
        R"({"id": "3", "deployment": {"download": "skip", "update": "attempt", "chunks": [
            {"part": "os", "version": "2", "name": "fw", "artifacts": [
                {"filename": "a", "size": 1, "hashes": {"sha1": "2d", "sha256": "a0"},
                 "_links": {"download": {"href": "https://h/a"}}}]}]}})")}};
    const Client preferring{http::TransportSettings{}, Digest::sha256};

    const auto action = preferring.fetch_deployment_action(make_controller(server, false));

    EXPECT_EQ(action.chunks().front().artifacts().front().sha256(),
              std::vector<std::uint8_t>{0xa0});
}

TEST_F(HawkbitClient, CancelActionIsFetched) {
    const LoopbackHttpServer server{{answer(R"({"id": "3", "cancelAction": {"stopId": "4"}})")}};

    const auto action = client.fetch_cancel_action(make_controller(server, false));

    EXPECT_EQ(action.stop_id(), "4");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].target, "/cancel/3");
}

void expect_document(const LoopbackHttpServer& server, const std::string& method,
                     const std::string& target, const Json::Value& document) {
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, method);
    EXPECT_EQ(requests[0].target, target);
    EXPECT_EQ(requests[0].headers.at("content-type"), "application/json");
    EXPECT_EQ(requests[0].body, common::JSONDefaultWriter{}(document));
}

TEST_F(HawkbitClient, DeploymentFeedbackIsPosted) {
    const LoopbackHttpServer server{{answer("ignored")}};
    DeploymentActionFeedbackMessage message;
    message.id = "3";
    message.details = {"Installation started", "os:firmware:1"};

    client.send_deployment_action_feedback(make_controller(server, false), message);

    expect_document(server, "POST", "/deployment/3/feedback?c=-21&actionHistory=1",
                    message.to_json());
}

TEST_F(HawkbitClient, CancelFeedbackIsPosted) {
    const LoopbackHttpServer server{{answer("")}};
    CancelActionFeedbackMessage message;
    message.id = "3";

    client.send_cancel_action_feedback(make_controller(server, false), message);

    expect_document(server, "POST", "/cancel/3/feedback", message.to_json());
}

TEST_F(HawkbitClient, ConfigDataIsPut) {
    const LoopbackHttpServer server{{answer("")}};
    ConfigDataFeedbackMessage message;
    message.data = {{"hw", "1"}};

    client.send_config_data(make_controller(server, false), message);

    expect_document(server, "PUT", "/attributes", message.to_json());
}

TEST_F(HawkbitClient, FeedbackOfAnEarlierProcessIsPostedAsItWasWritten) {
    const LoopbackHttpServer server{{answer("ignored")}};
    Json::Value document;
    document["id"] = "3";

    client.send_feedback(common::URI{server.url("/deployment/3/feedback")}, document);

    expect_document(server, "POST", "/deployment/3/feedback", document);
}

TEST_F(HawkbitClient, ErrorStatusPassesThrough) {
    const LoopbackHttpServer server{{{410, "", {}, false}, {404, "", {}, false}}};
    const auto controller = make_controller(server, false);

    EXPECT_THROW(client.send_deployment_action_feedback(controller, {}),
                 http::HttpErrorCodeException);
    EXPECT_THROW(static_cast<void>(client.fetch_controller_status(controller)),
                 http::HttpErrorCodeException);
    EXPECT_EQ(server.requests().size(), 2U) << "nothing is tried again";
}

TEST_F(HawkbitClient, DocumentsThatCannotBeReadAreRefused) {
    const LoopbackHttpServer server{{answer("<html>"), answer("{}"), answer(R"({"id": 3})")}};
    const auto controller = make_controller(server, false);

    EXPECT_THROW(static_cast<void>(client.fetch_controller_status(controller)),
                 common::ParserException);
    EXPECT_THROW(static_cast<void>(client.fetch_deployment_action(controller)),
                 common::MissingValueException);
    EXPECT_THROW(static_cast<void>(client.fetch_cancel_action(controller)),
                 common::UnexpectedTypeException);
}

TEST_F(HawkbitClient, FeedbackThatCannotBeBuiltIsNotSent) {
    const LoopbackHttpServer server{{answer("")}};
    DeploymentActionFeedbackMessage message;
    message.result = static_cast<ActionFeedbackMessage::FinalResult>(3);

    EXPECT_THROW(client.send_deployment_action_feedback(make_controller(server, false), message),
                 UnsupportedFinalResultException);

    EXPECT_TRUE(server.requests().empty());
}

/// Runs an exchange that must fail because the certificate file is missing.
template <class Exchange>
void expect_certificate_problem(Exchange exchange) {
    try {
        exchange();
        FAIL() << "no exception";
    } catch (const http::HttpRequestException& error) {
        const auto* const code = boost::get_error_info<http::curlcode_tag>(error);
        ASSERT_NE(code, nullptr);
        EXPECT_EQ(*code, CURLE_SSL_CERTPROBLEM);
    }
}

TEST(HawkbitClientSettings, CertificateIsPresentedInEveryExchange) {
    const LoopbackHttpServer server{{}};
    const auto controller = make_controller(server, true);
    http::TransportSettings settings;
    settings.client_certificate.emplace(http::CertificateType::pem, "/nonexistent.crt",
                                        "/nonexistent.key");
    const Client client{settings};

    expect_certificate_problem(
        [&] { static_cast<void>(client.fetch_controller_status(controller)); });
    expect_certificate_problem(
        [&] { static_cast<void>(client.fetch_deployment_action(controller)); });
    expect_certificate_problem([&] { static_cast<void>(client.fetch_cancel_action(controller)); });
    expect_certificate_problem([&] { client.send_deployment_action_feedback(controller, {}); });
    expect_certificate_problem([&] { client.send_cancel_action_feedback(controller, {}); });
    expect_certificate_problem([&] { client.send_config_data(controller, {}); });
}

}  // namespace
}  // namespace zephran::hawkbit
