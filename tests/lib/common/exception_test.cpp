// SPDX-License-Identifier: Apache-2.0
#include "common/exception.h"

#include <exception>
#include <stdexcept>
#include <string>
#include <typeinfo>

#include <boost/exception/diagnostic_information.hpp>
#include <gtest/gtest.h>

#include "common/option_not_found.h"

namespace zephran::common {
namespace {

TEST(Exception, IsCaughtAsStandardExceptionWithItsFixedText) {
    try {
        ZEPHRAN_THROW(InputFileOpenException{} << filename_tag{"/some/file"});
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "Failed to open file for reading");
        ASSERT_NE(boost::get_error_info<filename_tag>(e), nullptr);
        EXPECT_EQ(*boost::get_error_info<filename_tag>(e), "/some/file");
    }
}

TEST(Exception, OfAConfigurationSaysWhatIsMissing) {
    const OptionNotFoundException missing;

    EXPECT_STREQ(missing.what(), "Configuration option was not found");
    EXPECT_FALSE(missing.unreadable);
}

TEST(Exception, CarriesThePlaceThatThrewIt) {
    try {
        ZEPHRAN_THROW(NotImplementedException{});
    } catch (const boost::exception& e) {
        ASSERT_NE(boost::get_error_info<boost::throw_file>(e), nullptr);
        EXPECT_STREQ(*boost::get_error_info<boost::throw_file>(e), __FILE__);
        EXPECT_NE(boost::get_error_info<boost::throw_line>(e), nullptr);
        EXPECT_NE(boost::get_error_info<boost::throw_function>(e), nullptr);
    }
}

TEST(Exception, IsThrownAsTheTypeItIs) {
    try {
        ZEPHRAN_THROW(NotImplementedException{});
    } catch (const std::exception& e) {
        EXPECT_EQ(typeid(e), typeid(NotImplementedException));
    }
}

TEST(Exception, KeepsItsPlaceAndRecordsWhenItIsCopied) {
    std::exception_ptr copy;
    try {
        ZEPHRAN_THROW(FileReadException{} << filename_tag{"/some/file"});
    } catch (const FileReadException& e) {
        copy = std::make_exception_ptr(e);
    }
    try {
        std::rethrow_exception(copy);
    } catch (const FileReadException& e) {
        ASSERT_NE(boost::get_error_info<filename_tag>(e), nullptr);
        EXPECT_EQ(*boost::get_error_info<filename_tag>(e), "/some/file");
        EXPECT_NE(boost::get_error_info<boost::throw_line>(e), nullptr);
    }
}

TEST(Exception, DiagnosticTextHasPlaceTypeTextAndRecordsInThisOrder) {
    std::string text;
    const int line = __LINE__ + 2;
    try {
        ZEPHRAN_THROW(FileReadException{} << filename_tag{"/some/file"});
    } catch (const boost::exception& e) {
        text = boost::diagnostic_information(e);
    }

    const std::string place =
        std::string{__FILE__} + "(" + std::to_string(line) + "): Throw in function ";
    const std::string rest =
        "TestBody()\n"
        "Dynamic exception type: zephran::common::FileReadException\n"
        "std::exception::what: Failed to read from file\n"
        "[zephran::common::record::filename_tag*] = /some/file\n";
    EXPECT_EQ(text.substr(0, place.size()), place);
    EXPECT_EQ(text.substr(text.size() - rest.size()), rest);
}

TEST(Exception, StandardExceptionIsCaughtAsOneOfBoostWithItsPlace) {
    try {
        ZEPHRAN_THROW(std::invalid_argument{"odd"});
    } catch (const boost::exception& e) {
        ASSERT_NE(boost::get_error_info<boost::throw_file>(e), nullptr);
        EXPECT_STREQ(*boost::get_error_info<boost::throw_file>(e), __FILE__);
        const auto* const standard = dynamic_cast<const std::invalid_argument*>(&e);
        ASSERT_NE(standard, nullptr);
        EXPECT_STREQ(standard->what(), "odd");
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
