// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <stdexcept>

#include <gtest/gtest.h>

#include "demo_object.h"
#include "scripted_broker.h"

// What holds for the stand-in alone. Whether an exception gets through the frames of the original,
// which is C, depends on how that was compiled: a program must not let it come to that.
namespace zephran::ubus_standin {

TEST(ExceptionOfAHandler, EndsTheProcess) {
    ScriptedBroker broker;
    const Context context = broker.connected_client();
    DemoObject object;
    broker.send(demo_added);
    ubus_add_object(context.get(), &object);
    object.reaction = [](ubus_context&, ubus_request_data&) -> int {
        throw std::runtime_error{"thrown by a handler"};
    };
    broker.send(demo_call);

    EXPECT_EXIT(dispatch(context), testing::KilledBySignal(SIGABRT), "");
}

}  // namespace zephran::ubus_standin
