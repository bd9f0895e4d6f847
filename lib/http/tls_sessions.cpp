// SPDX-License-Identifier: Apache-2.0
#include "http/tls_sessions.h"

#include "common/exception.h"
#include "http/curl_handle.h"

namespace zephran::http {

TlsSessions::TlsSessions() : share{curl_share_init()} {
    if (share == nullptr) {
        ZEPHRAN_THROW(CreateRequestException{});
    }
    // A libcurl that cannot share them resumes none, which is the same as without this object.
    curl_share_setopt(share, CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
}

TlsSessions::~TlsSessions() {
    curl_share_cleanup(share);
}

}  // namespace zephran::http
