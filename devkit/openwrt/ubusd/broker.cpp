#include "broker.h"

#include <utility>

#include "attribute_writer.h"
#include "byte_order.h"
#include "pattern.h"

namespace zephran::ubusd {

namespace {

/// @throws Refusal when an argument that the request cannot do without is missing.
template <class Value>
Value required(const std::optional<Value>& value) {
    if (!value) {
        throw Refusal{Status::invalid_argument};
    }
    return *value;
}

std::optional<std::string> copy_of(const std::optional<std::string_view>& bytes) {
    return bytes ? std::make_optional(std::string{*bytes}) : std::nullopt;
}

/// @throws Refusal when the data are no list of named values, or the object or the pattern is
/// missing.
std::pair<ObjectId, std::string> registration(std::string_view data) {
    std::optional<ObjectId> object;
    std::optional<std::string> pattern;
    for (const Attribute& attribute : split_attributes(data).attributes) {
        const std::optional<NamedValue> argument = decode_named(attribute);
        if (!argument) {
            continue;
        }
        if (argument->name == "object" && argument->type == ValueType::int32 &&
            argument->value.size() == 4) {
            object = read_number(argument->value, 0, 4);
        } else if (argument->name == "pattern" && argument->type == ValueType::string) {
            pattern = decode_text(argument->value);
        }
    }
    return {required(object), required(pattern)};
}

}  // namespace

Broker::Broker(Deliver deliver_frame) : deliver{std::move(deliver_frame)} {}

void Broker::handle(const Sender& sender, const Frame& frame) {
    try {
        dispatch(sender, frame);
    } catch (const Refusal& refusal) {
        answer_status(sender, frame, refusal.status);
    }
}

void Broker::forget(ClientId client) {
    const std::vector<Object> removed = registry.remove_all_of(client);
    for (const Object& object : removed) {
        listeners.erase(object.id);
    }
    for (const Object& object : removed) {
        announce("ubus.object.remove", object);
    }
}

void Broker::dispatch(const Sender& sender, const Frame& request) {
    switch (request.type) {
        case MessageType::status:
        case MessageType::data:
            return forward_answer(sender, request);
        case MessageType::ping:
            return ping(sender, request);
        case MessageType::lookup:
            return lookup(sender, request);
        case MessageType::invoke:
            return invoke(sender, request);
        case MessageType::add_object:
            return add_object(sender, request);
        case MessageType::remove_object:
            return remove_object(sender, request);
        case MessageType::hello:
        case MessageType::subscribe:
        case MessageType::unsubscribe:
        case MessageType::notify:
        case MessageType::monitor:
            break;
    }
    throw Refusal{Status::invalid_command};
}

void Broker::add_object(const Sender& sender, const Frame& request) {
    const MessageAttributes attributes{request.payload};
    const std::optional<std::string> signature = copy_of(attributes.nested(AttributeId::signature));
    const Object object =
        registry.add(sender.id, {attributes.text(AttributeId::object_path),
                                 attributes.number(AttributeId::object_type), signature});
    AttributeWriter answer;
    answer.number(AttributeId::object_id, object.id);
    if (signature) {
        answer.number(AttributeId::object_type, object.type.value());
    }
    answer_data(sender, request, answer.take());
    answer_status(sender, request, Status::ok);
    announce("ubus.object.add", object);
}

void Broker::remove_object(const Sender& sender, const Frame& request) {
    const MessageAttributes attributes{request.payload};
    const RemovedObject removed =
        registry.remove(sender.id, required(attributes.number(AttributeId::object_id)));
    listeners.erase(removed.object.id);
    AttributeWriter answer;
    answer.number(AttributeId::object_id, removed.object.id);
    if (removed.released_type) {
        answer.number(AttributeId::object_type, *removed.released_type);
    }
    answer_data(sender, request, answer.take());
    answer_status(sender, request, Status::ok);
    announce("ubus.object.remove", removed.object);
}

void Broker::lookup(const Sender& sender, const Frame& request) {
    const MessageAttributes attributes{request.payload};
    for (const ListedObject& object : registry.lookup(attributes.text(AttributeId::object_path))) {
        answer_data(sender, request,
                    AttributeWriter{}
                        .text(AttributeId::object_path, object.name)
                        .number(AttributeId::object_id, object.id)
                        .number(AttributeId::object_type, object.type)
                        .nested(AttributeId::signature, object.signature)
                        .take());
    }
    answer_status(sender, request, Status::ok);
}

void Broker::ping(const Sender& sender, const Frame& request) {
    answer_data(sender, request, request.payload);
    answer_status(sender, request, Status::ok);
}

void Broker::invoke(const Sender& sender, const Frame& request) {
    const MessageAttributes attributes{request.payload};
    const ObjectId id = required(attributes.number(AttributeId::object_id));
    const std::string method = required(attributes.text(AttributeId::method));
    if (id == event_object) {
        if (method != "register") {
            throw Refusal{Status::method_not_found};
        }
        return listen(sender, request, attributes);
    }
    const Object* const object = registry.find(id);
    if (object == nullptr) {
        throw Refusal{Status::not_found};
    }
    AttributeWriter call;
    call.number(AttributeId::object_id, id).text(AttributeId::method, method);
    if (attributes.flag(AttributeId::no_reply)) {
        call.flag(AttributeId::no_reply, true);
    }
    call.text(AttributeId::user, sender.user).text(AttributeId::group, sender.group);
    if (const std::optional<std::string_view> data = attributes.nested(AttributeId::data)) {
        call.nested(AttributeId::data, *data);
    }
    deliver(object->owner, {MessageType::invoke, request.sequence, sender.id, call.take()});
}

void Broker::listen(const Sender& sender, const Frame& request, const MessageAttributes& call) {
    const auto [id, pattern] = registration(required(call.nested(AttributeId::data)));
    const Object* const object = registry.find(id);
    if (object == nullptr) {
        throw Refusal{Status::not_found};
    }
    if (object->owner != sender.id) {
        throw Refusal{Status::permission_denied};
    }
    listeners.emplace(id, pattern);
    answer_status(sender, request, Status::ok);
}

void Broker::forward_answer(const Sender& sender, const Frame& answer) {
    const MessageAttributes attributes{answer.payload};
    const bool complete = answer.type == MessageType::data
                              ? attributes.nested(AttributeId::data).has_value()
                              : attributes.number(AttributeId::status).has_value();
    const std::optional<ObjectId> id = attributes.number(AttributeId::object_id);
    const Object* const object = id ? registry.find(*id) : nullptr;
    // An answer in somebody else's name is dropped without a word, as are all incomplete ones.
    if (complete && object != nullptr && object->owner == sender.id) {
        deliver(answer.peer, {answer.type, answer.sequence, object->id, answer.payload});
    }
}

void Broker::answer_data(const Sender& sender, const Frame& request, std::string payload) {
    deliver(sender.id, {MessageType::data, request.sequence, request.peer, std::move(payload)});
}

void Broker::answer_status(const Sender& sender, const Frame& request, Status status) {
    deliver(
        sender.id,
        {MessageType::status, request.sequence, request.peer,
         AttributeWriter{}.number(AttributeId::status, static_cast<std::uint32_t>(status)).take()});
}

void Broker::announce(const char* event, const Object& object) {
    if (!object.name) {
        return;
    }
    const std::string data =
        AttributeWriter{}.named_number("id", object.id).named_text("path", *object.name).take();
    for (const auto& [listener, pattern] : listeners) {
        if (!matches(pattern, event)) {
            continue;
        }
        deliver(registry.find(listener)->owner, {MessageType::invoke, ++event_sequence, 0,
                                                 AttributeWriter{}
                                                     .number(AttributeId::object_id, listener)
                                                     .text(AttributeId::method, event)
                                                     .nested(AttributeId::data, data)
                                                     .take()});
    }
}

}  // namespace zephran::ubusd
