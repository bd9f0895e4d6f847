#pragma once

#include <json/json.h>

#include "common/json.h"
#include "common/uri.h"
#include "http/httpclient.h"

namespace zephran::http {

/// Fetches JSON documents. As the other requesters it makes a client for every call, so that no
/// connection outlives it, and lets the exceptions of http/exceptions.h through.
class JSONGETRequester : public common::JSONReceiver<common::URI> {
public:
    /// @throws common::ParserException for a body that is not JSON
    Json::Value operator()(const common::URI& uri) const override;
    /// The same, presenting a client certificate.
    Json::Value operator()(const ClientCertificate& certificate, const common::URI& uri) const;
};

/// Sends JSON documents by POST; the body of the answer is not looked at.
class JSONPOSTRequester : public common::JSONTransmitter<common::URI> {
public:
    void operator()(const common::URI& uri, const Json::Value& value) const override;
    /// The same, presenting a client certificate.
    void operator()(const ClientCertificate& certificate, const common::URI& uri,
                    const Json::Value& value) const;
};

/// Sends JSON documents by PUT; the body of the answer is not looked at.
class JSONPUTRequester : public common::JSONTransmitter<common::URI> {
public:
    void operator()(const common::URI& uri, const Json::Value& value) const override;
    /// The same, presenting a client certificate.
    void operator()(const ClientCertificate& certificate, const common::URI& uri,
                    const Json::Value& value) const;
};

}  // namespace zephran::http
