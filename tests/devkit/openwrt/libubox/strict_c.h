#pragma once

#ifdef __cplusplus
extern "C" {
#endif

struct blob_buf;

/// Adds a JSON object and counts the values in the buffer; -1 when the text is refused.
int count_values(struct blob_buf* buf, const char* text);
/// Adds a table and a number: 0, or -1 without room.
int add_two_values(struct blob_buf* buf);

#ifdef __cplusplus
}
#endif
