// SPDX-License-Identifier: Apache-2.0
#include "http/make_transport.h"

#include <utility>

#include "common/exception.h"
#include "http/httpclient_curl.h"

namespace zephran::http {

std::unique_ptr<ClientInterface> make_transport(ClientImplementationType type,
                                                TransportSettings settings) {
    switch (type) {
        case ClientImplementationType::curl:
            return std::make_unique<CurlImpl>(std::move(settings));
    }
    ZEPHRAN_THROW(common::NotImplementedException{});
}

}  // namespace zephran::http
