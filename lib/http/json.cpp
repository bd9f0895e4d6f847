#include "http/json.h"

#include <string>

#include "common/logprint.h"

namespace zephran::http {
namespace {

constexpr const char* json_content_type = "application/json";

/// @param certificate null for a client without one
Client make_client(const ClientCertificate* certificate) {
    Client client{ClientImplementationType::curl};
    if (certificate != nullptr) {
        client.set_client_certificate(*certificate);
    }
    return client;
}

Json::Value get(const ClientCertificate* certificate, const common::URI& uri) {
    const auto url = uri.str();
    const auto response = make_client(certificate).send_get_request(url);
    ZLOG_DEBUG("method", "GET", "url", url, "response", response);
    return common::JSONDefaultParser{}(response);
}

void post(const ClientCertificate* certificate, const common::URI& uri, const Json::Value& value) {
    const auto url = uri.str();
    const auto data = common::JSONDefaultWriter{}(value);
    ZLOG_DEBUG("method", "POST", "url", url, "data", data);
    make_client(certificate).send_post_request(url, data, json_content_type);
}

void put(const ClientCertificate* certificate, const common::URI& uri, const Json::Value& value) {
    const auto url = uri.str();
    const auto data = common::JSONDefaultWriter{}(value);
    ZLOG_DEBUG("method", "PUT", "url", url, "data", data);
    make_client(certificate).send_put_request(url, data, json_content_type);
}

}  // namespace

Json::Value JSONGETRequester::operator()(const common::URI& uri) const {
    return get(nullptr, uri);
}

Json::Value JSONGETRequester::operator()(const ClientCertificate& certificate,
                                         const common::URI& uri) const {
    return get(&certificate, uri);
}

void JSONPOSTRequester::operator()(const common::URI& uri, const Json::Value& value) const {
    post(nullptr, uri, value);
}

void JSONPOSTRequester::operator()(const ClientCertificate& certificate, const common::URI& uri,
                                   const Json::Value& value) const {
    post(&certificate, uri, value);
}

void JSONPUTRequester::operator()(const common::URI& uri, const Json::Value& value) const {
    put(nullptr, uri, value);
}

void JSONPUTRequester::operator()(const ClientCertificate& certificate, const common::URI& uri,
                                  const Json::Value& value) const {
    put(&certificate, uri, value);
}

}  // namespace zephran::http
