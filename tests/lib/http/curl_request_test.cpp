// SPDX-License-Identifier: Apache-2.0
#include "http/curl_request.h"

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/logprint.h"
#include "curl_probe.h"
#include "http/tls_sessions.h"
#include "support/temporary_directory.h"

namespace zephran::http {
namespace {

using ::testing::ElementsAre;

/// What settings make of a request. Nothing is transferred.
class RequestSettings : public ::testing::Test {
protected:
    void SetUp() override { debug_logger.enabled = false; }
    void TearDown() override { debug_logger.enabled = was_enabled; }

    void apply(CurlRequest::Kind kind, const std::string& url = "https://server/path") {
        probe.options.clear();
        CurlRequest request{"GET", url, kind};
        request.apply(settings);
    }

    CurlProbe probe;
    TransportSettings settings;

private:
    const bool was_enabled = debug_logger.enabled;
};

TEST_F(RequestSettings, SayNothingByDefault) {
    for (const auto kind : {CurlRequest::Kind::document, CurlRequest::Kind::artifact}) {
        apply(kind);

        EXPECT_THAT(probe.option_names(), ElementsAre(CURLOPT_URL));
    }
}

TEST_F(RequestSettings, LimitTheTimeUntilAConnectionStands) {
    settings.limits.connect_timeout = 30;
    for (const auto kind : {CurlRequest::Kind::document, CurlRequest::Kind::artifact}) {
        apply(kind);

        EXPECT_THAT(probe.option_names(), ElementsAre(CURLOPT_URL, CURLOPT_CONNECTTIMEOUT));
        EXPECT_EQ(probe.value(CURLOPT_CONNECTTIMEOUT), "30");
    }
}

TEST_F(RequestSettings, AbortWhatStallsAndProbeTheConnection) {
    settings.limits.stall = TransferLimits::Stall{60, 16};
    for (const auto kind : {CurlRequest::Kind::document, CurlRequest::Kind::artifact}) {
        apply(kind);

        EXPECT_EQ(probe.value(CURLOPT_LOW_SPEED_TIME), "60");
        EXPECT_EQ(probe.value(CURLOPT_LOW_SPEED_LIMIT), "16");
        EXPECT_EQ(probe.value(CURLOPT_TCP_KEEPALIVE), "1");
    }
}

TEST_F(RequestSettings, LimitTheWholeTimeOfDocumentsOnly) {
    settings.limits.request_timeout = 120;

    apply(CurlRequest::Kind::document);
    EXPECT_EQ(probe.value(CURLOPT_TIMEOUT), "120");
    apply(CurlRequest::Kind::artifact);
    EXPECT_THAT(probe.option_names(), ElementsAre(CURLOPT_URL));
}

TEST_F(RequestSettings, LimitTheSpeedOfArtifactsOnly) {
    settings.limits.max_speed = 4'000'000'000U;

    apply(CurlRequest::Kind::artifact);
    EXPECT_EQ(probe.value(CURLOPT_MAX_RECV_SPEED_LARGE), "4000000000");
    apply(CurlRequest::Kind::document);
    EXPECT_THAT(probe.option_names(), ElementsAre(CURLOPT_URL));
}

TEST_F(RequestSettings, DemandALowestVersionOfTls) {
    settings.lowest_tls = TlsVersion::v1_2;
    apply(CurlRequest::Kind::document);
    EXPECT_EQ(probe.value(CURLOPT_SSLVERSION), std::to_string(CURL_SSLVERSION_TLSv1_2));

    settings.lowest_tls = TlsVersion::v1_3;
    apply(CurlRequest::Kind::document);
    EXPECT_EQ(probe.value(CURLOPT_SSLVERSION), std::to_string(CURL_SSLVERSION_TLSv1_3));
}

TEST_F(RequestSettings, ShareTheSessionsThatTheyName) {
    settings.tls_sessions = std::make_shared<TlsSessions>();

    apply(CurlRequest::Kind::document);

    EXPECT_THAT(probe.option_names(), ElementsAre(CURLOPT_URL, CURLOPT_SHARE));
}

TEST_F(RequestSettings, AddTheTokenToTheOtherHeaders) {
    const TemporaryDirectory directory;
    const std::string file = directory.path("token");
    std::ofstream{file} << "secret\n";
    settings.authorization = Authorization{"TargetToken", file, "server"};
    CurlRequest request{"GET", "https://server/path", CurlRequest::Kind::document};

    request.add_header("Content-Type: text/plain");
    request.apply(settings);

    EXPECT_EQ(probe.value(CURLOPT_HTTPHEADER),
              "Content-Type: text/plain\nAuthorization: TargetToken secret\n");
}

TEST_F(RequestSettings, FilterTheTraceIfToldSo) {
    settings.traces_credentials = false;

    apply(CurlRequest::Kind::document);

    EXPECT_THAT(probe.option_names(),
                ElementsAre(CURLOPT_URL, CURLOPT_DEBUGFUNCTION, CURLOPT_DEBUGDATA));
}

TEST_F(RequestSettings, KeepTheTokenFromOtherServers) {
    const TemporaryDirectory directory;
    const std::string file = directory.path("token");
    std::ofstream{file} << "secret\n";
    settings.authorization = Authorization{"TargetToken", file, "server"};

    apply(CurlRequest::Kind::artifact, "https://elsewhere/path");

    EXPECT_THAT(probe.option_names(), ElementsAre(CURLOPT_URL));
}

}  // namespace
}  // namespace zephran::http
