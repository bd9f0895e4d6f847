// SPDX-License-Identifier: Apache-2.0
#include "uci/uci_abi.h"

#include <gtest/gtest.h>

namespace zephran {
namespace {

// A library that is loaded at run time cannot complain about other numbers. These are libuci's
// (uci.h).

TEST(UciAbi, NumbersErrorsAsTheLibraryDoes) {
    EXPECT_EQ(UCI_OK, 0);
    EXPECT_EQ(UCI_ERR_MEM, 1);
    EXPECT_EQ(UCI_ERR_NOTFOUND, 3);
}

TEST(UciAbi, NumbersTypesOfOptionsAsTheLibraryDoes) {
    EXPECT_EQ(UCI_TYPE_STRING, 0);
    EXPECT_EQ(UCI_TYPE_LIST, 1);
}

TEST(UciAbi, NumbersFlagsOfALookupAsTheLibraryDoes) {
    EXPECT_EQ(uci_ptr::UCI_LOOKUP_DONE, 1);
    EXPECT_EQ(uci_ptr::UCI_LOOKUP_COMPLETE, 2);
    EXPECT_EQ(uci_ptr::UCI_LOOKUP_EXTENDED, 4);
}

}  // namespace
}  // namespace zephran
