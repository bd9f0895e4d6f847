// SPDX-License-Identifier: Apache-2.0
#include "scratch.h"

namespace zephran::ubus_standin {

namespace {

blob_buf message_buffer{};
std::array<blob_attr*, UBUS_ATTR_MAX> attribute_table{};

constexpr std::array<blob_attr_info, UBUS_ATTR_MAX> attribute_types{{
    {BLOB_ATTR_UNSPEC},  // UBUS_ATTR_UNSPEC
    {BLOB_ATTR_INT32},   // UBUS_ATTR_STATUS
    {BLOB_ATTR_STRING},  // UBUS_ATTR_OBJPATH
    {BLOB_ATTR_INT32},   // UBUS_ATTR_OBJID
    {BLOB_ATTR_STRING},  // UBUS_ATTR_METHOD
    {BLOB_ATTR_INT32},   // UBUS_ATTR_OBJTYPE
    {BLOB_ATTR_NESTED},  // UBUS_ATTR_SIGNATURE
    {BLOB_ATTR_NESTED},  // UBUS_ATTR_DATA
    {BLOB_ATTR_INT32},   // UBUS_ATTR_TARGET
    {BLOB_ATTR_INT8},    // UBUS_ATTR_ACTIVE
    {BLOB_ATTR_INT8},    // UBUS_ATTR_NO_REPLY
    {BLOB_ATTR_NESTED},  // UBUS_ATTR_SUBSCRIBERS
    {BLOB_ATTR_STRING},  // UBUS_ATTR_USER
    {BLOB_ATTR_STRING},  // UBUS_ATTR_GROUP
}};

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
