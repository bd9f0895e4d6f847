// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <curl/curl.h>

namespace zephran::http {

/// TLS sessions that outlive their connections, so that the next connection to the same server
/// takes about half the bytes. Connections, cookies and names are not shared. For transports of one
/// thread only; it must outlive their requests.
class TlsSessions {
public:
    /// @throws CreateRequestException
    TlsSessions();
    ~TlsSessions();
    TlsSessions(const TlsSessions&) = delete;
    TlsSessions& operator=(const TlsSessions&) = delete;

    [[nodiscard]] CURLSH* get() const { return share; }

private:
    CURLSH* share;
};

}  // namespace zephran::http
