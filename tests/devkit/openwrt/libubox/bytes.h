// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

extern "C" {
#include <libubox/blobmsg.h>
}

namespace zephran::ubox_standin {

/// Bytes written as hexadecimal digits; blanks may part them.
inline std::vector<char> bytes(std::string_view digits) {
    std::string packed;
    for (const char digit : digits) {
        if (digit != ' ') {
            packed += digit;
        }
    }
    std::vector<char> result;
    for (std::size_t i = 0; i + 1 < packed.size(); i += 2) {
        result.push_back(static_cast<char>(std::stoi(packed.substr(i, 2), nullptr, 16)));
    }
    return result;
}

/// The reverse of bytes(), grouped in words.
inline std::string hex(const void* start, std::size_t length) {
    constexpr std::string_view digits{"0123456789abcdef"};
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        const unsigned byte = static_cast<const unsigned char*>(start)[i];
        if (i > 0 && i % 4 == 0) {
            text += ' ';
        }
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

/// An attribute with its padding.
inline std::string hex(const blob_attr* attr) {
    return hex(attr, blob_pad_len(attr));
}

/// What lies inside an attribute.
inline std::string content_hex(const blob_attr* attr) {
    return hex(blob_data(attr), blob_len(attr));
}

/// Received bytes, in memory of exactly their size so that reading past their end is noticed.
class Received {
public:
    explicit Received(std::string_view digits) : content{bytes(digits)} { content.shrink_to_fit(); }

    [[nodiscard]] blob_attr* attr() { return reinterpret_cast<blob_attr*>(content.data()); }
    [[nodiscard]] std::size_t size() const { return content.size(); }

private:
    std::vector<char> content;
};

/// A buffer with an empty attribute in it.
class Buffer {
public:
    explicit Buffer(int id = 0) { blob_buf_init(&buf, id); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    ~Buffer() { blob_buf_free(&buf); }

    [[nodiscard]] blob_buf* get() { return &buf; }
    [[nodiscard]] blob_attr* head() { return buf.head; }

private:
    blob_buf buf{};
};

}  // namespace zephran::ubox_standin
