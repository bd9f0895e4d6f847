#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "protocol.h"

namespace zephran::ubusd {

/// One element of a list: a four-byte word with flag, id and length, then the payload.
struct Attribute {
    std::uint8_t id;
    /// The payload starts with a name.
    bool extended;
    /// Without padding; refers to the bytes that were split.
    std::string_view payload;
};

struct AttributeList {
    std::vector<Attribute> attributes;
    /// Nothing is left behind the last attribute, and none ran past the end.
    bool complete;
};

/// Splits a list; stops at the first attribute that cannot be one.
AttributeList split_attributes(std::string_view bytes);

struct NamedValue {
    ValueType type;
    std::string name;
    /// Refers to the bytes of the attribute.
    std::string_view value;
};

/// @return nothing when the attribute has no name, or one that does not fit into it.
std::optional<NamedValue> decode_named(const Attribute& attribute);

/// Text up to its first NUL.
/// @return nothing unless the last byte is NUL.
std::optional<std::string> decode_text(std::string_view payload);

/// The attributes of one frame by number.
///
/// As on a device, what has the wrong size or shape counts as absent, unknown numbers do not
/// matter, and of two attributes with the same number the last valid one holds.
class MessageAttributes {
public:
    /// @param payload of a frame; must outlive this object.
    explicit MessageAttributes(std::string_view payload);

    [[nodiscard]] std::optional<std::uint32_t> number(AttributeId id) const;
    [[nodiscard]] std::optional<std::string> text(AttributeId id) const;
    [[nodiscard]] std::optional<std::string_view> nested(AttributeId id) const;
    /// An absent flag is not set.
    [[nodiscard]] bool flag(AttributeId id) const;

private:
    template <class Decode>
    auto last(AttributeId id, Decode decode) const;

    AttributeList list;
};

}  // namespace zephran::ubusd
