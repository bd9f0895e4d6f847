// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Length-prefixed attributes as they travel on the message bus. Like the header of the device this
/// one has no C-linkage guards: C++ includes it inside an extern "C" block.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "utils.h"

enum {
    BLOB_ATTR_UNSPEC,
    BLOB_ATTR_NESTED,
    BLOB_ATTR_BINARY,
    BLOB_ATTR_STRING,
    BLOB_ATTR_INT8,
    BLOB_ATTR_INT16,
    BLOB_ATTR_INT32,
    BLOB_ATTR_INT64,
    BLOB_ATTR_DOUBLE,
    BLOB_ATTR_LAST
};

#define BLOB_ATTR_EXTENDED 0x80000000U
#define BLOB_ATTR_ID_MASK 0x7f000000U
#define BLOB_ATTR_ID_SHIFT 24
#define BLOB_ATTR_LEN_MASK 0x00ffffffU
#define BLOB_ATTR_ALIGN 4U

/// The word in network order, then the payload. Packed, because a received one may lie anywhere.
struct blob_attr {
    uint32_t id_len;
    char data[];
} __attribute__((packed));

/// What blob_parse() accepts under one id.
struct blob_attr_info {
    unsigned int type;
};

/// An attribute under construction; zeroed before its first use. head is the innermost one open.
struct blob_buf {
    struct blob_attr* head;
    bool (*grow)(struct blob_buf* buf, int minlen);
    int buflen;
    void* buf;
};

static inline void* blob_data(const struct blob_attr* attr) {
    return (char*)attr + sizeof(struct blob_attr);
}

static inline unsigned int blob_id(const struct blob_attr* attr) {
    return (be32_to_cpu(attr->id_len) & BLOB_ATTR_ID_MASK) >> BLOB_ATTR_ID_SHIFT;
}

static inline bool blob_is_extended(const struct blob_attr* attr) {
    return (be32_to_cpu(attr->id_len) & BLOB_ATTR_EXTENDED) != 0;
}

/// Bytes of the word and the payload, without padding. Below 4 in a broken attribute.
static inline size_t blob_raw_len(const struct blob_attr* attr) {
    return be32_to_cpu(attr->id_len) & BLOB_ATTR_LEN_MASK;
}

/// Bytes of the payload; none in a broken attribute.
static inline size_t blob_len(const struct blob_attr* attr) {
    const size_t raw = blob_raw_len(attr);
    return raw < sizeof(struct blob_attr) ? 0 : raw - sizeof(struct blob_attr);
}

static inline size_t blob_pad_len(const struct blob_attr* attr) {
    return (blob_raw_len(attr) + BLOB_ATTR_ALIGN - 1) & ~(size_t)(BLOB_ATTR_ALIGN - 1);
}

static inline struct blob_attr* blob_next(const struct blob_attr* attr) {
    return (struct blob_attr*)((char*)attr + blob_pad_len(attr));
}

/// Whether a whole attribute with its padding lies in the given bytes.
static inline bool blob_fits(const struct blob_attr* attr, size_t rest) {
    return rest >= sizeof(struct blob_attr) && blob_raw_len(attr) >= sizeof(struct blob_attr) &&
           blob_pad_len(attr) <= rest;
}

static inline uint8_t blob_get_u8(const struct blob_attr* attr) {
    return *(const uint8_t*)blob_data(attr);
}

static inline uint32_t blob_get_u32(const struct blob_attr* attr) {
    uint32_t value;
    memcpy(&value, blob_data(attr), sizeof(value));
    return be32_to_cpu(value);
}

static inline const char* blob_get_string(const struct blob_attr* attr) {
    return (const char*)blob_data(attr);
}

/// Starts an empty attribute, reusing the storage: 0 or -ENOMEM.
int blob_buf_init(struct blob_buf* buf, int id);
void blob_buf_free(struct blob_buf* buf);
/// Makes room for further bytes; false when memory or the 24 bits of a length do not suffice.
bool blob_buf_grow(struct blob_buf* buf, int required);

/// Appends a whole attribute to the innermost one open; NULL when there is no room.
struct blob_attr* blob_put(struct blob_buf* buf, int id, const void* ptr, unsigned int len);

/// Opens an attribute within the innermost one open. The cookie survives growing; NULL on failure.
void* blob_nest_start(struct blob_buf* buf, int id);
void blob_nest_end(struct blob_buf* buf, void* cookie);

/// Whether the bytes are a value of the type (BLOB_ATTR_…); anything is when the type is unknown.
bool blob_check_type(const void* ptr, unsigned int len, int type);
/// Finds attributes by id: data[id] is NULL for those absent or not as info demands, the last of
/// several otherwise. Unknown ids are passed over. Returns how many it accepted.
int blob_parse(struct blob_attr* attr, struct blob_attr** data, const struct blob_attr_info* info,
               int max);

static inline struct blob_attr* blob_put_u32(struct blob_buf* buf, int id, uint32_t value) {
    const uint32_t bytes = cpu_to_be32(value);
    return blob_put(buf, id, &bytes, sizeof(bytes));
}

static inline struct blob_attr* blob_put_string(struct blob_buf* buf, int id, const char* text) {
    return blob_put(buf, id, text, (unsigned int)strlen(text) + 1);
}

/// Walks over the attributes inside attr (may be NULL) and stops at the first broken one.
#define blob_for_each_attr(pos, attr, rem)                            \
    for ((rem) = (__typeof__(rem))((attr) ? blob_len(attr) : 0),      \
        (pos) = (struct blob_attr*)((attr) ? blob_data(attr) : NULL); \
         blob_fits(pos, (size_t)(rem));                               \
         (rem) = (__typeof__(rem))((size_t)(rem)-blob_pad_len(pos)), (pos) = blob_next(pos))
