// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "agent_manager.h"
#include "curl_probe.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"

namespace zephran::test {
namespace {

class IdleManager : public AgentManager {
public:
    IdleManager() : AgentManager{[] {}} {}

protected:
    void run_setup() override {}
};

/// Sees the requests of agents that a manager has made.
class AgentManagerTransport : public ::testing::Test {
protected:
    static AgentManagerSettings settings(const http::TransportSettings& transport) {
        AgentManagerSettings settings;
        settings.gateway_id = "gateway";
        settings.server = "update.example";
        settings.transport = transport;
        return settings;
    }

    /// Makes every agent ask for its controller resource.
    void poll() {
        constexpr int ticks_to_first_poll = 2;
        for (int tick = 0; tick < ticks_to_first_poll; ++tick) {
            manager.tick_agents();
        }
    }

    CapturedLog log;
    FakePlatform platform;
    http::CurlProbe curl;
    IdleManager manager;
};

http::TransportSettings secured() {
    http::TransportSettings transport;
    transport.ca_bundle = "/ca.pem";
    transport.client_certificate.emplace(http::CertificateType::der, "/client.crt", "/client.key");
    return transport;
}

TEST_F(AgentManagerTransport, GatewayAgentGetsIt) {
    manager.configure(settings(secured()));
    manager.spawn_gateway_agent();

    poll();

    EXPECT_EQ(curl.transfers, 1);
    EXPECT_EQ(curl.value(CURLOPT_URL), "https://update.example/DEFAULT/controller/v1/gateway");
    EXPECT_EQ(curl.value(CURLOPT_CAINFO), "/ca.pem");
    EXPECT_EQ(curl.value(CURLOPT_SSLCERT), "/client.crt");
    EXPECT_EQ(curl.value(CURLOPT_SSLKEY), "/client.key");
    EXPECT_EQ(curl.value(CURLOPT_SSLCERTTYPE), "DER");
}

TEST_F(AgentManagerTransport, DeviceAgentGetsIt) {
    manager.configure(settings(secured()));
    hawkbit::Attributes properties;
    manager.spawn_agent("device", properties, {}, false);

    poll();

    EXPECT_EQ(curl.transfers, 1);
    EXPECT_EQ(curl.value(CURLOPT_CAINFO), "/ca.pem");
    EXPECT_EQ(curl.value(CURLOPT_SSLCERT), "/client.crt");
}

TEST_F(AgentManagerTransport, AgentAddsNothingOfItsOwn) {
    manager.configure(settings({}));
    manager.spawn_gateway_agent();

    poll();

    EXPECT_EQ(curl.transfers, 1);
    for (const CURLoption name : curl.option_names()) {
        EXPECT_NE(name, CURLOPT_CAINFO);
        EXPECT_NE(name, CURLOPT_SSLCERT);
    }
}

}  // namespace
}  // namespace zephran::test
