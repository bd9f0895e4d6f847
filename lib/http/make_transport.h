// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "http/transport.h"

namespace zephran::http {

/// Transports that a Client can be made with.
enum class ClientImplementationType { curl = 0 };

/// @throws common::NotImplementedException for a type without a transport
/// @throws GlobalInitException when libcurl cannot be initialised
std::unique_ptr<ClientInterface> make_transport(ClientImplementationType type,
                                                TransportSettings settings);

}  // namespace zephran::http
