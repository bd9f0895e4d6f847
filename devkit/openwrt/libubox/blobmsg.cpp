// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "attribute.h"

extern "C" {
#include <libubox/blobmsg.h>
}

namespace zephran::ubox_standin {

namespace {

constexpr std::size_t longest_name = 0xffff;

unsigned named(int type) {
    return BLOB_ATTR_EXTENDED |
           ((static_cast<unsigned>(type) << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK);
}

/// Places an attribute that starts with the name and has so many bytes behind it for the value.
blob_attr* place_named(blob_buf& buf, int type, const char* name, std::size_t value) {
    const std::string_view text{name == nullptr ? "" : name};
    if (text.size() > longest_name) {
        return nullptr;
    }
    blob_attr* const attr = place(buf, named(type), blobmsg_hdrlen(text.size()) + value);
    if (attr != nullptr) {
        auto* const header = static_cast<blobmsg_hdr*>(blob_data(attr));
        header->namelen = cpu_to_be16(static_cast<std::uint16_t>(text.size()));
        std::copy(text.begin(), text.end(), static_cast<char*>(blob_data(attr)) + sizeof(*header));
    }
    return attr;
}

bool has_sound_name(const blob_attr& attr, bool name_needed) {
    if (!blob_is_extended(&attr)) {
        return !name_needed;
    }
    if (blob_len(&attr) < sizeof(blobmsg_hdr)) {
        return false;
    }
    const std::size_t length =
        be16_to_cpu(static_cast<const blobmsg_hdr*>(blob_data(&attr))->namelen);
    return blobmsg_hdrlen(length) <= blob_len(&attr) && blobmsg_name(&attr)[length] == '\0' &&
           (length > 0 || !name_needed);
}

int blob_type_of(int type) {
    switch (type) {
        case BLOBMSG_TYPE_STRING:
            return BLOB_ATTR_STRING;
        case BLOBMSG_TYPE_INT64:
            return BLOB_ATTR_INT64;
        case BLOBMSG_TYPE_INT32:
            return BLOB_ATTR_INT32;
        case BLOBMSG_TYPE_INT16:
            return BLOB_ATTR_INT16;
        case BLOBMSG_TYPE_INT8:
            return BLOB_ATTR_INT8;
        case BLOBMSG_TYPE_DOUBLE:
            return BLOB_ATTR_DOUBLE;
        default:
            return BLOB_ATTR_UNSPEC;
    }
}

}  // namespace

extern "C" {

bool blobmsg_check_attr(const blob_attr* attr, bool name) {
    return blob_raw_len(attr) >= sizeof(blob_attr) && has_sound_name(*attr, name) &&
           blobmsg_type(attr) <= BLOBMSG_TYPE_LAST &&
           blob_check_type(blobmsg_data(attr), static_cast<unsigned>(blobmsg_data_len(attr)),
                           blob_type_of(blobmsg_type(attr)));
}

int blobmsg_add_field(blob_buf* buf, int type, const char* name, const void* data, unsigned len) {
    blob_attr* const attr = place_named(*buf, type, name, len);
    if (attr == nullptr) {
        return -1;
    }
    if (data != nullptr && len > 0) {
        std::memcpy(blobmsg_data(attr), data, len);
    }
    count_in(*buf, *attr);
    return 0;
}

void* blobmsg_open_nested(blob_buf* buf, const char* name, bool array) {
    blob_attr* const attr =
        place_named(*buf, array ? BLOBMSG_TYPE_ARRAY : BLOBMSG_TYPE_TABLE, name, 0);
    return attr == nullptr ? nullptr : open(*buf, *attr);
}

}  // extern "C"

}  // namespace zephran::ubox_standin
