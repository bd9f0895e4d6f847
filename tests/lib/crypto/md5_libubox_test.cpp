// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "crypto/md5.h"

extern "C" {
#include <libubox/md5.h>
}

namespace {

/// How often contexts were finished.
int finals = 0;

}  // namespace

// The linker sends the calls of the code under test here (--wrap); the names are its rule.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" void __real_md5_end(void* digest, md5_ctx_t* context);
extern "C" void __wrap_md5_end(void* digest, md5_ctx_t* context) {
    ++finals;
    __real_md5_end(digest, context);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

namespace zephran::crypto {
namespace {

TEST(MD5OfLibubox, DestructionFinishesTheContextToClearIt) {
    {
        MD5 md5;
        md5.update(std::string{"secret"});
        EXPECT_EQ(finals, 0);
    }

    EXPECT_EQ(finals, 1);
}

}  // namespace
}  // namespace zephran::crypto
