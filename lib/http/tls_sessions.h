// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>

#include <curl/curl.h>

namespace zephran::http {

/// TLS sessions that outlive their connections, so that the next connection to the same server
/// takes about half the bytes. Connections, cookies and names are not shared. Transports of
/// several threads may use it; it must outlive their requests.
class TlsSessions {
public:
    /// @throws CreateRequestException
    TlsSessions();
    ~TlsSessions();
    TlsSessions(const TlsSessions&) = delete;
    TlsSessions& operator=(const TlsSessions&) = delete;

    [[nodiscard]] CURLSH* get() const { return share; }

private:
    static void lock_cb(CURL* handle, curl_lock_data data, curl_lock_access access,
                        void* userdata) noexcept;
    static void unlock_cb(CURL* handle, curl_lock_data data, void* userdata) noexcept;

    // libcurl holds the lock of the share itself while it takes that of the sessions.
    std::mutex share_mutex;
    std::mutex session_mutex;
    CURLSH* share;
};

}  // namespace zephran::http
