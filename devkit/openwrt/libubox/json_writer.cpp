// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <string_view>

extern "C" {
#include <libubox/blobmsg_json.h>
}

namespace {

/// Messages from outside nest as deep as their length allows; the stack does not.
constexpr int deepest = 1000;

class JsonWriter {
public:
    void members(const blob_attr& container, bool array, int depth) {
        text += array ? '[' : '{';
        blob_attr* attr = nullptr;
        std::size_t rest = 0;
        bool first = true;
        blobmsg_for_each_attr(attr, &container, rest) {
            if (!first) {
                text += ',';
            }
            first = false;
            // Of a broken one the comma stays, as on the device: the text is no JSON then.
            if (!blobmsg_check_attr(attr, false)) {
                continue;
            }
            if (!array && blob_is_extended(attr) && *blobmsg_name(attr) != '\0') {
                string(blobmsg_name(attr));
                text += ':';
            }
            value(*attr, depth + 1);
        }
        text += array ? ']' : '}';
    }

    std::string text;

private:
    void value(const blob_attr& attr, int depth) {
        const int type = blobmsg_type(&attr);
        switch (type) {
            case BLOBMSG_TYPE_ARRAY:
            case BLOBMSG_TYPE_TABLE:
                nested(attr, type == BLOBMSG_TYPE_ARRAY, depth);
                break;
            case BLOBMSG_TYPE_STRING:
                string(static_cast<const char*>(blobmsg_data(&attr)));
                break;
            case BLOBMSG_TYPE_INT64:
                text += std::to_string(static_cast<std::int64_t>(blobmsg_get_u64(&attr)));
                break;
            case BLOBMSG_TYPE_INT32:
                text += std::to_string(static_cast<std::int32_t>(blobmsg_get_u32(&attr)));
                break;
            case BLOBMSG_TYPE_INT16:
                text += std::to_string(static_cast<std::int16_t>(blobmsg_get_u16(&attr)));
                break;
            case BLOBMSG_TYPE_INT8:
                text += blobmsg_get_bool(&attr) ? "true" : "false";
                break;
            case BLOBMSG_TYPE_DOUBLE:
                // Six decimals, and "nan" or "inf" for what is no number.
                text += std::to_string(blobmsg_get_double(&attr));
                break;
            default:
                text += "null";
        }
    }

    void nested(const blob_attr& attr, bool array, int depth) {
        if (depth > deepest) {
            text += "null";
        } else {
            members(attr, array, depth);
        }
    }

    void string(std::string_view content) {
        text += '"';
        for (const char byte : content) {
            character(byte);
        }
        text += '"';
    }

    void character(char byte) {
        constexpr std::string_view named{"\b\n\t\r\"\\"};
        constexpr std::string_view names{"bntr\"\\"};
        if (const auto found = named.find(byte); found != std::string_view::npos) {
            text += '\\';
            text += names[found];
        } else if (static_cast<unsigned char>(byte) < 0x20) {
            constexpr std::string_view digits{"0123456789abcdef"};
            text += "\\u00";
            text += digits[static_cast<unsigned char>(byte) / 16];
            text += digits[static_cast<unsigned char>(byte) % 16];
        } else {
            text += byte;
        }
    }
};

bool is_array(const blob_attr& attr) {
    return blob_is_extended(&attr) && blobmsg_type(&attr) == BLOBMSG_TYPE_ARRAY;
}

}  // namespace

extern "C" char* blobmsg_format_json_with_cb(blob_attr* attr, bool list, blobmsg_json_format_t cb,
                                             void* /*priv*/, int indent) {
    if (!list || cb != nullptr || indent >= 0) {
        return nullptr;
    }
    try {
        JsonWriter writer;
        writer.members(*attr, is_array(*attr), 0);
        return strdup(writer.text.c_str());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
