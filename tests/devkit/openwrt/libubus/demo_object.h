// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libubox/blobmsg_json.h>
#include <libubus.h>
}

namespace zephran::ubus_standin {

/// What a broker sends when the object is added in the first request of a connection.
constexpr const char* demo_added =
    "00020001 00000000 00000014 03000008 7bb8faf7 05000008 d673c7c7"
    "00010001 00000000 0000000c 01000008 00000000";

/// The request that is the answer to: 8 bytes of header and 64 behind it.
constexpr const char* demo_request =
    "00060001 00000000 00000040 02000009 64656d6f 00000000 06000030 82000020 0004706f 6c6c0000 "
    "85000014 00086167 656e745f 69640000 00000003 8200000c 00046661 696c0000";
constexpr std::size_t demo_request_size = 72;

/// A call of "poll" by client 59a0a9b1 with {"agent_id":"gw"}.
constexpr const char* demo_call =
    "00050002 59a0a9b1 00000048 03000008 7bb8faf7 04000009 706f6c6c 00000000 0c000009 726f6f74 "
    "00000000 0d000009 726f6f74 00000000 07000018 83000013 00086167 656e745f 69640000 67770000";

/// The end of that call.
constexpr const char* demo_status =
    "00010002 59a0a9b1 00000014 01000008 00000000 03000008 7bb8faf7";
constexpr std::size_t status_size = 28;

/// The recorded object: "poll" takes an agent_id, "fail" nothing. It notes its calls.
class DemoObject : public ubus_object {
public:
    DemoObject() : ubus_object{} {
        poll_arguments[0] = {"agent_id", BLOBMSG_TYPE_STRING};
        method_records[0].name = "poll";
        method_records[0].handler = handle;
        method_records[0].policy = poll_arguments.data();
        method_records[0].n_policy = static_cast<int>(poll_arguments.size());
        method_records[1].name = "fail";
        method_records[1].handler = handle;
        type_record.name = "demo";
        type_record.methods = method_records.data();
        type_record.n_methods = static_cast<int>(method_records.size());
        name = "demo";
        type = &type_record;
        methods = method_records.data();
        n_methods = static_cast<int>(method_records.size());
    }
    DemoObject(const DemoObject&) = delete;
    DemoObject& operator=(const DemoObject&) = delete;
    ~DemoObject() = default;

    /// What the handler does, and the status it returns.
    std::function<int(ubus_context&, ubus_request_data&)> reaction =
        [](ubus_context&, ubus_request_data&) { return 0; };
    /// Method and arguments of each call.
    std::vector<std::string> calls;

private:
    static int handle(ubus_context* context, ubus_object* object, ubus_request_data* request,
                      const char* method, blob_attr* message) {
        auto& demo = static_cast<DemoObject&>(*object);
        const std::unique_ptr<char, decltype(&std::free)> arguments{
            blobmsg_format_json_with_cb(message, true, nullptr, nullptr, -1), &std::free};
        demo.calls.push_back(std::string{method} + " " + arguments.get());
        return demo.reaction(*context, *request);
    }

    std::array<blobmsg_policy, 1> poll_arguments{};
    std::array<ubus_method, 2> method_records{};
    ubus_object_type type_record{};
};

}  // namespace zephran::ubus_standin
