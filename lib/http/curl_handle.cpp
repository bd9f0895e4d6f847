// SPDX-License-Identifier: Apache-2.0
#include "http/curl_handle.h"

#include <mutex>
#include <new>

#include "common/exception.h"

namespace zephran::http {

namespace {

ZEPHRAN_REPORTED(curlcode);
ZEPHRAN_REPORTED(curlmessage);
ZEPHRAN_REPORTED(curlopt);
ZEPHRAN_REPORTED(curlerrorbuffer);
ZEPHRAN_REPORTED(httpcode);
ZEPHRAN_REPORTED(httpurl);
ZEPHRAN_REPORTED(value_count);

}  // namespace

CurlGlobal::CurlGlobal() {
    // Not std::call_once: it runs the function inside the C library's pthread_once, and where that
    // is built without unwind tables (musl) an exception ends the process instead of reaching the
    // caller and leaving the flag unset.
    static std::mutex mutex;
    static bool initialised = false;

    const std::lock_guard<std::mutex> lock{mutex};
    if (!initialised) {
        init();
        initialised = true;
    }
}

CurlGlobal::~CurlGlobal() {
    curl_global_cleanup();
}

void CurlGlobal::init() {
    const CURLcode result = curl_global_init(CURL_GLOBAL_ALL);
    if (result != CURLE_OK) {
        ZEPHRAN_THROW(GlobalInitException{} << curlcode_tag{result}
                                            << curlmessage_tag{curl_easy_strerror(result)});
    }
}

CurlHandle::CurlHandle() : handle{curl_easy_init()} {
    if (handle == nullptr) {
        ZEPHRAN_THROW(CreateRequestException{});
    }
}

CurlHandle::~CurlHandle() {
    curl_easy_cleanup(handle);
}

CurlStringList::~CurlStringList() {
    curl_slist_free_all(head);
}

void CurlStringList::append(const std::string& line) {
    curl_slist* const longer = curl_slist_append(head, line.c_str());
    if (longer == nullptr) {
        ZEPHRAN_THROW(std::bad_alloc{});
    }
    head = longer;
}

}  // namespace zephran::http
