// SPDX-License-Identifier: Apache-2.0
#include "options/transport_options.h"

#include "http/tls_sessions.h"
#include "options/option_reader.h"

namespace zephran {

namespace {

constexpr const char* section = "network";
constexpr const char* default_tenant = "DEFAULT";
constexpr const char* default_token_type = "TargetToken";

constexpr OptionReader::Range seconds_of_a_day{1, 86'400};
constexpr OptionReader::Range speeds{1, 1'000'000'000};

http::TransferLimits read_limits(const OptionReader& options) {
    http::TransferLimits limits;
    limits.connect_timeout = options.number("connect_timeout", seconds_of_a_day);
    const auto stall_seconds = options.number("stall_seconds", seconds_of_a_day);
    const auto stall_bytes = options.number("stall_bytes", speeds);
    if (stall_seconds) {
        limits.stall = http::TransferLimits::Stall{*stall_seconds, stall_bytes.value_or(1)};
    }
    limits.request_timeout = options.number("request_timeout", seconds_of_a_day);
    limits.max_speed = options.number("max_speed", speeds);
    return limits;
}

std::optional<http::Authorization> read_authorization(const OptionReader& options,
                                                      const std::string& server) {
    const auto type = options.choice<const char*>(
        "token_type", {{"TargetToken", "TargetToken"}, {"GatewayToken", "GatewayToken"}});
    const auto file = options.text("token_file");
    if (!file) {
        return std::nullopt;
    }
    return http::Authorization{type.value_or(default_token_type), *file, server};
}

}  // namespace

void add_transport_options(Config& config, const std::string& server,
                           http::TransportSettings& settings) {
    const OptionReader options{config, section};
    settings.limits = read_limits(options);
    settings.lowest_tls = options.choice<http::TlsVersion>(
        "tls_min", {{"1.2", http::TlsVersion::v1_2}, {"1.3", http::TlsVersion::v1_3}});
    if (options.flag("tls_resumption").value_or(false)) {
        settings.tls_sessions = std::make_shared<http::TlsSessions>();
    }
    settings.authorization = read_authorization(options, server);
    settings.log =
        options
            .choice<http::TransferLog>("log_http", {{"0", http::TransferLog::none},
                                                    {"failures", http::TransferLog::failures},
                                                    {"all", http::TransferLog::all}})
            .value_or(http::TransferLog::none);
}

std::string read_tenant(Config& config) {
    return OptionReader{config, section}.text("tenant").value_or(default_tenant);
}

}  // namespace zephran
