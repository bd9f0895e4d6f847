#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "protocol.h"
#include "random_id.h"

namespace zephran::ubusd {

struct Object {
    ObjectId id;
    ClientId owner;
    /// Objects that only receive events have none.
    std::optional<std::string> name;
    /// Objects without a type are never listed.
    std::optional<TypeId> type;
};

/// What a client says about the object that it adds.
struct ObjectRequest {
    std::optional<std::string> name;
    /// A type that another object of the same client has.
    std::optional<TypeId> type;
    /// A new type.
    std::optional<std::string> signature;
};

struct RemovedObject {
    Object object;
    /// No other object uses its type, so that the type is gone, too.
    std::optional<TypeId> released_type;
};

struct ListedObject {
    ObjectId id;
    std::string name;
    TypeId type;
    std::string signature;
};

/// All objects on the bus and their types.
class Registry {
public:
    /// @throws Refusal when the name is empty or in use, the type is not one of the owner's or the
    /// signature is malformed.
    Object add(ClientId owner, const ObjectRequest& request);

    /// @throws Refusal when there is no such object, or it belongs to somebody else.
    RemovedObject remove(ClientId owner, ObjectId id);

    /// Forgets everything about a client.
    std::vector<Object> remove_all_of(ClientId owner);

    /// @return nullptr when there is none; valid until the next change.
    [[nodiscard]] const Object* find(ObjectId id) const;

    /// @param path a name, the start of names followed by `*`, or nothing for all.
    /// @return in byte order of the names; never empty when there is a path.
    /// @throws Refusal when the path is empty or nothing matches it.
    [[nodiscard]] std::vector<ListedObject> lookup(const std::optional<std::string>& path) const;

private:
    struct Type {
        ClientId owner;
        std::string signature;
        std::size_t users;
    };

    std::optional<TypeId> use_type(ClientId owner, const ObjectRequest& request);
    std::optional<TypeId> release_type(const Object& object);

    std::map<ObjectId, Object> objects;
    std::map<std::string, ObjectId> names;
    std::map<TypeId, Type> types;
    RandomId random;
};

}  // namespace zephran::ubusd
