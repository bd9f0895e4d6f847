#pragma once

#include <memory>
#include <string>

#include "api.h"
#include "failure.h"
#include "options.h"

namespace zephran::ubus {

/// What is registered with a connection has to outlive it.
using Connection = std::unique_ptr<ubus_context, decltype(&ubus_free)>;

/// @throws Failure when nobody listens on the socket.
Connection connect(const Options& options);

/// @return the failure with the text for a status, and the status itself for the shell.
Failure failed(int status);

}  // namespace zephran::ubus
