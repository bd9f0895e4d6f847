// SPDX-License-Identifier: Apache-2.0
#include "attribute.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace zephran::ubox_standin {

namespace {

constexpr std::size_t growth_step = 256;

std::size_t aligned(std::size_t length) {
    return (length + BLOB_ATTR_ALIGN - 1) & ~static_cast<std::size_t>(BLOB_ATTR_ALIGN - 1);
}

std::size_t offset_of(const blob_buf& buf, const void* position) {
    return static_cast<std::size_t>(static_cast<const char*>(position) -
                                    static_cast<const char*>(buf.buf));
}

blob_attr* attribute_at(const blob_buf& buf, std::size_t offset) {
    return reinterpret_cast<blob_attr*>(static_cast<char*>(buf.buf) + offset);
}

bool make_room(blob_buf& buf, std::size_t end) {
    const auto size = static_cast<std::size_t>(buf.buflen);
    if (end <= size) {
        return true;
    }
    if (end > BLOB_ATTR_LEN_MASK || buf.grow == nullptr) {
        return false;
    }
    const std::size_t head = offset_of(buf, buf.head);
    if (!buf.grow(&buf, static_cast<int>(end - size))) {
        return false;
    }
    buf.head = attribute_at(buf, head);
    return true;
}

}  // namespace

blob_attr* place(blob_buf& buf, unsigned id_bits, std::size_t payload) {
    if (buf.head == nullptr || payload > BLOB_ATTR_LEN_MASK) {
        return nullptr;
    }
    const std::size_t start = offset_of(buf, buf.head) + blob_pad_len(buf.head);
    const std::size_t length = sizeof(blob_attr) + payload;
    if (!make_room(buf, start + aligned(length))) {
        return nullptr;
    }
    blob_attr* const attr = attribute_at(buf, start);
    std::memset(static_cast<void*>(attr), 0, aligned(length));
    attr->id_len = be32_to_cpu(id_bits);
    set_raw_len(*attr, length);
    return attr;
}

void count_in(blob_buf& buf, const blob_attr& placed) {
    set_raw_len(*buf.head, blob_pad_len(buf.head) + blob_pad_len(&placed));
}

void* open(blob_buf& buf, blob_attr& placed) {
    // One more than the offset of the enclosing attribute, so that the outermost has a cookie too.
    const std::uintptr_t cookie = offset_of(buf, buf.head) + 1;
    buf.head = &placed;
    return reinterpret_cast<void*>(cookie);  // NOLINT(performance-no-int-to-ptr) never followed
}

void set_raw_len(blob_attr& attr, std::size_t length) {
    const std::uint32_t kept = be32_to_cpu(attr.id_len) & ~BLOB_ATTR_LEN_MASK;
    attr.id_len = cpu_to_be32(kept | static_cast<std::uint32_t>(length));
}

extern "C" {

bool blob_buf_grow(blob_buf* buf, int required) {
    const std::size_t wanted =
        static_cast<std::size_t>(buf->buflen) + static_cast<std::size_t>(required);
    if (required < 0 || wanted > BLOB_ATTR_LEN_MASK) {
        return false;
    }
    const std::size_t size = (wanted + growth_step - 1) / growth_step * growth_step;
    void* const bytes = std::realloc(buf->buf, size);
    if (bytes == nullptr) {
        return false;
    }
    buf->buf = bytes;
    buf->buflen = static_cast<int>(size);
    return true;
}

int blob_buf_init(blob_buf* buf, int id) {
    if (buf->grow == nullptr) {
        buf->grow = blob_buf_grow;
    }
    if (buf->buflen < static_cast<int>(sizeof(blob_attr)) &&
        !buf->grow(buf, static_cast<int>(sizeof(blob_attr)))) {
        buf->head = nullptr;
        return -ENOMEM;
    }
    buf->head = attribute_at(*buf, 0);
    buf->head->id_len =
        cpu_to_be32((static_cast<unsigned>(id) << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK);
    set_raw_len(*buf->head, sizeof(blob_attr));
    return 0;
}

void blob_buf_free(blob_buf* buf) {
    std::free(buf->buf);
    buf->buf = nullptr;
    buf->head = nullptr;
    buf->buflen = 0;
}

void* blob_nest_start(blob_buf* buf, int id) {
    blob_attr* const attr =
        place(*buf, (static_cast<unsigned>(id) << BLOB_ATTR_ID_SHIFT) & BLOB_ATTR_ID_MASK, 0);
    return attr == nullptr ? nullptr : open(*buf, *attr);
}

void blob_nest_end(blob_buf* buf, void* cookie) {
    if (cookie == nullptr) {
        return;
    }
    const blob_attr& closed = *buf->head;
    buf->head = attribute_at(*buf, reinterpret_cast<std::uintptr_t>(cookie) - 1);
    count_in(*buf, closed);
}

}  // extern "C"

}  // namespace zephran::ubox_standin
