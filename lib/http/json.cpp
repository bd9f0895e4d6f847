// SPDX-License-Identifier: Apache-2.0
#include "http/json.h"

#include <algorithm>
#include <string>

#include "common/logprint.h"
#include "http/exceptions.h"
#include "http/httpclient.h"

namespace zephran::http {
namespace {

constexpr const char* json_content_type = "application/json";
// The requesters are function objects.
constexpr const char* logged_function = "operator()";

TransportSettings with_certificate(TransportSettings settings,
                                   const ClientCertificate& certificate) {
    settings.client_certificate = certificate;
    return settings;
}

Client make_client(const TransportSettings& settings) {
    return Client{ClientImplementationType::curl, settings};
}

Client make_sender(TransportSettings settings) {
    settings.drops_answers_to_uploads = true;
    return make_client(settings);
}

/// Each value but the first follows one of these. They count within texts, too: telling those apart
/// needs a parser, and no document of the server comes near the limit.
std::size_t bound_of_values(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char character) {
        return character == ',' || character == '[' || character == '{';
    }));
}

void require_few_values(const std::string& url, const std::string& text) {
    const std::size_t count = bound_of_values(text);
    if (count > JSONGETRequester::max_values) {
        ZEPHRAN_THROW(HttpRequestException{} << httpurl_tag{url} << value_count_tag{count});
    }
}

Json::Value get(const TransportSettings& settings, const common::URI& uri) {
    const auto url = uri.str();
    const auto response = make_client(settings).send_get_request(url);
    ZLOG_DEBUG_AS(logged_function, "method", "GET", "url", url, "response", response);
    require_few_values(url, response);
    return common::JSONDefaultParser{}(response);
}

void post(const TransportSettings& settings, const common::URI& uri, const Json::Value& value) {
    const auto url = uri.str();
    const auto data = common::JSONDefaultWriter{}(value);
    ZLOG_DEBUG_AS(logged_function, "method", "POST", "url", url, "data", data);
    make_sender(settings).send_post_request(url, data, json_content_type);
}

void put(const TransportSettings& settings, const common::URI& uri, const Json::Value& value) {
    const auto url = uri.str();
    const auto data = common::JSONDefaultWriter{}(value);
    ZLOG_DEBUG_AS(logged_function, "method", "PUT", "url", url, "data", data);
    make_sender(settings).send_put_request(url, data, json_content_type);
}

}  // namespace

Json::Value JSONGETRequester::operator()(const common::URI& uri) const {
    return get(settings, uri);
}

Json::Value JSONGETRequester::operator()(const ClientCertificate& certificate,
                                         const common::URI& uri) const {
    return get(with_certificate(settings, certificate), uri);
}

void JSONPOSTRequester::operator()(const common::URI& uri, const Json::Value& value) const {
    post(settings, uri, value);
}

void JSONPOSTRequester::operator()(const ClientCertificate& certificate, const common::URI& uri,
                                   const Json::Value& value) const {
    post(with_certificate(settings, certificate), uri, value);
}

void JSONPUTRequester::operator()(const common::URI& uri, const Json::Value& value) const {
    put(settings, uri, value);
}

void JSONPUTRequester::operator()(const ClientCertificate& certificate, const common::URI& uri,
                                  const Json::Value& value) const {
    put(with_certificate(settings, certificate), uri, value);
}

}  // namespace zephran::http
