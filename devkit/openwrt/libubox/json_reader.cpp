// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <limits>
#include <memory>

#include <json-c/json.h>

extern "C" {
#include <libubox/blobmsg_json.h>
}

namespace {

struct Release {
    void operator()(json_object* object) const { json_object_put(object); }
};

bool add_value(blob_buf& buf, const char* name, json_object* value);

bool add_members(blob_buf& buf, json_object* object) {
    json_object_object_foreach(object, name, value) {
        if (!add_value(buf, name, value)) {
            return false;
        }
    }
    return true;
}

bool add_elements(blob_buf& buf, json_object* array) {
    const auto size = json_object_array_length(array);
    for (std::size_t i = 0; i < size; ++i) {
        if (!add_value(buf, nullptr, json_object_array_get_idx(array, i))) {
            return false;
        }
    }
    return true;
}

bool add_nested(blob_buf& buf, const char* name, json_object* value, bool array) {
    void* const cookie = blobmsg_open_nested(&buf, name, array);
    if (cookie == nullptr) {
        return false;
    }
    const bool added = array ? add_elements(buf, value) : add_members(buf, value);
    blob_nest_end(&buf, cookie);
    return added;
}

int add_integer(blob_buf& buf, const char* name, std::int64_t number) {
    using Small = std::numeric_limits<std::int32_t>;
    if (number >= Small::min() && number <= Small::max()) {
        return blobmsg_add_u32(&buf, name, static_cast<std::uint32_t>(number));
    }
    return blobmsg_add_u64(&buf, name, static_cast<std::uint64_t>(number));
}

bool add_value(blob_buf& buf, const char* name, json_object* value) {
    switch (json_object_get_type(value)) {
        case json_type_null:
            return blobmsg_add_field(&buf, BLOBMSG_TYPE_UNSPEC, name, nullptr, 0) == 0;
        case json_type_boolean:
            return blobmsg_add_u8(&buf, name, json_object_get_boolean(value) != 0 ? 1 : 0) == 0;
        case json_type_double:
            return blobmsg_add_double(&buf, name, json_object_get_double(value)) == 0;
        case json_type_int:
            return add_integer(buf, name, json_object_get_int64(value)) == 0;
        case json_type_string:
            return blobmsg_add_string(&buf, name, json_object_get_string(value)) == 0;
        case json_type_object:
            return add_nested(buf, name, value, false);
        case json_type_array:
            return add_nested(buf, name, value, true);
    }
    return false;
}

}  // namespace

extern "C" bool blobmsg_add_json_from_string(blob_buf* buf, const char* text) {
    const std::unique_ptr<json_object, Release> parsed{json_tokener_parse(text)};
    return json_object_is_type(parsed.get(), json_type_object) != 0 &&
           add_members(*buf, parsed.get());
}
