// SPDX-License-Identifier: Apache-2.0
#include "options/transport_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/memory_config.h"

namespace zephran {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class TransportOptions : public ::testing::Test {
protected:
    void set(const std::string& option, const std::string& value) {
        config.values["zephran.network." + option] = value;
    }
    http::TransportSettings read() {
        http::TransportSettings settings;
        add_transport_options(config, "server:8443", settings);
        return settings;
    }

    CapturedLog log;
    MemoryConfig config;
};

TEST_F(TransportOptions, AbsentOnesChangeNothingAndSayNothing) {
    const http::TransportSettings settings = read();

    EXPECT_EQ(settings.limits.connect_timeout, std::nullopt);
    EXPECT_FALSE(settings.limits.stall);
    EXPECT_EQ(settings.limits.request_timeout, std::nullopt);
    EXPECT_EQ(settings.limits.max_speed, std::nullopt);
    EXPECT_EQ(settings.lowest_tls, std::nullopt);
    EXPECT_EQ(settings.tls_sessions, nullptr);
    EXPECT_FALSE(settings.authorization);
    EXPECT_EQ(settings.log, http::TransferLog::none);
    EXPECT_EQ(read_tenant(config), "DEFAULT");
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(TransportOptions, KeepWhatTheCommandLineHasSaid) {
    http::TransportSettings settings;
    settings.ca_bundle = "/etc/ca.pem";
    settings.client_certificate.emplace(http::CertificateType::pem, "/a.crt", "/a.key");

    add_transport_options(config, "server", settings);

    EXPECT_EQ(settings.ca_bundle, "/etc/ca.pem");
    ASSERT_TRUE(settings.client_certificate);
    EXPECT_EQ(settings.client_certificate->key, "/a.key");
}

TEST_F(TransportOptions, LimitsAreTakenAsTheyAre) {
    set("connect_timeout", "30");
    set("stall_seconds", "60");
    set("stall_bytes", "16");
    set("request_timeout", "120");
    set("max_speed", "250000");

    const http::TransferLimits limits = read().limits;

    EXPECT_EQ(limits.connect_timeout, 30U);
    ASSERT_TRUE(limits.stall);
    EXPECT_EQ(limits.stall->seconds, 60U);
    EXPECT_EQ(limits.stall->bytes_per_second, 16U);
    EXPECT_EQ(limits.request_timeout, 120U);
    EXPECT_EQ(limits.max_speed, 250000U);
}

TEST_F(TransportOptions, StallCountsAByteASecondUnlessToldOtherwise) {
    set("stall_seconds", "60");
    ASSERT_TRUE(read().limits.stall);
    EXPECT_EQ(read().limits.stall->bytes_per_second, 1U);

    config.values.clear();
    set("stall_bytes", "16");
    EXPECT_FALSE(read().limits.stall);
}

TEST_F(TransportOptions, LowestVersionOfTlsIsOneOfTwo) {
    set("tls_min", "1.2");
    EXPECT_EQ(read().lowest_tls, http::TlsVersion::v1_2);
    set("tls_min", "1.3");
    EXPECT_EQ(read().lowest_tls, http::TlsVersion::v1_3);
    EXPECT_THAT(log.text(), IsEmpty());

    set("tls_min", "1.1");
    EXPECT_EQ(read().lowest_tls, std::nullopt);
    EXPECT_THAT(log.text(), HasSubstr("option=tls_min value=1.1 expected=one of 1.2, 1.3"));
}

TEST_F(TransportOptions, SessionsAreResumedOnlyWhenWanted) {
    set("tls_resumption", "0");
    EXPECT_EQ(read().tls_sessions, nullptr);
    set("tls_resumption", "1");
    EXPECT_NE(read().tls_sessions, nullptr);
}

TEST_F(TransportOptions, TokenIsForTheUpdateServer) {
    set("token_file", "/etc/zephran/token");

    const auto authorization = read().authorization;

    ASSERT_TRUE(authorization);
    EXPECT_EQ(authorization->type, "TargetToken");
    EXPECT_EQ(authorization->token_file, "/etc/zephran/token");
    EXPECT_EQ(authorization->server, "server:8443");
    for (const char* const type : {"TargetToken", "GatewayToken"}) {
        set("token_type", type);
        EXPECT_EQ(read().authorization->type, type);
    }
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(TransportOptions, TypeOfTokenWithoutAFileIsNoToken) {
    set("token_type", "GatewayToken");

    EXPECT_FALSE(read().authorization);
}

TEST_F(TransportOptions, LogShowsFailuresOrAll) {
    for (const auto& [word, wanted] : {std::pair{"0", http::TransferLog::none},
                                       {"failures", http::TransferLog::failures},
                                       {"all", http::TransferLog::all}}) {
        set("log_http", word);
        EXPECT_EQ(read().log, wanted) << word;
    }
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(TransportOptions, TenantIsTakenAsItIs) {
    set("tenant", "home & co");

    EXPECT_EQ(read_tenant(config), "home & co");
}

struct BadValue {
    const char* option;
    const char* value;
    const char* expected;
};

class BadTransportOptions : public TransportOptions,
                            public ::testing::WithParamInterface<BadValue> {};

TEST_P(BadTransportOptions, CountAsAbsentAfterOneLine) {
    set(GetParam().option, GetParam().value);

    const http::TransportSettings settings = read();

    EXPECT_EQ(settings.limits.connect_timeout, std::nullopt);
    EXPECT_FALSE(settings.limits.stall);
    EXPECT_EQ(settings.limits.request_timeout, std::nullopt);
    EXPECT_EQ(settings.limits.max_speed, std::nullopt);
    EXPECT_EQ(settings.tls_sessions, nullptr);
    EXPECT_EQ(settings.log, http::TransferLog::none);
    EXPECT_THAT(log.text(), HasSubstr(std::string{"event=bad_option option="} + GetParam().option +
                                      " value=" + GetParam().value +
                                      " expected=" + GetParam().expected + "\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadTransportOptions,
    ::testing::Values(BadValue{"connect_timeout", "0", "a number from 1 to 86400"},
                      BadValue{"connect_timeout", "86401", "a number from 1 to 86400"},
                      BadValue{"stall_seconds", "-5", "a number from 1 to 86400"},
                      BadValue{"stall_bytes", "0", "a number from 1 to 1000000000"},
                      BadValue{"request_timeout", "2m", "a number from 1 to 86400"},
                      BadValue{"max_speed", "1M", "a number from 1 to 1000000000"},
                      BadValue{"token_type", "Bearer", "one of TargetToken, GatewayToken"},
                      BadValue{"log_http", "yes", "one of 0, failures, all"}),
    [](const ::testing::TestParamInfo<BadValue>& bad) {
        return std::string{bad.param.option} + std::to_string(bad.index);
    });

}  // namespace
}  // namespace zephran
