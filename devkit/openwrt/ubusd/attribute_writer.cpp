#include "attribute_writer.h"

#include <utility>

#include "byte_order.h"

namespace zephran::ubusd {

namespace {

constexpr std::size_t word_size = 4;
constexpr std::uint32_t extended_flag = 0x80U;

std::string number_bytes(std::uint32_t value) {
    std::string bytes;
    append_number(bytes, value, sizeof value);
    return bytes;
}

std::string text_bytes(std::string_view value) {
    std::string bytes{value};
    bytes.push_back('\0');
    return bytes;
}

}  // namespace

AttributeWriter& AttributeWriter::number(AttributeId id, std::uint32_t value) {
    append(static_cast<std::uint32_t>(id), number_bytes(value));
    return *this;
}

AttributeWriter& AttributeWriter::text(AttributeId id, std::string_view value) {
    append(static_cast<std::uint32_t>(id), text_bytes(value));
    return *this;
}

AttributeWriter& AttributeWriter::flag(AttributeId id, bool value) {
    append(static_cast<std::uint32_t>(id), std::string(1, value ? '\1' : '\0'));
    return *this;
}

AttributeWriter& AttributeWriter::nested(AttributeId id, std::string_view list) {
    append(static_cast<std::uint32_t>(id), list);
    return *this;
}

AttributeWriter& AttributeWriter::named_number(std::string_view name, std::uint32_t value) {
    append_named(ValueType::int32, name, number_bytes(value));
    return *this;
}

AttributeWriter& AttributeWriter::named_text(std::string_view name, std::string_view value) {
    append_named(ValueType::string, name, text_bytes(value));
    return *this;
}

AttributeWriter& AttributeWriter::named_table(std::string_view name, std::string_view list) {
    append_named(ValueType::table, name, list);
    return *this;
}

std::string AttributeWriter::take() {
    return std::exchange(bytes, {});
}

void AttributeWriter::append(std::uint32_t flag_and_id, std::string_view payload) {
    append_number(bytes, flag_and_id, 1);
    append_number(bytes, static_cast<std::uint32_t>(word_size + payload.size()), word_size - 1);
    bytes += payload;
    bytes.resize(padded(bytes.size()), '\0');
}

void AttributeWriter::append_named(ValueType type, std::string_view name, std::string_view value) {
    std::string payload;
    append_number(payload, static_cast<std::uint32_t>(name.size()), 2);
    payload += name;
    payload.push_back('\0');
    payload.resize(padded(payload.size()), '\0');
    payload += value;
    append(extended_flag | static_cast<std::uint32_t>(type), payload);
}

}  // namespace zephran::ubusd
