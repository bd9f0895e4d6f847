// SPDX-License-Identifier: Apache-2.0
#include "ubus/blob_buffer.h"

#include <utility>

#include "common/json.h"
#include "ubus/exceptions.h"

namespace zephran::ubox {

void reset_buffer(blob_buf* buffer) {
    *buffer = blob_buf{};
    blob_buf_init(buffer, 0);
}

BlobBuffer::BlobBuffer() {
    reset_buffer(&buffer);
}

BlobBuffer::BlobBuffer(BlobBuffer&& other) noexcept : buffer{other.buffer} {
    reset_buffer(&other.buffer);
}

BlobBuffer& BlobBuffer::operator=(BlobBuffer&& other) noexcept {
    std::swap(buffer, other.buffer);
    return *this;
}

BlobBuffer::~BlobBuffer() {
    blob_buf_free(&buffer);
}

void BlobBuffer::add_json(const std::string& text) {
    if (!blobmsg_add_json_from_string(&buffer, text.c_str())) {
        ZEPHRAN_THROW(NotAnObjectException{} << json_text_tag{text});
    }
}

void BlobBuffer::add_json(const Json::Value& value) {
    add_json(common::JSONDefaultWriter{}(value));
}

}  // namespace zephran::ubox
