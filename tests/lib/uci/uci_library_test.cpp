// SPDX-License-Identifier: Apache-2.0
#include "uci/uci_library.h"

#include <gtest/gtest.h>

namespace zephran {

namespace {

TEST(UciLibrary, IsUnavailableWithoutTheLibrary) {
    const UciLibrary library{"/nonexistent/libuci.so"};

    EXPECT_FALSE(library.available);
}

TEST(UciLibrary, IsUnavailableIfAFunctionIsMissing) {
    const UciLibrary library{UCI_INCOMPLETE_PATH};

    EXPECT_FALSE(library.available);
    EXPECT_NE(library.add_delta_path, nullptr) << "the library itself was not found";
    EXPECT_EQ(library.remove, nullptr);
}

}  // namespace

}  // namespace zephran
