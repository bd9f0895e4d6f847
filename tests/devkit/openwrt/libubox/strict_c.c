#include "strict_c.h"

#include <libubox/blobmsg_json.h>
#include <libubox/uloop.h>

int count_values(struct blob_buf* buf, const char* text) {
    struct blob_attr* attr;
    size_t rest;
    int count = 0;
    if (!blobmsg_add_json_from_string(buf, text)) {
        return -1;
    }
    blobmsg_for_each_attr(attr, buf->head, rest) {
        count += blobmsg_check_attr(attr, true) ? 1 : 0;
    }
    return count;
}

int add_two_values(struct blob_buf* buf) {
    void* table = blobmsg_open_table(buf, "t");
    if (table == NULL || blobmsg_add_u64(buf, "l", 1) != 0) {
        return -1;
    }
    blobmsg_close_table(buf, table);
    return blobmsg_add_double(buf, "d", 1.5);
}
