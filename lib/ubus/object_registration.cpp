// SPDX-License-Identifier: Apache-2.0
#include "ubus/object_registration.h"

#include <type_traits>

namespace zephran::ubus {

ObjectRegistration::ObjectRegistration(const std::string& name, const std::vector<Method>& methods,
                                       ubus_handler_t handler, void* owner) {
    static_assert(std::is_standard_layout_v<Record>, "owner_of() converts the address");
    // Reallocation would invalidate the pointers to these records.
    method_records.reserve(methods.size());
    policies.reserve(methods.size());
    for (const Method& method : methods) {
        std::vector<blobmsg_policy>& policy = policies.emplace_back();
        for (const auto& [argument, argument_type] : method.arguments) {
            policy.push_back({argument.c_str(), argument_type});
        }
        ubus_method& entry = method_records.emplace_back();
        entry.name = method.name.c_str();
        entry.handler = handler;
        entry.policy = policy.data();
        entry.n_policy = static_cast<int>(policy.size());
    }
    type.name = name.c_str();
    type.methods = method_records.data();
    type.n_methods = static_cast<int>(method_records.size());
    record.object.name = name.c_str();
    record.object.type = &type;
    record.object.methods = method_records.data();
    record.object.n_methods = type.n_methods;
    record.owner = owner;
}

void ObjectRegistration::forget() {
    record.object.id = 0;
    record.object.has_subscribers = false;
    type.id = 0;
}

void* ObjectRegistration::owner_of(ubus_object* object) {
    return reinterpret_cast<Record*>(object)->owner;
}

}  // namespace zephran::ubus
