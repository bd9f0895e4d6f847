// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Values from and to JSON text. Like the header of the device this one has no C-linkage guards:
/// C++ includes it inside an extern "C" block.

#include "blobmsg.h"

/// May give the text for a value; NULL leaves the value to the library.
typedef const char* (*blobmsg_json_format_t)(void* priv, struct blob_attr* attr);

/// Appends the members of one JSON object. False, with nothing added, for any other text.
bool blobmsg_add_json_from_string(struct blob_buf* buf, const char* text);

/// A malloc'ed text of what is in attr as one object (an array for an array), without blanks. Names
/// may be empty and numbers may be no numbers: then it is not JSON. NULL without memory, and for
/// what is left out: list must be true, cb NULL and indent below 0.
char* blobmsg_format_json_with_cb(struct blob_attr* attr, bool list, blobmsg_json_format_t cb,
                                  void* priv, int indent);
