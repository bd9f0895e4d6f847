// SPDX-License-Identifier: Apache-2.0
#include "http/httpclient_curl.h"

#include <exception>
#include <sstream>
#include <utility>

#include <boost/throw_exception.hpp>

#include "common/logprint.h"
#include "http/exceptions.h"

#if __has_include(<resolv.h>)
#include <netinet/in.h>
#include <resolv.h>
#define ZEPHRAN_HAS_RES_INIT
#endif

namespace zephran::http {
namespace {

void reload_resolver_configuration() {
#ifdef ZEPHRAN_HAS_RES_INIT
    // The uplink may change while the daemon runs. A failure leaves the old configuration in place;
    // the transfer itself reports it if it matters.
    static_cast<void>(res_init());
#endif
}

const char* certificate_type_name(CertificateType type) {
    switch (type) {
        case CertificateType::pem:
            return "PEM";
        case CertificateType::der:
            return "DER";
    }
    return nullptr;
}

bool is_dot_segment(const std::string& segment) {
    std::string dots;
    for (std::size_t i = 0; i < segment.size(); ++i) {
        if (segment[i] == '.') {
            dots += '.';
        } else if (segment.compare(i, 3, "%2E") == 0 || segment.compare(i, 3, "%2e") == 0) {
            dots += '.';
            i += 2;
        } else {
            return false;
        }
    }
    return dots == "." || dots == "..";
}

/// Whether libcurl would send another path than the one that stands in the address.
bool has_dot_segments(const std::string& url) {
    std::istringstream path{url.substr(0, url.find_first_of("?#"))};
    std::string segment;
    bool found = false;
    while (!found && std::getline(path, segment, '/')) {
        found = is_dot_segment(segment);
    }
    return found;
}

void set_url(CurlHandle& handle, const std::string& url) {
    setopt(handle, CURLOPT_URL, url.c_str());
    if (has_dot_segments(url)) {
        setopt(handle, CURLOPT_PATH_AS_IS, 1L);
    }
}

[[noreturn]] void throw_error_status(const CurlHandle& handle, const char* error_text) {
    long status = 0;
    const char* url = nullptr;
    curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(handle.get(), CURLINFO_EFFECTIVE_URL, &url);
    BOOST_THROW_EXCEPTION(HttpErrorCodeException{} << httpcode_tag{static_cast<unsigned>(status)}
                                                   << httpurl_tag{url == nullptr ? "" : url}
                                                   << curlerrorbuffer_tag{error_text});
}

}  // namespace

CurlImpl::CurlImpl(TransportSettings transport_settings) : settings{std::move(transport_settings)} {
    static const CurlGlobal global;
}

void CurlImpl::set_client_certificate(const ClientCertificate& certificate) {
    settings.client_certificate = certificate;
}

void CurlImpl::download_to_file(const std::string& url, std::ostream& out) {
    CurlHandle handle;
    set_url(handle, url);
    setopt(handle, CURLOPT_WRITEFUNCTION, write_file_cb);
    setopt(handle, CURLOPT_WRITEDATA, &out);
    perform(handle);
}

std::string CurlImpl::send_delete_request(const std::string& url) {
    std::string response;
    CurlHandle handle;
    set_url(handle, url);
    setopt(handle, CURLOPT_CUSTOMREQUEST, "DELETE");
    setopt(handle, CURLOPT_WRITEFUNCTION, write_string_cb);
    setopt(handle, CURLOPT_WRITEDATA, &response);
    perform(handle);
    return response;
}

std::string CurlImpl::send_get_request(const std::string& url) {
    std::string response;
    CurlHandle handle;
    set_url(handle, url);
    setopt(handle, CURLOPT_WRITEFUNCTION, write_string_cb);
    setopt(handle, CURLOPT_WRITEDATA, &response);
    perform(handle);
    return response;
}

std::string CurlImpl::send_patch_request(const std::string& url, const std::string& body,
                                         const std::string& content_type) {
    return upload(url, "PATCH", body, content_type);
}

std::string CurlImpl::send_post_request(const std::string& url, const std::string& body,
                                        const std::string& content_type) {
    return upload(url, "POST", body, content_type);
}

std::string CurlImpl::send_put_request(const std::string& url, const std::string& body,
                                       const std::string& content_type) {
    return upload(url, nullptr, body, content_type);
}

std::string CurlImpl::upload(const std::string& url, const char* method, const std::string& body,
                             const std::string& content_type) {
    std::string response;
    std::string rest_of_body = body;
    CurlStringList headers;
    CurlHandle handle;
    set_url(handle, url);
    setopt(handle, CURLOPT_UPLOAD, 1L);
    if (method != nullptr) {
        setopt(handle, CURLOPT_CUSTOMREQUEST, method);
    }
    setopt(handle, CURLOPT_READFUNCTION, read_string_cb);
    setopt(handle, CURLOPT_READDATA, &rest_of_body);
    setopt(handle, CURLOPT_INFILESIZE, static_cast<long>(body.size()));
    setopt(handle, CURLOPT_WRITEFUNCTION,
           settings.drops_answers_to_uploads ? write_nothing_cb : write_string_cb);
    setopt(handle, CURLOPT_WRITEDATA, &response);
    headers.append("Content-Type: " + content_type);
    setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    perform(handle);
    return response;
}

void CurlImpl::set_common_options(CurlHandle& handle) {
    setopt(handle, CURLOPT_FAILONERROR, 1L);
    error_buffer.front() = '\0';
    setopt(handle, CURLOPT_ERRORBUFFER, error_buffer.data());
    if (const auto& certificate = settings.client_certificate) {
        setopt(handle, CURLOPT_SSLCERTTYPE, certificate_type_name(certificate->type));
        setopt(handle, CURLOPT_SSLCERT, certificate->certificate.c_str());
        setopt(handle, CURLOPT_SSLKEY, certificate->key.c_str());
    }
    if (const char* const bundle = ca_bundle_path()) {
        setopt(handle, CURLOPT_CAINFO, bundle);
        // Only the bundle is trusted, not the system's certificate directory as well.
        setopt(handle, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    if (debug_logger.enabled) {
        setopt(handle, CURLOPT_VERBOSE, 1L);
    }
}

const char* CurlImpl::ca_bundle_path() const {
    return settings.ca_bundle ? settings.ca_bundle->c_str()
                              : curl_configuration::get_ca_bundle_path();
}

void CurlImpl::perform(CurlHandle& handle) {
    reload_resolver_configuration();
    set_common_options(handle);

    const CURLcode result = curl_easy_perform(handle.get());
    if (result == CURLE_OK) {
        return;
    }
    if (result == CURLE_HTTP_RETURNED_ERROR) {
        throw_error_status(handle, error_buffer.data());
    }
    BOOST_THROW_EXCEPTION(HttpRequestException{} << curlcode_tag{result}
                                                 << curlmessage_tag{curl_easy_strerror(result)}
                                                 << curlerrorbuffer_tag{error_buffer.data()});
}

std::size_t CurlImpl::write_string_cb(char* data, std::size_t size, std::size_t nmemb,
                                      void* userdata) noexcept {
    auto& answer = *static_cast<std::string*>(userdata);
    if (size * nmemb > max_answer_size - answer.size()) {
        return 0;
    }
    try {
        answer.append(data, size * nmemb);
    } catch (const std::exception&) {
        // Out of memory: libcurl ends the transfer with CURLE_WRITE_ERROR, which perform() reports.
        return 0;
    }
    return size * nmemb;
}

std::size_t CurlImpl::write_nothing_cb(char* /*data*/, std::size_t size, std::size_t nmemb,
                                       void* /*userdata*/) noexcept {
    return size * nmemb;
}

std::size_t CurlImpl::write_file_cb(char* data, std::size_t size, std::size_t nmemb,
                                    void* userdata) noexcept {
    try {
        static_cast<std::ostream*>(userdata)->write(data,
                                                    static_cast<std::streamsize>(size * nmemb));
    } catch (const std::exception& error) {
        // Only a stream with exceptions switched on gets here; it keeps its bad state for its
        // owner.
        ZLOG_WARNING("event", "exception_caught", "action", "download", "what", error.what());
    }
    return size * nmemb;
}

std::size_t CurlImpl::read_string_cb(char* buffer, std::size_t size, std::size_t nitems,
                                     void* userdata) noexcept {
    auto& rest = *static_cast<std::string*>(userdata);
    const std::size_t count = rest.copy(buffer, size * nitems);
    rest.erase(0, count);
    return count;
}

}  // namespace zephran::http
