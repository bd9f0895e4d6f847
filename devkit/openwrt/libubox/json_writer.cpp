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
    JsonWriter(blobmsg_json_format_t callback, void* callback_data, bool is_indented)
        : format{callback}, format_data{callback_data}, indented{is_indented} {}

    void members(const blob_attr& container, bool array, int depth) {
        text += array ? '[' : '{';
        new_line(depth + 1);
        blob_attr* attr = nullptr;
        std::size_t rest = 0;
        bool first = true;
        blobmsg_for_each_attr(attr, &container, rest) {
            if (!blobmsg_check_attr(attr, false)) {
                continue;
            }
            if (!first) {
                text += ',';
                new_line(depth + 1);
            }
            first = false;
            member(*attr, array, depth + 1);
        }
        new_line(depth);
        text += array ? ']' : '}';
    }

    void member(blob_attr& attr, bool in_array, int depth) {
        if (!in_array && *blobmsg_name(&attr) != '\0') {
            string(blobmsg_name(&attr));
            text += indented ? ": " : ":";
        }
        const char* const given = format == nullptr ? nullptr : format(format_data, &attr);
        if (given != nullptr) {
            text += given;
        } else {
            value(attr, depth);
        }
    }

    std::string text;

private:
    void new_line(int depth) {
        if (indented) {
            text += '\n';
            text.append(static_cast<std::size_t>(depth), '\t');
        }
    }

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

    blobmsg_json_format_t format;
    void* format_data;
    bool indented;
};

bool is_array(const blob_attr& attr) {
    return blob_is_extended(&attr) && blobmsg_type(&attr) == BLOBMSG_TYPE_ARRAY;
}

}  // namespace

extern "C" char* blobmsg_format_json_with_cb(blob_attr* attr, bool list, blobmsg_json_format_t cb,
                                             void* priv, int indent) {
    try {
        JsonWriter writer{cb, priv, indent >= 0};
        if (list) {
            writer.members(*attr, is_array(*attr), indent < 0 ? 0 : indent);
        } else if (blobmsg_check_attr(attr, false)) {
            writer.member(*attr, false, indent < 0 ? 0 : indent);
        }
        return strdup(writer.text.c_str());
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
