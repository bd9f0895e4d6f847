#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "protocol.h"

namespace zephran::ubusd {

/// Builds a list of attributes.
class AttributeWriter {
public:
    AttributeWriter& number(AttributeId id, std::uint32_t value);
    AttributeWriter& text(AttributeId id, std::string_view value);
    AttributeWriter& flag(AttributeId id, bool value);
    /// @param list attributes as they stand, for example what take() returned.
    AttributeWriter& nested(AttributeId id, std::string_view list);

    AttributeWriter& named_number(std::string_view name, std::uint32_t value);
    AttributeWriter& named_text(std::string_view name, std::string_view value);
    AttributeWriter& named_table(std::string_view name, std::string_view list);

    /// Leaves the writer empty.
    std::string take();

private:
    void append(std::uint32_t flag_and_id, std::string_view payload);
    void append_named(ValueType type, std::string_view name, std::string_view value);

    std::string bytes;
};

}  // namespace zephran::ubusd
