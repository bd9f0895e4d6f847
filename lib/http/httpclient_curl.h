// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <ostream>
#include <string>

#include <curl/curl.h>

#include "http/curl_request.h"
#include "http/transport.h"

namespace zephran::http {

/// Transport over libcurl. Every request uses a new handle. Redirects (not followed), the
/// verification of the server, and what the settings leave open are libcurl's defaults.
class CurlImpl : public ClientInterface {
public:
    /// Bytes of the greatest answer that is kept; a server has no reason to send more than a small
    /// fraction of it.
    static constexpr std::size_t max_answer_size = std::size_t{16} * 1024 * 1024;

    /// @throws GlobalInitException
    explicit CurlImpl(TransportSettings transport_settings = {});

    void set_client_certificate(const ClientCertificate& certificate) override;
    void download_to_file(const std::string& url, std::ostream& out) override;
    void download_part(const std::string& url, const RangeWanted& wanted,
                       PartialReceiver& receiver) override;
    std::string send_delete_request(const std::string& url) override;
    std::string send_get_request(const std::string& url) override;
    std::string send_patch_request(const std::string& url, const std::string& body,
                                   const std::string& content_type) override;
    std::string send_post_request(const std::string& url, const std::string& body,
                                  const std::string& content_type) override;
    std::string send_put_request(const std::string& url, const std::string& body,
                                 const std::string& content_type) override;

    /// libcurl's callbacks. They never throw, because an exception must not cross libcurl's frames.
    /// @param userdata the std::string to append to
    /// @returns the bytes taken, 0 when they would exceed max_answer_size or find no memory
    static std::size_t write_string_cb(char* data, std::size_t size, std::size_t nmemb,
                                       void* userdata) noexcept;
    /// Takes what nobody reads.
    /// @returns size * nmemb
    static std::size_t write_nothing_cb(char* data, std::size_t size, std::size_t nmemb,
                                        void* userdata) noexcept;
    /// @param userdata the std::ostream to write to
    /// @returns size * nmemb whatever the state of the stream
    static std::size_t write_file_cb(char* data, std::size_t size, std::size_t nmemb,
                                     void* userdata) noexcept;
    /// @param userdata the std::string with the rest of the body; what is sent is removed from it
    /// @returns the bytes put into `buffer`, 0 at the end
    static std::size_t read_string_cb(char* buffer, std::size_t size, std::size_t nitems,
                                      void* userdata) noexcept;

private:
    /// @param method the word to send instead of PUT, null for PUT itself
    std::string upload(const std::string& url, const char* method, const std::string& body,
                       const std::string& content_type);
    void perform(CurlRequest& request);

    std::array<char, CURL_ERROR_SIZE> error_buffer{};
    TransportSettings settings;
};

}  // namespace zephran::http
