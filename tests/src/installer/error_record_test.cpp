// SPDX-License-Identifier: Apache-2.0
#include "installer/error_record.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "common/exception.h"
#include "common/popen.h"

namespace zephran {
namespace {

TEST(ErrorRecord, StartsWithoutAnError) {
    const ErrorRecord record;

    EXPECT_FALSE(record.has_error);
    EXPECT_EQ(record.error_message, "");
    EXPECT_EQ(record.error_details, "");
    EXPECT_EQ(record.code, 0);
}

TEST(ErrorRecord, StoresTextAndRecordsOfAnException) {
    ErrorRecord record;

    record.keep_first(common::InputFileOpenException{} << common::filename_tag{"/tmp/x"});

    EXPECT_TRUE(record.has_error);
    EXPECT_EQ(record.error_message, "Failed to open file for reading");
    EXPECT_EQ(record.error_details, "filename: /tmp/x");
}

TEST(ErrorRecord, StoresTheCodeOfAnException) {
    ErrorRecord record;

    record.keep_first(common::AbnormalTerminationException{} << common::program_signal_tag{9});
    record.keep_first(std::runtime_error{"later"});

    EXPECT_EQ(record.code, 3009);
}

TEST(ErrorRecord, AcceptsExceptionsOfAnyType) {
    ErrorRecord record;

    record.keep_first(std::runtime_error{"odd"});

    EXPECT_TRUE(record.has_error);
    EXPECT_EQ(record.error_message, "odd");
    EXPECT_EQ(record.error_details, "");
}

TEST(ErrorRecord, KeepsTheFirstException) {
    ErrorRecord record;
    record.keep_first(std::runtime_error{"cause"});

    record.keep_first(common::InputFileOpenException{} << common::filename_tag{"/tmp/x"});

    EXPECT_EQ(record.error_message, "cause");
    EXPECT_EQ(record.error_details, "");
}

TEST(ErrorRecord, CopiesAnotherRecord) {
    ErrorRecord record;

    record.keep_first(ErrorRecord{true, "text", "details", 2001});

    EXPECT_TRUE(record.has_error);
    EXPECT_EQ(record.error_message, "text");
    EXPECT_EQ(record.error_details, "details");
    EXPECT_EQ(record.code, 2001);
}

TEST(ErrorRecord, KeepsTheFirstRecord) {
    ErrorRecord record{true, "cause", "details"};

    record.keep_first(ErrorRecord{true, "later", "other"});

    EXPECT_EQ(record.error_message, "cause");
    EXPECT_EQ(record.error_details, "details");
}

TEST(ErrorRecord, IgnoresARecordWithoutAnError) {
    ErrorRecord record;

    record.keep_first(ErrorRecord{false, "leftover", "leftover"});

    EXPECT_FALSE(record.has_error);
    EXPECT_EQ(record.error_message, "");
    EXPECT_EQ(record.error_details, "");
}

}  // namespace
}  // namespace zephran
