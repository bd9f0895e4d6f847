#include "signature.h"

#include <gtest/gtest.h>

#include "bytes.h"

namespace zephran::ubusd {

namespace {

TEST(Signature, RecordedOneIsAccepted) {
    EXPECT_TRUE(is_signature(recorded_signature));
}

TEST(Signature, ObjectMayHaveNoMethods) {
    EXPECT_TRUE(is_signature(""));
}

struct Malformed {
    const char* description;
    const char* digits;
};

class MalformedSignatureTest : public testing::TestWithParam<Malformed> {};

TEST_P(MalformedSignatureTest, IsRefused) {
    EXPECT_FALSE(is_signature(bytes(GetParam().digits)));
}

INSTANTIATE_TEST_SUITE_P(
    Signatures, MalformedSignatureTest,
    testing::Values(Malformed{"MethodWithoutName", "0200000c 00046661 696c0000"},
                    Malformed{"MethodThatIsAnArray", "8100000c 00046661 696c0000"},
                    Malformed{"ArgumentThatIsAString",
                              "82000014 00016d00 8300000c 00016100 78797a00"},
                    Malformed{"ArgumentOfTwoBytes", "82000014 00016d00 8500000a 00016100 00030000"},
                    Malformed{"BrokenArgument", "8200000c 00016d00 85000000"},
                    Malformed{"BrokenMethod", "8200000c 00046661 696c0000 82000002"}),
    [](const auto& tested) { return tested.param.description; });

}  // namespace

}  // namespace zephran::ubusd
