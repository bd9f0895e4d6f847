// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <tuple>

#include <json/json.h>

#include "ubus/libraries.h"
#include "ubus/notification_queue.h"
#include "ubus/object_registration.h"
#include "ubus/ubus_context.h"

namespace zephran::ubus {

/// An object on the message bus whose methods are functions of this process. All of them run on the
/// receiver thread of its context, one at a time.
class UbusObject {
public:
    /// Serves one call and returns its status, 0 for success. An exception that it throws is
    /// logged, and the caller gets {"success": false}.
    using Handler = std::function<int(UbusObject*, ubus_request_data*, blob_attr*)>;
    /// Name, handler, arguments.
    using Method = std::tuple<std::string, Handler, ArgumentPolicy>;

    /// Connects to the bus and registers the object. Calls are served once the receiver of the
    /// context has been started. After an outage of the broker the object is registered again.
    ///
    /// @throws UbusConnectException also for a broker that stalls longer than the start patience
    /// @throws ObjectAddException with ubus_error_tag, for example when the name is taken, or the
    ///         broker stalls before it answers
    UbusObject(std::string object_name, std::list<Method> object_methods,
               const UbusContext::Environment& environment = {});
    UbusObject(const UbusObject&) = delete;
    UbusObject& operator=(const UbusObject&) = delete;
    virtual ~UbusObject();

    [[nodiscard]] UbusContext& get_context() { return context; }
    [[nodiscard]] const std::string& get_name() const { return name; }

    /// Answers a call; may be called several times for one call.
    ///
    /// @param value an object
    /// @throws MessageTooLargeException with message_size_tag; nothing was sent
    /// @throws ReplyException with ubus_error_tag when the connection is broken
    /// @throws ubox::NotAnObjectException
    void reply(ubus_request_data* request, const Json::Value& value);

    /// Has the receiver thread notify subscribers of what comes into this queue. What cannot be
    /// sent without waiting for the broker stays there; what nobody listens to, and what is larger
    /// than 32 KiB, is dropped. Called before the receiver is started.
    void notify_from(std::shared_ptr<NotificationQueue> queue);

    /// The one handler of all methods of all objects: finds the object and the method and calls it.
    /// An unknown name gives 0 and no reply; normally the bus library rejects such calls itself.
    static int ubus_method_handler_internal(ubus_context* connection, ubus_object* object,
                                            ubus_request_data* request, const char* method,
                                            blob_attr* message);

private:
    [[nodiscard]] int dispatch(ubus_request_data* request, const std::string& method,
                               blob_attr* message);
    int call(const Method& method, ubus_request_data* request, blob_attr* message);
    void send_notifications();
    void notify(const Notification& notification);
    void register_first();
    [[nodiscard]] bool register_again();

    std::list<Method> methods;
    UbusContext context;
    std::string name;
    std::unique_ptr<ObjectRegistration> registration;
    unsigned registered_connection = 0;
    bool failure_logged = false;
    std::shared_ptr<NotificationQueue> notifications;
};

}  // namespace zephran::ubus
