#include "attribute.h"

#include <algorithm>

#include "byte_order.h"

namespace zephran::ubusd {

namespace {

constexpr std::size_t word_size = 4;
constexpr std::size_t name_length_size = 2;
constexpr std::uint32_t extended_flag = 0x80000000U;
constexpr std::uint32_t length_mask = 0x00ffffffU;
constexpr std::uint32_t id_mask = 0x7fU;

}  // namespace

AttributeList split_attributes(std::string_view bytes) {
    AttributeList list{{}, true};
    while (!bytes.empty()) {
        const std::uint32_t word = bytes.size() < word_size ? 0 : read_number(bytes, 0, word_size);
        const std::size_t length = word & length_mask;
        if (length < word_size || length > bytes.size()) {
            list.complete = false;
            return list;
        }
        list.attributes.push_back({static_cast<std::uint8_t>((word >> 24U) & id_mask),
                                   (word & extended_flag) != 0,
                                   bytes.substr(word_size, length - word_size)});
        bytes.remove_prefix(std::min(padded(length), bytes.size()));
    }
    return list;
}

std::optional<NamedValue> decode_named(const Attribute& attribute) {
    const std::string_view payload = attribute.payload;
    if (!attribute.extended || payload.size() < name_length_size) {
        return std::nullopt;
    }
    const std::size_t length = read_number(payload, 0, name_length_size);
    // The last name of a list may lack the padding behind its NUL.
    if (name_length_size + length + 1 > payload.size() ||
        payload[name_length_size + length] != '\0') {
        return std::nullopt;
    }
    const std::size_t value = std::min(padded(name_length_size + length + 1), payload.size());
    return NamedValue{static_cast<ValueType>(attribute.id),
                      std::string{payload.substr(name_length_size, length)}, payload.substr(value)};
}

std::optional<std::string> decode_text(std::string_view payload) {
    if (payload.empty() || payload.back() != '\0') {
        return std::nullopt;
    }
    return std::string{payload.substr(0, payload.find('\0'))};
}

MessageAttributes::MessageAttributes(std::string_view payload) : list{split_attributes(payload)} {}

template <class Decode>
auto MessageAttributes::last(AttributeId id, Decode decode) const {
    decltype(decode(std::string_view{})) result;
    for (const Attribute& attribute : list.attributes) {
        if (attribute.extended || attribute.id != static_cast<std::uint8_t>(id)) {
            continue;
        }
        if (auto value = decode(attribute.payload)) {
            result = std::move(value);
        }
    }
    return result;
}

std::optional<std::uint32_t> MessageAttributes::number(AttributeId id) const {
    return last(id, [](std::string_view payload) {
        constexpr std::size_t size = 4;
        return payload.size() == size ? std::make_optional(read_number(payload, 0, size))
                                      : std::nullopt;
    });
}

std::optional<std::string> MessageAttributes::text(AttributeId id) const {
    return last(id, decode_text);
}

std::optional<std::string_view> MessageAttributes::nested(AttributeId id) const {
    return last(id, [](std::string_view payload) { return std::make_optional(payload); });
}

bool MessageAttributes::flag(AttributeId id) const {
    const std::optional<bool> value = last(id, [](std::string_view payload) {
        return payload.size() == 1 ? std::make_optional(payload.front() != '\0') : std::nullopt;
    });
    return value.value_or(false);
}

}  // namespace zephran::ubusd
