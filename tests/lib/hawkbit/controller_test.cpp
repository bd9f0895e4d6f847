// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/controller.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "json_errors.h"

namespace zephran::hawkbit {
namespace {

using namespace std::chrono_literals;

const Controller::time_point start{1'000'000s};

Controller::time_point now() {
    return start;
}

/// A status with the given links; "" leaves one out.
ControllerStatusMessage status(const std::string& cancel, const std::string& deployment,
                               const std::string& config) {
    Json::Value document;
    document["config"]["polling"]["sleep"] = "00:01:00";
    if (!cancel.empty()) {
        document["_links"]["cancelAction"]["href"] = cancel;
    }
    if (!deployment.empty()) {
        document["_links"]["deploymentBase"]["href"] = deployment;
    }
    if (!config.empty()) {
        document["_links"]["configData"]["href"] = config;
    }
    ControllerStatusMessage message;
    message.from_json(document);
    return message;
}

Controller controller(bool use_https) {
    Controller made;
    made.extract_from(ControllerURLBuilder{"G", "host:8443", "T", use_https});
    return made;
}

/// The address that a refused status names.
std::string refused_url(Controller& refusing, const ControllerStatusMessage& message) {
    try {
        refusing.extract_from(message, now);
    } catch (const InsecureURLException& error) {
        EXPECT_STREQ(error.what(), "Server supplied insecure URL");
        const auto* const url = boost::get_error_info<url_tag>(error);
        return url == nullptr ? "(no URL)" : *url;
    }
    return "(no exception)";
}

TEST(ControllerUrlBuilder, BuildsTheAddressesOfATarget) {
    const ControllerURLBuilder builder{"G", "host:8080", "T", false};

    EXPECT_EQ(builder.base_url().str(), "http://host:8080/T/controller/v1/G");
    EXPECT_EQ(builder.config_data_url().str(), "http://host:8080/T/controller/v1/G/configData");
    EXPECT_EQ(builder.base_url().authority(), "host:8080");
    EXPECT_EQ(builder.base_url().path(), "/T/controller/v1/G");
}

TEST(ControllerUrlBuilder, UsesHttps) {
    const ControllerURLBuilder builder{"00:13:9d:00:00:01", "host", "DEFAULT", true};

    EXPECT_EQ(builder.base_url().str(), "https://host/DEFAULT/controller/v1/00:13:9d:00:00:01");
    EXPECT_EQ(builder.base_url().scheme(), "https");
}

TEST(ControllerURLBuilder, TenantStaysOneSegmentOfThePathWhateverIsInIt) {
    EXPECT_EQ((ControllerURLBuilder{"G", "host", "home & co/1", true}.base_url().str()),
              "https://host/home%20&%20co%2F1/controller/v1/G");
}

TEST(ControllerURLBuilder, IdStaysOneSegmentOfThePathWhateverIsInIt) {
    const auto url_for = [](const std::string& id) {
        return ControllerURLBuilder{id, "host", "T", true}.base_url();
    };

    EXPECT_EQ(url_for("a/../b").path(), "/T/controller/v1/a%2F..%2Fb");
    EXPECT_EQ(url_for("?x=1#y").path(), "/T/controller/v1/%3Fx=1%23y");
    EXPECT_EQ(url_for("ERROR -36").path(), "/T/controller/v1/ERROR%20-36");
    EXPECT_EQ(url_for("100%\n\xC3\xBC").path(), "/T/controller/v1/100%25%0A%C3%BC");
    EXPECT_EQ(url_for(".").path(), "/T/controller/v1/%2E");
    EXPECT_EQ(url_for("..").path(), "/T/controller/v1/%2E%2E");
    EXPECT_EQ(url_for("...").path(), "/T/controller/v1/...");
    EXPECT_EQ(url_for(".a.").path(), "/T/controller/v1/.a.");
    EXPECT_EQ(url_for("-._~!$&'()*+,;=:@aZ09").path(), "/T/controller/v1/-._~!$&'()*+,;=:@aZ09");
}

TEST(Controller, StartsWithTheBuildersAddresses) {
    const auto fresh = controller(true);

    EXPECT_EQ(fresh.base().str(), "https://host:8443/T/controller/v1/G");
    EXPECT_EQ(fresh.config_data().str(), "https://host:8443/T/controller/v1/G/configData");
    EXPECT_TRUE(fresh.cancel_action().empty());
    EXPECT_TRUE(fresh.deployment_base().empty());
    EXPECT_EQ(fresh.next_poll(), Controller::time_point{});
}

TEST(Controller, TakesEveryLinkOfAStatus) {
    auto updated = controller(true);

    updated.extract_from(status("https://h/c/1", "https://h/d/2?c=5", "https://h/cd"), now);

    EXPECT_EQ(updated.cancel_action().str(), "https://h/c/1");
    EXPECT_EQ(updated.cancel_feedback().str(), "https://h/c/1/feedback");
    EXPECT_EQ(updated.deployment_base().str(), "https://h/d/2?c=5");
    EXPECT_EQ(updated.deployment_feedback().str(), "https://h/d/2/feedback?c=5");
    EXPECT_EQ(updated.config_data().str(), "https://h/cd");
    EXPECT_EQ(updated.next_poll(), start + 60s);
    EXPECT_EQ(updated.base().str(), "https://host:8443/T/controller/v1/G");
}

TEST(Controller, StatusWithoutLinksKeepsFeedbackAndConfigData) {
    auto updated = controller(true);
    updated.extract_from(status("https://h/c/1", "https://h/d/2", "https://h/cd"), now);

    updated.extract_from(status("", "", ""), [] { return start + 10s; });

    EXPECT_TRUE(updated.cancel_action().empty());
    EXPECT_TRUE(updated.deployment_base().empty());
    EXPECT_EQ(updated.cancel_feedback().str(), "https://h/c/1/feedback");
    EXPECT_EQ(updated.deployment_feedback().str(), "https://h/d/2/feedback");
    EXPECT_EQ(updated.config_data().str(), "https://h/cd");
    EXPECT_EQ(updated.next_poll(), start + 70s);
}

TEST(Controller, InsecureDeploymentLinkIsRefused) {
    auto refusing = controller(true);

    const auto url = refused_url(refusing, status("http://h/c/1", "http://h/d/2", "https://h/cd"));

    EXPECT_EQ(url, "http://h/d/2");
    EXPECT_TRUE(refusing.deployment_base().empty());
    EXPECT_EQ(refusing.next_poll(), Controller::time_point{});
    EXPECT_EQ(refusing.config_data().str(), "https://h/cd") << "was taken before";
    EXPECT_EQ(refusing.cancel_action().str(), "http://h/c/1") << "was taken before";
    EXPECT_TRUE(refusing.cancel_feedback().empty());
}

TEST(Controller, InsecureConfigDataLinkIsRefusedBeforeAnythingElse) {
    auto refusing = controller(true);

    const auto url = refused_url(refusing, status("https://h/c/1", "https://h/d/2", "http://h/cd"));

    EXPECT_EQ(url, "http://h/cd");
    EXPECT_EQ(refusing.config_data().str(), "https://host:8443/T/controller/v1/G/configData");
    EXPECT_TRUE(refusing.cancel_action().empty());
    EXPECT_TRUE(refusing.deployment_base().empty());
    EXPECT_EQ(refusing.next_poll(), Controller::time_point{});
}

TEST(Controller, InsecureCancelLinkIsAccepted) {
    auto updated = controller(true);

    updated.extract_from(status("http://h/c/1", "", ""), now);

    EXPECT_EQ(updated.cancel_action().str(), "http://h/c/1");
    EXPECT_EQ(updated.cancel_feedback().str(), "http://h/c/1/feedback");
}

/// What libcurl would follow by another protocol, or to another place than the one that was
/// checked.
const std::vector<std::string> misleading_links{"gopher://h/1",
                                                "dict://h/d",
                                                "ftp://h/1",
                                                "file:///etc/passwd",
                                                "file://localhost/etc/x",
                                                "https:x@h:8443/c/1",
                                                "http:x@h/1",
                                                "http:/h/1",
                                                "https:///h/1",
                                                "http:////h/1",
                                                "//h/1",
                                                "/h/1",
                                                "h/1",
                                                "?c=1",
                                                "HTTPS://h/1"};

/// Without the slashes of an empty authority.
std::string written_back(const std::string& link) {
    return common::URI{link}.str();
}

TEST(Controller, MisleadingCancelLinksAreRefused) {
    for (const bool use_https : {true, false}) {
        for (const auto& link : misleading_links) {
            auto refusing = controller(use_https);

            EXPECT_EQ(refused_url(refusing, status(link, "https://h/d/2", "https://h/cd")),
                      written_back(link));
            EXPECT_EQ(refusing.config_data().str(), "https://h/cd") << "was taken before";
            EXPECT_TRUE(refusing.cancel_action().empty()) << link;
            EXPECT_TRUE(refusing.cancel_feedback().empty()) << link;
            EXPECT_TRUE(refusing.deployment_base().empty()) << link;
            EXPECT_EQ(refusing.next_poll(), Controller::time_point{});
        }
    }
}

TEST(Controller, MisleadingDeploymentAndConfigDataLinksAreRefused) {
    for (const bool use_https : {true, false}) {
        for (const auto& link : misleading_links) {
            auto refusing = controller(use_https);
            const auto config_data = refusing.config_data().str();

            EXPECT_EQ(refused_url(refusing, status("", link, "")), written_back(link));
            EXPECT_EQ(refused_url(refusing, status("", "", link)), written_back(link));
            EXPECT_TRUE(refusing.deployment_base().empty()) << link;
            EXPECT_TRUE(refusing.deployment_feedback().empty()) << link;
            EXPECT_EQ(refusing.config_data().str(), config_data) << link;
        }
    }
}

TEST(Controller, CancelLinkOfEitherWebSchemeIsAccepted) {
    for (const bool use_https : {true, false}) {
        for (const std::string link : {"http://h/c/1", "https://h/c/1"}) {
            auto updated = controller(use_https);

            updated.extract_from(status(link, "", ""), now);

            EXPECT_EQ(updated.cancel_action().str(), link);
        }
    }
}

TEST(Controller, EmptyCancelLinkIsStored) {
    auto updated = controller(true);
    updated.extract_from(status("https://h/c/1", "", ""), now);
    Json::Value document;
    document["config"]["polling"]["sleep"] = "00:01:00";
    document["_links"]["cancelAction"]["href"] = "";
    ControllerStatusMessage message;
    message.from_json(document);

    updated.extract_from(message, now);

    EXPECT_TRUE(updated.cancel_action().empty());
    EXPECT_EQ(updated.cancel_feedback().str(), "https://h/c/1/feedback");
}

TEST(WebLink, IsRequiredOfTheOtherLinks) {
    for (const auto& link : misleading_links) {
        try {
            require_web_link(common::URI{link});
            ADD_FAILURE() << link;
        } catch (const InsecureURLException& error) {
            ASSERT_NE(boost::get_error_info<url_tag>(error), nullptr);
            EXPECT_EQ(*boost::get_error_info<url_tag>(error), written_back(link));
        }
    }
    EXPECT_NO_THROW(require_web_link(common::URI{"http://h/1"}));
    EXPECT_NO_THROW(require_web_link(common::URI{"https://user@h:1/1"}));
}

TEST(Controller, RelativeLinkIsNotSecure) {
    auto refusing = controller(true);

    EXPECT_EQ(refused_url(refusing, status("", "/d/2", "")), "/d/2");
}

TEST(Controller, PlainServerMayGivePlainLinks) {
    auto updated = controller(false);

    updated.extract_from(status("", "http://h/d/2", "http://h/cd"), now);

    EXPECT_EQ(updated.deployment_base().str(), "http://h/d/2");
    EXPECT_EQ(updated.config_data().str(), "http://h/cd");
}

TEST(Controller, EmptyLinksCountAsAbsent) {
    auto updated = controller(true);
    Json::Value document;
    document["config"]["polling"]["sleep"] = "00:01:00";
    for (const std::string link : {"cancelAction", "deploymentBase", "configData"}) {
        document["_links"][link]["href"] = "";
    }
    ControllerStatusMessage message;
    message.from_json(document);

    updated.extract_from(message, now);

    EXPECT_TRUE(updated.cancel_action().empty());
    EXPECT_TRUE(updated.cancel_feedback().empty());
    EXPECT_TRUE(updated.deployment_base().empty());
    EXPECT_EQ(updated.config_data().str(), "https://host:8443/T/controller/v1/G/configData");
}

TEST(Controller, TheTimeIsAskedForLast) {
    auto refusing = controller(true);
    bool asked = false;
    const auto clock = [&] {
        asked = true;
        return start;
    };

    EXPECT_THROW(refusing.extract_from(status("", "http://h/d/2", ""), clock),
                 InsecureURLException);

    EXPECT_FALSE(asked);
}

TEST(Controller, ForgottenDeploymentKeepsItsFeedbackAddress) {
    auto updated = controller(true);
    updated.extract_from(status("", "https://h/d/2", ""), now);

    updated.forget_deployment();

    EXPECT_TRUE(updated.deployment_base().empty());
    EXPECT_EQ(updated.deployment_feedback().str(), "https://h/d/2/feedback");
}

TEST(Controller, NextPollCanBeMoved) {
    auto updated = controller(true);

    updated.set_next_poll(start + 5s);

    EXPECT_EQ(updated.next_poll(), start + 5s);
}

}  // namespace
}  // namespace zephran::hawkbit
