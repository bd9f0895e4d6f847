// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "http/curl_handle.h"
#include "http/transport_settings.h"

namespace zephran::http {

/// One request on its way through libcurl. Its options are set here; the transport performs it.
class CurlRequest {
public:
    /// Whether the limits for exchanges of documents hold, or those for downloads.
    enum class Kind { document, artifact };

    /// Sets the address. libcurl is told to leave a path with dot segments as it is.
    /// @param method word for the log; the options that make it one are the caller's
    /// @throws CreateRequestException, ConfigureRequestException
    CurlRequest(const char* method, const std::string& url, Kind kind);
    // libcurl keeps pointers into this object.
    CurlRequest(const CurlRequest&) = delete;
    CurlRequest& operator=(const CurlRequest&) = delete;
    ~CurlRequest() = default;

    [[nodiscard]] CurlHandle& handle() { return handle_; }
    [[nodiscard]] const CurlHandle& handle() const { return handle_; }
    [[nodiscard]] const char* method() const { return method_; }
    [[nodiscard]] const std::string& url() const { return url_; }

    /// @param line "Name: value"
    void add_header(const std::string& line);

    /// Applies what the settings say about certificates, limits, sessions and the token, and the
    /// trace of libcurl at DEBUG. Called once, after the last header.
    /// @throws ConfigureRequestException
    void apply(const TransportSettings& settings);

private:
    void apply_certificates(const TransportSettings& settings);
    void apply_limits(const TransferLimits& limits);
    void apply_token(const Authorization& authorization);
    void filter_trace();
    static int trace_cb(CURL* handle, curl_infotype type, char* data, std::size_t size,
                        void* userdata) noexcept;

    const char* method_;
    std::string url_;
    Kind kind;
    std::string token;
    bool traces_credentials = true;
    CurlStringList headers;
    // The last member: while it is destroyed, libcurl may still read the others.
    CurlHandle handle_;
};

}  // namespace zephran::http
