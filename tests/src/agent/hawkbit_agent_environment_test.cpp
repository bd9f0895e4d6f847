// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "agent/hawkbit_agent.h"
#include "http/exceptions.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/loopback_http_server.h"
#include "support/temporary_directory.h"

namespace zephran::test {
namespace {

/// libcurl's result code of a request that fails.
template <class Request>
CURLcode transfer_error(Request request) {
    try {
        request();
    } catch (const http::HttpRequestException& error) {
        const auto* const code = boost::get_error_info<http::curlcode_tag>(error);
        return code == nullptr ? CURLE_OK : *code;
    }
    return CURLE_OK;
}

/// What an agent uses outside tests. Every TLS handshake with the server fails; a file that cannot
/// be read fails the request earlier, with an error code of its own.
class RealEnvironment : public ::testing::Test {
protected:
    CURLcode error_of_poll(const http::TransportSettings& transport) const {
        const auto environment = HawkbitAgent::Environment::real(transport);
        hawkbit::Controller controller;
        controller.extract_from(
            hawkbit::ControllerURLBuilder{"gateway", server.authority(), "DEFAULT", true});
        return transfer_error(
            [&] { static_cast<void>(environment.client->fetch_controller_status(controller)); });
    }

    CURLcode error_of_download(const http::TransportSettings& transport) const {
        const auto environment = HawkbitAgent::Environment::real(transport);
        return transfer_error([&] {
            environment.make_http_client().download_to_file(server.url("/file", "https"),
                                                            directory.path("file"));
        });
    }

    const LoopbackHttpServer server{{}};
    const TemporaryDirectory directory;
};

TEST_F(RealEnvironment, PresentTheClientCertificateToTheServerAndInDownloads) {
    http::TransportSettings transport;
    transport.client_certificate.emplace(http::CertificateType::pem, "/nonexistent.crt",
                                         "/nonexistent.key");

    EXPECT_EQ(error_of_poll(transport), CURLE_SSL_CERTPROBLEM);
    EXPECT_EQ(error_of_download(transport), CURLE_SSL_CERTPROBLEM);
}

TEST_F(RealEnvironment, TrustOnlyTheCaBundleForTheServerAndInDownloads) {
    http::TransportSettings transport;
    transport.ca_bundle = "/nonexistent.pem";

    EXPECT_EQ(error_of_poll(transport), CURLE_SSL_CACERT_BADFILE);
    EXPECT_EQ(error_of_download(transport), CURLE_SSL_CACERT_BADFILE);
}

TEST_F(RealEnvironment, PresentNoCertificateByThemselves) {
    EXPECT_EQ(error_of_poll({}), CURLE_SSL_CONNECT_ERROR);
    EXPECT_EQ(error_of_download({}), CURLE_SSL_CONNECT_ERROR);
}

TEST(RealAgent, AsksForItselfInTheDefaultTenantOverTls) {
    const FakePlatform platform;
    const LoopbackHttpServer server{{}};
    http::TransportSettings transport;
    transport.log = http::TransferLog::failures;
    const CapturedLog log{"INFO"};
    HawkbitAgent agent{server.authority(), "gateway", transport};
    agent.configure({});
    constexpr unsigned ticks_to_first_poll = 3;

    for (unsigned i = 0; i < ticks_to_first_poll; ++i) {
        agent.tick();
    }

    EXPECT_THAT(log.text(), ::testing::HasSubstr("path=/DEFAULT/controller/v1/gateway code=" +
                                                 std::to_string(CURLE_SSL_CONNECT_ERROR)));
}

}  // namespace
}  // namespace zephran::test
