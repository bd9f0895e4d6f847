// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <utility>

#include <json/json.h>

#include "common/json.h"
#include "common/uri.h"
#include "http/transport_settings.h"

namespace zephran::http {

/// Fetches JSON documents. Like the other requesters it makes a new client for every call, so no
/// connection is kept, and passes on the exceptions of http/exceptions.h.
class JSONGETRequester : public common::JSONReceiver<common::URI> {
public:
    /// Values of the greatest document that is parsed. The parser takes a hundred bytes for a value
    /// of two, so the size of an answer does not bound the memory of its document.
    static constexpr std::size_t max_values = 100'000;

    explicit JSONGETRequester(TransportSettings transport_settings = {})
        : settings{std::move(transport_settings)} {}

    /// @throws common::ParserException for a body that is not JSON
    /// @throws HttpRequestException with httpurl_tag, value_count_tag for more than max_values
    Json::Value operator()(const common::URI& uri) const override;
    /// The same with this client certificate.
    Json::Value operator()(const ClientCertificate& certificate, const common::URI& uri) const;

private:
    TransportSettings settings;
};

/// Sends JSON documents by POST and ignores the body of the answer.
class JSONPOSTRequester : public common::JSONTransmitter<common::URI> {
public:
    explicit JSONPOSTRequester(TransportSettings transport_settings = {})
        : settings{std::move(transport_settings)} {}

    void operator()(const common::URI& uri, const Json::Value& value) const override;
    /// The same with this client certificate.
    void operator()(const ClientCertificate& certificate, const common::URI& uri,
                    const Json::Value& value) const;

private:
    TransportSettings settings;
};

/// Sends JSON documents by PUT and ignores the body of the answer.
class JSONPUTRequester : public common::JSONTransmitter<common::URI> {
public:
    explicit JSONPUTRequester(TransportSettings transport_settings = {})
        : settings{std::move(transport_settings)} {}

    void operator()(const common::URI& uri, const Json::Value& value) const override;
    /// The same with this client certificate.
    void operator()(const ClientCertificate& certificate, const common::URI& uri,
                    const Json::Value& value) const;

private:
    TransportSettings settings;
};

}  // namespace zephran::http
