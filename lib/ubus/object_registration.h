#pragma once

#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ubus/libraries.h"

namespace zephran::ubus {

/// Names of a method's arguments and their types. The bus only shows them; it checks nothing. The
/// library has a function of the same name as the type.
using ArgumentPolicy = std::list<std::pair<std::string, enum blobmsg_type>>;

/// The bus library's records of one object. The library keeps pointers to them and to the names:
/// they must stay where they are until the connection is closed and nothing dispatches on it.
class ObjectRegistration {
public:
    /// A method as the bus shows it. What is named here must outlive the registration.
    struct Method {
        const std::string& name;
        const ArgumentPolicy& arguments;
    };

    /// @param owner   given back by owner_of()
    /// @param handler called for every method
    ObjectRegistration(const std::string& name, const std::vector<Method>& methods,
                       ubus_handler_t handler, void* owner);
    ObjectRegistration(const ObjectRegistration&) = delete;
    ObjectRegistration& operator=(const ObjectRegistration&) = delete;
    ~ObjectRegistration() = default;

    [[nodiscard]] ubus_object* object() { return &record.object; }
    /// Whether the broker knows the object.
    [[nodiscard]] bool is_registered() const { return record.object.id != 0; }
    /// What the constructor was given as the owner of this record.
    [[nodiscard]] static void* owner_of(ubus_object* object);

private:
    /// The library hands out the address of its first member only.
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
