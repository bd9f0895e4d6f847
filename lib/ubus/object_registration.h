// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ubus/libraries.h"

namespace zephran::ubus {

/// Names of a method's arguments and their types. The bus only lists them; it checks nothing.
/// "enum" is needed: the library has a function of the same name as the type.
using ArgumentPolicy = std::list<std::pair<std::string, enum blobmsg_type>>;

/// The bus library's records of one object. The library keeps pointers to them and to the names:
/// they must stay in place until the connection is closed and no call is being dispatched.
class ObjectRegistration {
public:
    /// A method as the bus lists it. What these references name must outlive the registration.
    struct Method {
        const std::string& name;
        const ArgumentPolicy& arguments;
    };

    /// @param owner   returned by owner_of()
    /// @param handler called for every method
    ObjectRegistration(const std::string& name, const std::vector<Method>& methods,
                       ubus_handler_t handler, void* owner);
    ObjectRegistration(const ObjectRegistration&) = delete;
    ObjectRegistration& operator=(const ObjectRegistration&) = delete;
    ~ObjectRegistration() = default;

    [[nodiscard]] ubus_object* object() { return &record.object; }
    /// Whether the broker knows the object.
    [[nodiscard]] bool is_registered() const { return record.object.id != 0; }
    [[nodiscard]] bool has_subscribers() const { return record.object.has_subscribers; }
    /// Makes the object ready to be added to another connection.
    void forget();
    /// The owner that the constructor was given.
    [[nodiscard]] static void* owner_of(ubus_object* object);

private:
    /// The library knows only the address of the first member.
    struct Record {
        ubus_object object;
        void* owner;
    };

    Record record{};
    ubus_object_type type{};
    std::vector<ubus_method> method_records;
    std::vector<std::vector<blobmsg_policy>> policies;
};

}  // namespace zephran::ubus
