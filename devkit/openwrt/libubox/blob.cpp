// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "attribute.h"

namespace zephran::ubox_standin {

namespace {

bool is_string(const void* ptr, std::size_t length) {
    return length > 0 && static_cast<const char*>(ptr)[length - 1] == '\0';
}

bool accepts(const blob_attr_info& info, const blob_attr& attr) {
    return blob_check_type(blob_data(&attr), static_cast<unsigned>(blob_len(&attr)),
                           static_cast<int>(info.type));
}

}  // namespace

extern "C" {

blob_attr* blob_put(blob_buf* buf, int id, const void* ptr, unsigned len) {
    blob_attr* const attr =
        place(*buf, (static_cast<unsigned>(id) << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK, len);
    if (attr == nullptr) {
        return nullptr;
    }
    if (ptr != nullptr && len > 0) {
        std::memcpy(blob_data(attr), ptr, len);
    }
    count_in(*buf, *attr);
    return attr;
}

bool blob_check_type(const void* ptr, unsigned len, int type) {
    switch (type) {
        case BLOB_ATTR_STRING:
            return is_string(ptr, len);
        case BLOB_ATTR_INT8:
            return len == sizeof(std::uint8_t);
        case BLOB_ATTR_INT16:
            return len == sizeof(std::uint16_t);
        case BLOB_ATTR_INT32:
            return len == sizeof(std::uint32_t);
        case BLOB_ATTR_INT64:
        case BLOB_ATTR_DOUBLE:
            return len == sizeof(std::uint64_t);
        default:
            return true;
    }
}

int blob_parse(blob_attr* attr, blob_attr** data, const blob_attr_info* info, int max) {
    std::fill_n(data, max, nullptr);
    int accepted = 0;
    blob_attr* position = nullptr;
    std::size_t rest = 0;
    blob_for_each_attr(position, attr, rest) {
        const auto id = static_cast<int>(blob_id(position));
        if (id < max && (info == nullptr || accepts(info[id], *position))) {
            data[id] = position;
            ++accepted;
        }
    }
    return accepted;
}

}  // extern "C"

}  // namespace zephran::ubox_standin
