// SPDX-License-Identifier: Apache-2.0
#include "ubus/object_registration.h"

#include <string>

#include <gtest/gtest.h>

namespace zephran::ubus {

namespace {

int handler(ubus_context* /*connection*/, ubus_object* /*object*/, ubus_request_data* /*request*/,
            const char* /*method*/, blob_attr* /*message*/) {
    return 0;
}

TEST(ObjectRegistration, DescribesTheObjectInTheOrderOfItsMethods) {
    const std::string name = "demo";
    const std::string first = "first";
    const std::string second = "second";
    const ArgumentPolicy two{{"text", BLOBMSG_TYPE_STRING}, {"number", BLOBMSG_TYPE_INT32}};
    const ArgumentPolicy none;

    ObjectRegistration registration{name, {{first, two}, {second, none}}, handler, nullptr};

    const ubus_object& object = *registration.object();
    EXPECT_STREQ(object.name, "demo");
    EXPECT_STREQ(object.type->name, "demo");
    ASSERT_EQ(object.n_methods, 2);
    EXPECT_EQ(object.type->n_methods, 2);
    EXPECT_EQ(object.type->methods, object.methods);
    EXPECT_STREQ(object.methods[0].name, "first");
    EXPECT_EQ(object.methods[0].handler, handler);
    ASSERT_EQ(object.methods[0].n_policy, 2);
    EXPECT_STREQ(object.methods[0].policy[0].name, "text");
    EXPECT_EQ(object.methods[0].policy[0].type, BLOBMSG_TYPE_STRING);
    EXPECT_STREQ(object.methods[0].policy[1].name, "number");
    EXPECT_EQ(object.methods[0].policy[1].type, BLOBMSG_TYPE_INT32);
    EXPECT_STREQ(object.methods[1].name, "second");
    EXPECT_EQ(object.methods[1].n_policy, 0);
}

TEST(ObjectRegistration, FindsTheOwnerOfARecord) {
    const std::string name = "demo";
    int owner = 0;

    ObjectRegistration registration{name, {}, handler, &owner};

    EXPECT_EQ(ObjectRegistration::owner_of(registration.object()), &owner);
}

TEST(ObjectRegistration, IsRegisteredWhenTheBrokerHasGivenItAnId) {
    const std::string name = "demo";
    ObjectRegistration registration{name, {}, handler, nullptr};

    EXPECT_FALSE(registration.is_registered());
    registration.object()->id = 5;

    EXPECT_TRUE(registration.is_registered());
    registration.object()->type->id = 8;
    registration.object()->has_subscribers = true;

    registration.forget();

    EXPECT_FALSE(registration.is_registered());
    EXPECT_FALSE(registration.has_subscribers());
    EXPECT_EQ(registration.object()->type->id, 0U);
}

}  // namespace

}  // namespace zephran::ubus
