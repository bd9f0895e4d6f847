// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <curl/curl.h>

#include "http/exceptions.h"

namespace zephran::http {

/// libcurl's state for the whole process: initialised at most once, cleaned up at the end.
class CurlGlobal {
public:
    /// @throws GlobalInitException; the next construction tries again
    CurlGlobal();
    virtual ~CurlGlobal();
    CurlGlobal(const CurlGlobal&) = delete;
    CurlGlobal& operator=(const CurlGlobal&) = delete;

    /// Initialises libcurl, whether or not that has been done.
    /// @throws GlobalInitException with curlcode_tag, curlmessage_tag
    static void init();
};

/// Owns one easy handle, which serves one request.
class CurlHandle {
public:
    /// @throws CreateRequestException
    CurlHandle();
    virtual ~CurlHandle();
    CurlHandle(const CurlHandle&) = delete;
    CurlHandle& operator=(const CurlHandle&) = delete;

    [[nodiscard]] CURL* get() const { return handle; }

private:
    CURL* handle;
};

/// Owns one list of header lines.
class CurlStringList {
public:
    CurlStringList() = default;
    virtual ~CurlStringList();
    CurlStringList(const CurlStringList&) = delete;
    CurlStringList& operator=(const CurlStringList&) = delete;

    /// @throws std::bad_alloc; the list stays as it was
    void append(const std::string& line);
    /// Null while the list is empty.
    [[nodiscard]] curl_slist* get() const { return head; }

private:
    curl_slist* head = nullptr;
};

/// Sets one option. libcurl reads the value through a variable argument list, so its type must be
/// exactly what the option takes: long (never int or bool), a pointer to characters, data or a
/// list, or a callback.
/// @throws ConfigureRequestException with curlcode_tag, curlopt_tag
template <class T>
void setopt(CurlHandle& handle, CURLoption option, const T& value) {
    const CURLcode result = curl_easy_setopt(handle.get(), option, value);
    if (result != CURLE_OK) {
        ZEPHRAN_THROW(ConfigureRequestException{} << curlcode_tag{result} << curlopt_tag{option});
    }
}

}  // namespace zephran::http
