#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <ostream>
#include <string>

#include <curl/curl.h>

#include "http/curl_handle.h"
#include "http/httpclient.h"

namespace zephran::http {

/// Transport over libcurl. Every request has a handle of its own; libcurl's defaults decide about
/// timeouts (none), redirects (not followed) and the verification of the server.
class CurlImpl : public ClientInterface {
public:
    /// @throws GlobalInitException
    CurlImpl();

    void set_client_certificate(const ClientCertificate& certificate) override;
    void download_to_file(const std::string& url, std::ostream& out) override;
    std::string send_delete_request(const std::string& url) override;
    std::string send_get_request(const std::string& url) override;
    std::string send_patch_request(const std::string& url, const std::string& body,
                                   const std::string& content_type) override;
    std::string send_post_request(const std::string& url, const std::string& body,
                                  const std::string& content_type) override;
    std::string send_put_request(const std::string& url, const std::string& body,
                                 const std::string& content_type) override;

    /// libcurl's callbacks. They never throw: a C library's frames lie between them and us.
    /// @param userdata the std::string to append to
    /// @returns the bytes taken, 0 when there was no memory for them
    static std::size_t write_string_cb(char* data, std::size_t size, std::size_t nmemb,
                                       void* userdata) noexcept;
    /// @param userdata the std::ostream to write to
    /// @returns size * nmemb whatever the state of the stream
    static std::size_t write_file_cb(char* data, std::size_t size, std::size_t nmemb,
                                     void* userdata) noexcept;
    /// @param userdata the std::string that holds the rest of the body, shortened by what is taken
    /// @returns the bytes put into `buffer`, 0 at the end
    static std::size_t read_string_cb(char* buffer, std::size_t size, std::size_t nitems,
                                      void* userdata) noexcept;

private:
    /// @param method word that replaces PUT, null for PUT itself
    std::string upload(const std::string& url, const char* method, const std::string& body,
                       const std::string& content_type);
    void set_common_options(CurlHandle& handle);
    void perform(CurlHandle& handle);

    std::array<char, CURL_ERROR_SIZE> error_buffer{};
    std::optional<ClientCertificate> client_certificate;
};

}  // namespace zephran::http
