// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <json/json.h>

#include "ubus/libraries.h"

namespace zephran::ubox {

/// Zeroes the structure and starts an empty message in it.
void reset_buffer(blob_buf* buffer);

/// Owns a message that is being built.
class BlobBuffer {
public:
    BlobBuffer();
    BlobBuffer(const BlobBuffer&) = delete;
    BlobBuffer& operator=(const BlobBuffer&) = delete;
    /// Leaves the other one empty, but usable.
    BlobBuffer(BlobBuffer&& other) noexcept;
    BlobBuffer& operator=(BlobBuffer&& other) noexcept;
    virtual ~BlobBuffer();

    /// Adds the members of a JSON object, in the order of the text.
    ///
    /// @throws NotAnObjectException with json_text_tag for anything but an object
    void add_json(const std::string& text);
    /// @throws NotAnObjectException as above
    void add_json(const Json::Value& value);

    [[nodiscard]] blob_buf* get() { return &buffer; }
    /// The message as one attribute.
    [[nodiscard]] blob_attr* get_head() { return buffer.head; }

private:
    blob_buf buffer;
};

}  // namespace zephran::ubox
