#include "scratch.h"

namespace zephran::ubus_standin {

namespace {

blob_buf message_buffer{};
std::array<blob_attr*, UBUS_ATTR_MAX> attribute_table{};

constexpr blob_attr_info of_type(unsigned type) {
    return {type, 0, 0, nullptr};
}

constexpr std::array<blob_attr_info, UBUS_ATTR_MAX> attribute_types{
    of_type(BLOB_ATTR_UNSPEC),  // UBUS_ATTR_UNSPEC
    of_type(BLOB_ATTR_INT32),   // UBUS_ATTR_STATUS
    of_type(BLOB_ATTR_STRING),  // UBUS_ATTR_OBJPATH
    of_type(BLOB_ATTR_INT32),   // UBUS_ATTR_OBJID
    of_type(BLOB_ATTR_STRING),  // UBUS_ATTR_METHOD
    of_type(BLOB_ATTR_INT32),   // UBUS_ATTR_OBJTYPE
    of_type(BLOB_ATTR_NESTED),  // UBUS_ATTR_SIGNATURE
    of_type(BLOB_ATTR_NESTED),  // UBUS_ATTR_DATA
    of_type(BLOB_ATTR_INT32),   // UBUS_ATTR_TARGET
    of_type(BLOB_ATTR_INT8),    // UBUS_ATTR_ACTIVE
    of_type(BLOB_ATTR_INT8),    // UBUS_ATTR_NO_REPLY
    of_type(BLOB_ATTR_NESTED),  // UBUS_ATTR_SUBSCRIBERS
    of_type(BLOB_ATTR_STRING),  // UBUS_ATTR_USER
    of_type(BLOB_ATTR_STRING),  // UBUS_ATTR_GROUP
};

}  // namespace

blob_buf& fresh_message() {
    blob_buf_init(&message_buffer, 0);
    return message_buffer;
}

void free_message_buffer() {
    blob_buf_free(&message_buffer);
}

const std::array<blob_attr*, UBUS_ATTR_MAX>& attributes_of(blob_attr& message) {
    blob_parse(&message, attribute_table.data(), attribute_types.data(), UBUS_ATTR_MAX);
    return attribute_table;
}

}  // namespace zephran::ubus_standin
