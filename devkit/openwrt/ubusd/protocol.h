#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>

namespace zephran::ubusd {

using ClientId = std::uint32_t;
using ObjectId = std::uint32_t;
using TypeId = std::uint32_t;

/// What a frame is about; other values than these can arrive.
enum class MessageType : std::uint8_t {
    hello = 0,
    status = 1,
    data = 2,
    ping = 3,
    lookup = 4,
    invoke = 5,
    add_object = 6,
    remove_object = 7,
    subscribe = 8,
    unsubscribe = 9,
    notify = 10,
    monitor = 11
};

/// Numbers of the attributes inside a frame.
enum class AttributeId : std::uint8_t {
    status = 1,
    object_path = 2,
    object_id = 3,
    method = 4,
    object_type = 5,
    signature = 6,
    data = 7,
    no_reply = 10,
    user = 12,
    group = 13
};

/// Types of named values.
enum class ValueType : std::uint8_t { table = 2, string = 3, int32 = 5 };

enum class Status : std::uint32_t {
    ok = 0,
    invalid_command = 1,
    invalid_argument = 2,
    method_not_found = 3,
    not_found = 4,
    permission_denied = 6
};

/// Identifiers below this one are reserved for the broker itself.
constexpr std::uint32_t first_free_id = 1024;
/// The broker's own object, with which clients register for events.
constexpr ObjectId event_object = 1;
/// Where every client and broker looks unless told otherwise.
constexpr const char* default_socket = "/var/run/ubus/ubus.sock";
constexpr const char* default_socket_directory = "/var/run/ubus";

/// Ends a request with a status for the client that made it.
struct Refusal : std::exception {
    explicit Refusal(Status reason) : status{reason} {}
    [[nodiscard]] const char* what() const noexcept override { return "Request refused"; }

    Status status;
};

/// A client broke the rules of the wire format; its connection cannot be saved.
struct FramingError : std::exception {
    explicit FramingError(std::size_t stated_length) : length{stated_length} {}
    [[nodiscard]] const char* what() const noexcept override {
        return "Frame length outside the limits";
    }

    std::size_t length;
};

}  // namespace zephran::ubusd
