// SPDX-License-Identifier: Apache-2.0
#include "http/tls_sessions.h"

#include "common/exception.h"
#include "http/curl_handle.h"

namespace zephran::http {

TlsSessions::TlsSessions() : share{curl_share_init()} {
    if (share == nullptr) {
        ZEPHRAN_THROW(CreateRequestException{});
    }
    curl_share_setopt(share, CURLSHOPT_USERDATA, static_cast<void*>(this));
    curl_share_setopt(share, CURLSHOPT_LOCKFUNC, lock_cb);
    curl_share_setopt(share, CURLSHOPT_UNLOCKFUNC, unlock_cb);
    // A libcurl that cannot share them resumes none, which is the same as without this object.
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

TlsSessions::~TlsSessions() {
    curl_share_cleanup(share);
}

void TlsSessions::lock_cb(CURL* /*handle*/, curl_lock_data data, curl_lock_access /*access*/,
                          void* userdata) noexcept {
    auto& sessions = *static_cast<TlsSessions*>(userdata);
    (data == CURL_LOCK_DATA_SHARE ? sessions.share_mutex : sessions.session_mutex).lock();
}

void TlsSessions::unlock_cb(CURL* /*handle*/, curl_lock_data data, void* userdata) noexcept {
    auto& sessions = *static_cast<TlsSessions*>(userdata);
    (data == CURL_LOCK_DATA_SHARE ? sessions.share_mutex : sessions.session_mutex).unlock();
}

}  // namespace zephran::http
