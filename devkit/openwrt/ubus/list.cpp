#include <cstdio>

#include "api.h"
#include "commands.h"
#include "connection.h"

namespace zephran::ubus {

namespace {

const char* type_name(std::uint32_t type) {
    switch (type) {
        case BLOBMSG_TYPE_ARRAY:
            return "Array";
        case BLOBMSG_TYPE_TABLE:
            return "Table";
        case BLOBMSG_TYPE_STRING:
            return "String";
        case BLOBMSG_TYPE_INT64:
        case BLOBMSG_TYPE_INT32:
        case BLOBMSG_TYPE_INT16:
            return "Integer";
        case BLOBMSG_TYPE_BOOL:
            return "Boolean";
        case BLOBMSG_TYPE_DOUBLE:
            return "Double";
        default:
            return "(unknown)";
    }
}

void print_method(blob_attr* method) {
    std::printf("\t\"%s\":{", blobmsg_name(method));
    const char* separator = "";
    blob_attr* argument = nullptr;
    std::size_t rest = 0;
    blobmsg_for_each_attr(argument, method, rest) {
        if (blobmsg_check_attr(argument, true) && blobmsg_type(argument) == BLOBMSG_TYPE_INT32) {
            std::printf(R"(%s"%s":"%s")", separator, blobmsg_name(argument),
                        type_name(blobmsg_get_u32(argument)));
            separator = ",";
        }
    }
    std::puts("}");
}

void print_name(ubus_context* /*context*/, ubus_object_data* object, void* /*unused*/) {
    std::puts(object->path);
}

void print_object(ubus_context* /*context*/, ubus_object_data* object, void* /*unused*/) {
    std::printf("'%s' @%08x\n", object->path, object->id);
    blob_attr* method = nullptr;
    std::size_t rest = 0;
    blob_for_each_attr(method, object->signature, rest) {
        if (blobmsg_check_attr(method, true)) {
            print_method(method);
        }
    }
}

}  // namespace

void list(const Options& options) {
    const Connection connection = connect(options);
    const char* const path = options.arguments.empty() ? nullptr : options.arguments[0].c_str();
    const int status =
        ubus_lookup(connection.get(), path, options.verbose ? print_object : print_name, nullptr);
    if (status != UBUS_STATUS_OK) {
        throw failed(status);
    }
}

}  // namespace zephran::ubus
