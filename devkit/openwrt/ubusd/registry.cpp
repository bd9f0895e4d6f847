#include "registry.h"

#include "pattern.h"
#include "signature.h"

namespace zephran::ubusd {

Object Registry::add(ClientId owner, const ObjectRequest& request) {
    if (request.name && (request.name->empty() || names.count(*request.name) != 0)) {
        throw Refusal{Status::invalid_argument};
    }
    Object object{random.unused(objects), owner, request.name, use_type(owner, request)};
    objects.emplace(object.id, object);
    if (object.name) {
        names.emplace(*object.name, object.id);
    }
    return object;
}

RemovedObject Registry::remove(ClientId owner, ObjectId id) {
    const auto found = objects.find(id);
    if (found == objects.end()) {
        throw Refusal{Status::not_found};
    }
    if (found->second.owner != owner) {
        throw Refusal{Status::permission_denied};
    }
    const Object object = found->second;
    objects.erase(found);
    if (object.name) {
        names.erase(*object.name);
    }
    return {object, release_type(object)};
}

std::vector<Object> Registry::remove_all_of(ClientId owner) {
    std::vector<Object> owned;
    for (const auto& [id, object] : objects) {
        if (object.owner == owner) {
            owned.push_back(object);
        }
    }
    for (const Object& object : owned) {
        remove(owner, object.id);
    }
    return owned;
}

const Object* Registry::find(ObjectId id) const {
    const auto found = objects.find(id);
    return found == objects.end() ? nullptr : &found->second;
}

std::vector<ListedObject> Registry::lookup(const std::optional<std::string>& path) const {
    if (path && path->empty()) {
        throw Refusal{Status::invalid_argument};
    }
    std::vector<ListedObject> listed;
    for (const auto& [name, id] : names) {
        const Object& object = objects.at(id);
        if (object.type && matches(path.value_or("*"), name)) {
            listed.push_back({id, name, *object.type, types.at(*object.type).signature});
        }
    }
    if (path && listed.empty()) {
        throw Refusal{Status::not_found};
    }
    return listed;
}

std::optional<TypeId> Registry::use_type(ClientId owner, const ObjectRequest& request) {
    if (request.signature) {
        if (!is_signature(*request.signature)) {
            throw Refusal{Status::invalid_argument};
        }
        const TypeId id = random.unused(types);
        types.emplace(id, Type{owner, *request.signature, 1});
        return id;
    }
    if (request.type) {
        const auto found = types.find(*request.type);
        if (found == types.end() || found->second.owner != owner) {
            throw Refusal{Status::invalid_argument};
        }
        ++found->second.users;
    }
    return request.type;
}

std::optional<TypeId> Registry::release_type(const Object& object) {
    if (!object.type) {
        return std::nullopt;
    }
    const auto found = types.find(*object.type);
    --found->second.users;
    if (found->second.users != 0) {
        return std::nullopt;
    }
    types.erase(found);
    return object.type;
}

}  // namespace zephran::ubusd
