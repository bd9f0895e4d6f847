// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Named and typed values in attributes. Like the header of the device this one has no C-linkage
/// guards: C++ includes it inside an extern "C" block.

#include "blob.h"

enum blobmsg_type {
    BLOBMSG_TYPE_UNSPEC,
    BLOBMSG_TYPE_ARRAY,
    BLOBMSG_TYPE_TABLE,
    BLOBMSG_TYPE_STRING,
    BLOBMSG_TYPE_INT64,
    BLOBMSG_TYPE_INT32,
    BLOBMSG_TYPE_INT16,
    BLOBMSG_TYPE_INT8,
    BLOBMSG_TYPE_DOUBLE,
    BLOBMSG_TYPE_LAST = BLOBMSG_TYPE_DOUBLE,
    BLOBMSG_TYPE_BOOL = BLOBMSG_TYPE_INT8
};

/// What the payload of an extended attribute starts with.
struct blobmsg_hdr {
    uint16_t namelen;
    uint8_t name[];
} __attribute__((packed));

struct blobmsg_policy {
    const char* name;
    enum blobmsg_type type;
};

/// Bytes in front of the value: length, name, NUL and padding.
static inline size_t blobmsg_hdrlen(size_t namelen) {
    return (sizeof(struct blobmsg_hdr) + namelen + 1 + BLOB_ATTR_ALIGN - 1) &
           ~(size_t)(BLOB_ATTR_ALIGN - 1);
}

/// Bytes that name and padding take of the payload; never more than the payload has.
static inline size_t blobmsg_name_part(const struct blob_attr* attr) {
    size_t part;
    if (!blob_is_extended(attr)) {
        return 0;
    }
    if (blob_len(attr) < sizeof(struct blobmsg_hdr)) {
        return blob_len(attr);
    }
    part = blobmsg_hdrlen(be16_to_cpu(((const struct blobmsg_hdr*)blob_data(attr))->namelen));
    return part < blob_len(attr) ? part : blob_len(attr);
}

/// Only for attributes that blobmsg_check_attr() accepts and that are extended.
static inline const char* blobmsg_name(const struct blob_attr* attr) {
    return (const char*)blob_data(attr) + sizeof(struct blobmsg_hdr);
}

static inline int blobmsg_type(const struct blob_attr* attr) {
    return (int)blob_id(attr);
}

/// The value; for an attribute without a name its whole payload.
static inline void* blobmsg_data(const struct blob_attr* attr) {
    return (char*)blob_data(attr) + blobmsg_name_part(attr);
}

static inline size_t blobmsg_data_len(const struct blob_attr* attr) {
    return blob_len(attr) - blobmsg_name_part(attr);
}

/// Whether name and value have the shape their lengths and type demand; with name, an empty one is
/// refused. The elements of arrays and tables are not looked at.
bool blobmsg_check_attr(const struct blob_attr* attr, bool name);

/// Each appends a value to the innermost attribute open: 0, or -1 without room for it.
int blobmsg_add_field(struct blob_buf* buf, int type, const char* name, const void* data,
                      unsigned int len);
/// Opens an array or a table; the cookie is for blob_nest_end().
void* blobmsg_open_nested(struct blob_buf* buf, const char* name, bool array);

static inline void* blobmsg_open_table(struct blob_buf* buf, const char* name) {
    return blobmsg_open_nested(buf, name, false);
}

static inline void blobmsg_close_table(struct blob_buf* buf, void* cookie) {
    blob_nest_end(buf, cookie);
}

static inline int blobmsg_add_u8(struct blob_buf* buf, const char* name, uint8_t value) {
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT8, name, &value, sizeof(value));
}

static inline int blobmsg_add_u32(struct blob_buf* buf, const char* name, uint32_t value) {
    const uint32_t bytes = cpu_to_be32(value);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT32, name, &bytes, sizeof(bytes));
}

static inline int blobmsg_add_u64(struct blob_buf* buf, const char* name, uint64_t value) {
    const uint64_t bytes = cpu_to_be64(value);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_INT64, name, &bytes, sizeof(bytes));
}

static inline int blobmsg_add_double(struct blob_buf* buf, const char* name, double value) {
    uint64_t bytes;
    memcpy(&bytes, &value, sizeof(bytes));
    bytes = cpu_to_be64(bytes);
    return blobmsg_add_field(buf, BLOBMSG_TYPE_DOUBLE, name, &bytes, sizeof(bytes));
}

static inline int blobmsg_add_string(struct blob_buf* buf, const char* name, const char* text) {
    return blobmsg_add_field(buf, BLOBMSG_TYPE_STRING, name, text, (unsigned int)strlen(text) + 1);
}

/// The values of attributes that were found valid and of the type.
static inline uint8_t blobmsg_get_u8(const struct blob_attr* attr) {
    return *(const uint8_t*)blobmsg_data(attr);
}

static inline bool blobmsg_get_bool(const struct blob_attr* attr) {
    return blobmsg_get_u8(attr) != 0;
}

static inline uint16_t blobmsg_get_u16(const struct blob_attr* attr) {
    uint16_t bytes;
    memcpy(&bytes, blobmsg_data(attr), sizeof(bytes));
    return be16_to_cpu(bytes);
}

static inline uint32_t blobmsg_get_u32(const struct blob_attr* attr) {
    uint32_t bytes;
    memcpy(&bytes, blobmsg_data(attr), sizeof(bytes));
    return be32_to_cpu(bytes);
}

static inline uint64_t blobmsg_get_u64(const struct blob_attr* attr) {
    uint64_t bytes;
    memcpy(&bytes, blobmsg_data(attr), sizeof(bytes));
    return be64_to_cpu(bytes);
}

static inline double blobmsg_get_double(const struct blob_attr* attr) {
    const uint64_t bytes = blobmsg_get_u64(attr);
    double value;
    memcpy(&value, &bytes, sizeof(value));
    return value;
}

/// Walks over the values inside attr (may be NULL) and stops at the first broken one.
#define blobmsg_for_each_attr(pos, attr, rem)                            \
    for ((rem) = (__typeof__(rem))((attr) ? blobmsg_data_len(attr) : 0), \
        (pos) = (struct blob_attr*)((attr) ? blobmsg_data(attr) : NULL); \
         blob_fits(pos, (size_t)(rem));                                  \
         (rem) = (__typeof__(rem))((size_t)(rem)-blob_pad_len(pos)), (pos) = blob_next(pos))
