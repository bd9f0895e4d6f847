// SPDX-License-Identifier: Apache-2.0
#include "ubus/message_text.h"

#include <cstdlib>
#include <memory>

#include "ubus/exceptions.h"
#include "ubus/nesting.h"

namespace zephran::ubox {

namespace {

struct Free {
    // The library allocates with malloc().
    void operator()(char* text) const { std::free(text); }  // NOLINT
};

}  // namespace

std::optional<std::string> to_json_text(blob_attr* message) {
    constexpr int compact = -1;
    if (message == nullptr) {
        return std::nullopt;
    }
    if (!is_nested_at_most(deepest_nesting, static_cast<const unsigned char*>(blob_data(message)),
                           blob_len(message))) {
        ZEPHRAN_THROW(NestingTooDeepException{});
    }
    const std::unique_ptr<char, Free> text{
        blobmsg_format_json_with_cb(message, true, nullptr, nullptr, compact)};
    return text ? std::make_optional<std::string>(text.get()) : std::nullopt;
}

}  // namespace zephran::ubox
