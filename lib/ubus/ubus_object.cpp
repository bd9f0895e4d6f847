// SPDX-License-Identifier: Apache-2.0
#include "ubus/ubus_object.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <boost/exception/diagnostic_information.hpp>

#include "common/logprint.h"
#include "ubus/blob_buffer.h"
#include "ubus/exceptions.h"

namespace zephran::ubus {

namespace {

// The broker disconnects clients that send more than 1 MiB. A reply is wrapped in the length of the
// message (one word) and the id of the object (two words).
constexpr std::size_t largest_message = 1U << 20U;
constexpr std::size_t bytes_around_a_reply = 12;

constexpr std::size_t largest_notification = 1U << 15U;

std::vector<ObjectRegistration::Method> listed(const std::list<UbusObject::Method>& methods) {
    std::vector<ObjectRegistration::Method> list;
    for (const UbusObject::Method& method : methods) {
        list.push_back({std::get<0>(method), std::get<2>(method)});
    }
    return list;
}

void log_exception(const char* action, const std::string& method) {
    ZLOG_ERROR("event", "exception_caught", "action", action, "method", method, "what",
               boost::current_exception_diagnostic_information());
}

}  // namespace

UbusObject::UbusObject(std::string object_name, std::list<Method> object_methods,
                       const UbusContext::Environment& environment)
    : methods{std::move(object_methods)},
      context{environment},
      name{std::move(object_name)},
      registration{std::make_unique<ObjectRegistration>(name, listed(methods),
                                                        ubus_method_handler_internal, this)} {
    context.set_restorer([this] { return register_again(); });
    context.connect([this] { register_first(); });
    registered_connection = context.connection_count();
}

UbusObject::~UbusObject() {
    // No call may be dispatched to the records while they are destroyed.
    context.disconnect();
}

void UbusObject::register_first() {
    const int result = ubus_add_object(context.get(), registration->object());
    if (result != UBUS_STATUS_OK) {
        ZEPHRAN_THROW(ObjectAddException{} << ubus_error_tag{ubus_strerror(result)});
    }
}

bool UbusObject::register_again() {
    if (registered_connection != context.connection_count()) {
        registration->forget();
        registered_connection = context.connection_count();
    }
    if (registration->is_registered()) {
        failure_logged = false;
        return true;
    }
    const int result = ubus_add_object(context.get(), registration->object());
    if (result != UBUS_STATUS_OK && !failure_logged) {
        ZLOG_WARNING("event", "ubus", "message", "could not register object again", "error",
                     ubus_strerror(result));
    }
    failure_logged = result != UBUS_STATUS_OK;
    return result == UBUS_STATUS_OK;
}

int UbusObject::ubus_method_handler_internal(ubus_context* /*connection*/, ubus_object* object,
                                             ubus_request_data* request, const char* method,
                                             blob_attr* message) {
    auto* const owner = static_cast<UbusObject*>(ObjectRegistration::owner_of(object));
    try {
        return owner->dispatch(request, method, message);
    } catch (...) {
        // Only when there is not even memory for a log line.
        return UBUS_STATUS_UNKNOWN_ERROR;
    }
}

int UbusObject::dispatch(ubus_request_data* request, const std::string& method,
                         blob_attr* message) {
    const auto found = std::find_if(methods.begin(), methods.end(), [&](const Method& candidate) {
        return std::get<0>(candidate) == method;
    });
    return found == methods.end() ? UBUS_STATUS_OK : call(*found, request, message);
}

// An exception must not reach the calling C code: it would end the process.
int UbusObject::call(const Method& method, ubus_request_data* request, blob_attr* message) {
    try {
        return std::get<1>(method)(this, request, message);
    } catch (...) {
        log_exception("call", std::get<0>(method));
    }
    try {
        Json::Value failure;
        failure["success"] = false;
        reply(request, failure);
    } catch (...) {
        log_exception("reply", std::get<0>(method));
    }
    return UBUS_STATUS_OK;
}

void UbusObject::reply(ubus_request_data* request, const Json::Value& value) {
    ubox::BlobBuffer buffer;
    buffer.add_json(value);
    const std::size_t size = bytes_around_a_reply + blob_raw_len(buffer.get_head());
    if (size > largest_message) {
        ZEPHRAN_THROW(MessageTooLargeException{} << message_size_tag{size});
    }
    const int result = ubus_send_reply(context.get(), request, buffer.get_head());
    if (result != UBUS_STATUS_OK) {
        ZEPHRAN_THROW(ReplyException{} << ubus_error_tag{ubus_strerror(result)});
    }
}

void UbusObject::notify_from(std::shared_ptr<NotificationQueue> queue) {
    notifications = std::move(queue);
    context.set_sender([this] { send_notifications(); });
}

void UbusObject::send_notifications() {
    if (!registration->has_subscribers()) {
        notifications->clear();
        return;
    }
    while (!notifications->empty() && context.can_send_at_once()) {
        const auto notification = notifications->take();
        try {
            notify(*notification);
        } catch (const std::exception&) {
            log_exception("notify", notification->type);
        }
    }
}

void UbusObject::notify(const Notification& notification) {
    constexpr int without_replies = -1;
    ubox::BlobBuffer buffer;
    buffer.add_json(notification.content);
    const std::size_t size = blob_raw_len(buffer.get_head());
    if (size > largest_notification) {
        ZEPHRAN_THROW(MessageTooLargeException{} << message_size_tag{size});
    }
    // A connection that breaks meanwhile is noticed when it is next read from.
    (void)ubus_notify(context.get(), registration->object(), notification.type.c_str(),
                      buffer.get_head(), without_replies);
}

}  // namespace zephran::ubus
