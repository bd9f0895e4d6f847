#pragma once

#include <string>

#include "common/exception.h"

namespace zephran::ubus {

/// Text of the bus library for a status code.
using ubus_error_tag = boost::error_info<struct ubus_error_record, std::string>;
/// Size of a message in bytes.
using message_size_tag = boost::error_info<struct message_size_record, std::size_t>;

struct UbusConnectException : common::Exception {
    UbusConnectException() : Exception{"Failed to connect to ubus"} {}
};
struct ObjectAddException : common::Exception {
    ObjectAddException() : Exception{"Failed to add object"} {}
};
/// The broker would disconnect the sender of such a message.
struct MessageTooLargeException : common::Exception {
    MessageTooLargeException() : Exception{"Message is too large for ubus"} {}
};
struct ReplyException : common::Exception {
    ReplyException() : Exception{"Failed to send reply"} {}
};

}  // namespace zephran::ubus

namespace zephran::ubox {

/// The text that could not be taken over.
using json_text_tag = boost::error_info<struct json_text_record, std::string>;

struct NotAnObjectException : common::Exception {
    NotAnObjectException() : Exception{"Text is not a JSON object"} {}
};
struct NestingTooDeepException : common::Exception {
    NestingTooDeepException() : Exception{"Message is nested too deeply"} {}
};

}  // namespace zephran::ubox
