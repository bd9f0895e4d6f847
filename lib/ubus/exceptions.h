// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/exception.h"
#include "common/record.h"

namespace zephran::ubus {

/// Text of the bus library for a status code.
ZEPHRAN_RECORD(ubus_error, std::string, not_reported);
/// Size of a message in bytes.
ZEPHRAN_RECORD(message_size, std::size_t, not_reported);

struct UbusConnectException : common::Exception {
    UbusConnectException() : Exception{"Failed to connect to ubus"} {}
};
struct ObjectAddException : common::Exception {
    ObjectAddException() : Exception{"Failed to add object"} {}
};
/// The broker disconnects a client that sends such a message.
struct MessageTooLargeException : common::Exception {
    MessageTooLargeException() : Exception{"Message is too large for ubus"} {}
};
struct ReplyException : common::Exception {
    ReplyException() : Exception{"Failed to send reply"} {}
};

}  // namespace zephran::ubus

namespace zephran::ubox {

/// The text that was rejected.
ZEPHRAN_RECORD(json_text, std::string, not_reported);

struct NotAnObjectException : common::Exception {
    NotAnObjectException() : Exception{"Text is not a JSON object"} {}
};
struct NestingTooDeepException : common::Exception {
    NestingTooDeepException() : Exception{"Message is nested too deeply"} {}
};

}  // namespace zephran::ubox
