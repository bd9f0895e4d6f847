// SPDX-License-Identifier: Apache-2.0
#include "http/httpclient_curl.h"

#include <exception>
#include <utility>

#include "common/logprint.h"
#include "http/exceptions.h"
#include "http/head_reader.h"
#include "http/transfer_log.h"

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

/// A receiver together with what was read of the head that it is to be told.
struct PartialAnswer {
    PartialReceiver* receiver;
    HeadReader head{};
};

std::size_t take_header_cb(char* data, std::size_t size, std::size_t nmemb,
                           void* userdata) noexcept {
    auto& answer = *static_cast<PartialAnswer*>(userdata);
    try {
        const bool is_complete = answer.head.add({data, size * nmemb});
        if (is_complete && !answer.receiver->take_head(answer.head.head())) {
            return 0;
        }
    } catch (const std::exception&) {
        // Out of memory: libcurl ends the transfer, which perform() reports.
        return 0;
    }
    return size * nmemb;
}

std::size_t take_body_cb(char* data, std::size_t size, std::size_t nmemb, void* userdata) noexcept {
    auto& answer = *static_cast<PartialAnswer*>(userdata);
    return answer.receiver->take(data, size * nmemb) ? size * nmemb : 0;
}

int stop_cb(void* userdata, curl_off_t /*expected*/, curl_off_t /*received*/,
            curl_off_t /*to_send*/, curl_off_t /*sent*/) noexcept {
    return static_cast<PartialAnswer*>(userdata)->receiver->is_stopped() ? 1 : 0;
}

[[noreturn]] void throw_error_status(const CurlRequest& request, const char* error_text) {
    long status = 0;
    const char* url = nullptr;
    curl_easy_getinfo(request.handle().get(), CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(request.handle().get(), CURLINFO_EFFECTIVE_URL, &url);
    ZEPHRAN_THROW(HttpErrorCodeException{} << httpcode_tag{static_cast<unsigned>(status)}
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
    CurlRequest request{"GET", url, CurlRequest::Kind::artifact};
    setopt(request.handle(), CURLOPT_WRITEFUNCTION, write_file_cb);
    setopt(request.handle(), CURLOPT_WRITEDATA, &out);
    perform(request);
}

void CurlImpl::download_part(const std::string& url, const RangeWanted& wanted,
                             PartialReceiver& receiver) {
    // As large as the command line tool's: larger blocks need fewer writes.
    constexpr long buffer_size = 102'400;
    PartialAnswer answer{&receiver};
    CurlRequest request{"GET", url, CurlRequest::Kind::artifact};
    // A handler of signals must not be changed beside the main thread.
    setopt(request.handle(), CURLOPT_NOSIGNAL, 1L);
    setopt(request.handle(), CURLOPT_BUFFERSIZE, buffer_size);
    setopt(request.handle(), CURLOPT_HEADERFUNCTION, take_header_cb);
    setopt(request.handle(), CURLOPT_HEADERDATA, static_cast<void*>(&answer));
    setopt(request.handle(), CURLOPT_WRITEFUNCTION, take_body_cb);
    setopt(request.handle(), CURLOPT_WRITEDATA, static_cast<void*>(&answer));
    setopt(request.handle(), CURLOPT_NOPROGRESS, 0L);
    setopt(request.handle(), CURLOPT_XFERINFOFUNCTION, stop_cb);
    setopt(request.handle(), CURLOPT_XFERINFODATA, static_cast<void*>(&answer));
    if (wanted.from != 0) {
        // As a header of its own: with libcurl's option for it, some versions take 416 for success.
        request.add_header("Range: bytes=" + std::to_string(wanted.from) + "-");
        request.add_header("If-Range: " + wanted.entity_tag);
    }
    perform(request);
}

std::string CurlImpl::send_delete_request(const std::string& url) {
    std::string response;
    CurlRequest request{"DELETE", url, CurlRequest::Kind::document};
    setopt(request.handle(), CURLOPT_CUSTOMREQUEST, "DELETE");
    setopt(request.handle(), CURLOPT_WRITEFUNCTION, write_string_cb);
    setopt(request.handle(), CURLOPT_WRITEDATA, &response);
    perform(request);
    return response;
}

std::string CurlImpl::send_get_request(const std::string& url) {
    std::string response;
    CurlRequest request{"GET", url, CurlRequest::Kind::document};
    setopt(request.handle(), CURLOPT_WRITEFUNCTION, write_string_cb);
    setopt(request.handle(), CURLOPT_WRITEDATA, &response);
    perform(request);
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
    CurlRequest request{method == nullptr ? "PUT" : method, url, CurlRequest::Kind::document};
    setopt(request.handle(), CURLOPT_UPLOAD, 1L);
    if (method != nullptr) {
        setopt(request.handle(), CURLOPT_CUSTOMREQUEST, method);
    }
    setopt(request.handle(), CURLOPT_READFUNCTION, read_string_cb);
    setopt(request.handle(), CURLOPT_READDATA, &rest_of_body);
    setopt(request.handle(), CURLOPT_INFILESIZE, static_cast<long>(body.size()));
    setopt(request.handle(), CURLOPT_WRITEFUNCTION,
           settings.drops_answers_to_uploads ? write_nothing_cb : write_string_cb);
    setopt(request.handle(), CURLOPT_WRITEDATA, &response);
    request.add_header("Content-Type: " + content_type);
    perform(request);
    return response;
}

void CurlImpl::perform(CurlRequest& request) {
    reload_resolver_configuration();
    setopt(request.handle(), CURLOPT_FAILONERROR, 1L);
    error_buffer.front() = '\0';
    setopt(request.handle(), CURLOPT_ERRORBUFFER, error_buffer.data());
    request.apply(settings);

    const CURLcode result = curl_easy_perform(request.handle().get());
    log_transfer(settings.log, request, result);
    if (result == CURLE_OK) {
        return;
    }
    if (result == CURLE_HTTP_RETURNED_ERROR) {
        throw_error_status(request, error_buffer.data());
    }
    ZEPHRAN_THROW(HttpRequestException{} << curlcode_tag{result}
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
