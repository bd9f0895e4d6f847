#pragma once

/// Values from and to JSON text. Like the header of the device this one has no C-linkage guards:
/// C++ includes it inside an extern "C" block.

#include "blobmsg.h"

/// May give the text for a value; NULL leaves the value to the library.
typedef const char* (*blobmsg_json_format_t)(void* priv, struct blob_attr* attr);

/// Appends the members of one JSON object. False, with nothing added, for any other text.
bool blobmsg_add_json_from_string(struct blob_buf* buf, const char* text);

/// A malloc'ed text, or NULL without memory. With list it is the content of attr as one object (an
/// array for an array), otherwise attr as a member. Below 0 indent means no blanks, else it is the
/// depth to start from. Names may be empty and numbers may be no numbers: then it is not JSON.
char* blobmsg_format_json_with_cb(struct blob_attr* attr, bool list, blobmsg_json_format_t cb,
                                  void* priv, int indent);

static inline char* blobmsg_format_json(struct blob_attr* attr, bool list) {
    return blobmsg_format_json_with_cb(attr, list, NULL, NULL, -1);
}

static inline char* blobmsg_format_json_indent(struct blob_attr* attr, bool list, int indent) {
    return blobmsg_format_json_with_cb(attr, list, NULL, NULL, indent);
}
