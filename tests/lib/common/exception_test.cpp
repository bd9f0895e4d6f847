// SPDX-License-Identifier: Apache-2.0
#include "common/exception.h"

#include <gtest/gtest.h>

namespace zephran::common {
namespace {

TEST(Exception, IsCaughtAsStandardExceptionWithItsFixedText) {
    try {
        BOOST_THROW_EXCEPTION(InputFileOpenException{} << filename_tag{"/some/file"});
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "Failed to open file for reading");
        ASSERT_NE(boost::get_error_info<filename_tag>(e), nullptr);
        EXPECT_EQ(*boost::get_error_info<filename_tag>(e), "/some/file");
    }
}

TEST(Exception, CarriesThePlaceThatThrewIt) {
    try {
        BOOST_THROW_EXCEPTION(NotImplementedException{});
    } catch (const boost::exception& e) {
        ASSERT_NE(boost::get_error_info<boost::throw_file>(e), nullptr);
        EXPECT_STREQ(*boost::get_error_info<boost::throw_file>(e), __FILE__);
        EXPECT_NE(boost::get_error_info<boost::throw_line>(e), nullptr);
        EXPECT_NE(boost::get_error_info<boost::throw_function>(e), nullptr);
    }
}

TEST(Exception, TextsTellTheFileFailuresApart) {
    EXPECT_STREQ(OutputFileOpenException{}.what(), "Failed to open file for writing");
    EXPECT_STREQ(FileReadException{}.what(), "Failed to read from file");
    EXPECT_STREQ(FileWriteException{}.what(), "Failed to write to file");
    EXPECT_STREQ(NotImplementedException{}.what(), "Not implemented");
}

}  // namespace
}  // namespace zephran::common
