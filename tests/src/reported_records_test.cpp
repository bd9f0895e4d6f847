// SPDX-License-Identifier: Apache-2.0
#include <set>
#include <string>

#include <boost/exception/errinfo_api_function.hpp>
#include <boost/exception/errinfo_errno.hpp>
#include <gtest/gtest.h>

#include "common/exception.h"
#include "common/json.h"
#include "common/option_not_found.h"
#include "common/popen.h"
#include "common/record.h"
#include "common/uri.h"
#include "deployment/action_message.h"
#include "deployment/deployment_history.h"
#include "hawkbit/controller.h"
#include "hawkbit/exceptions.h"
#include "hawkbit/messages/controller_status.h"
#include "http/exceptions.h"
#include "installer/exceptions.h"
#include "installer/hawkbit_installer.h"
#include "installer/installer_factory.h"
#include "installer/script_installer.h"
#include "schedule/update_schedule.h"

namespace zephran {
namespace {

template <class Record>
std::string describe(const typename Record::value_type& value) {
    return common::describe_records(common::NotImplementedException{} << Record{value});
}

TEST(ReportedRecords, FilesAndSystemCallsAreDescribed) {
    EXPECT_EQ(describe<common::filename_tag>("/tmp/a b"), "filename: /tmp/a b");
    EXPECT_EQ(describe<boost::errinfo_api_function>("fork"), "api_function: fork");
    EXPECT_EQ(describe<boost::errinfo_errno>(12), "errno: 12");
    EXPECT_EQ(describe<config_key_tag>("a.b.c"), "config_key: a.b.c");
    EXPECT_EQ(describe<hawkbit::needed_tag>(5'000'000'000), "needed: 5000000000");
    EXPECT_EQ(describe<hawkbit::available_tag>(0), "available: 0");
}

TEST(ReportedRecords, ProgramsAreDescribed) {
    EXPECT_EQ(describe<common::popen_command_tag>("opkg install"), "popen_command: opkg install");
    EXPECT_EQ(describe<common::program_signal_tag>(9), "program_signal: 9");
    EXPECT_EQ(describe<common::program_exit_code_tag>(127), "program_exit_code: 127");
    EXPECT_EQ(describe<common::program_output_tag>("gone"), "program_output: gone");
    EXPECT_EQ(describe<installer::script_exit_code_tag>(3), "script_exit_code: 3");
    EXPECT_EQ(describe<installer::script_output_tag>("bad"), "script_output: bad");
    EXPECT_EQ(describe<installer::installer_output_tag>("a <b>\n"), "installer_output: a <b>\n");
    EXPECT_EQ(describe<installer::expected_version_tag>("2.1"), "expected_version: 2.1");
    EXPECT_EQ(describe<installer::found_version_tag>(""), "found_version: ");
    EXPECT_EQ(describe<installer::image_size_tag>(9), "image_size: 9");
    EXPECT_EQ(describe<installer::partition_size_tag>(8), "partition_size: 8");
    EXPECT_EQ(describe<installer::expected_label_tag>("u-boot"), "expected_label: u-boot");
    EXPECT_EQ(describe<installer::found_label_tag>(""), "found_label: ");
}

TEST(ReportedRecords, TransfersAreDescribed) {
    EXPECT_EQ(describe<http::httpcode_tag>(404U), "httpcode: 404");
    EXPECT_EQ(describe<http::httpurl_tag>("https://a/b?c"), "httpurl: https://a/b?c");
    EXPECT_EQ(describe<http::value_count_tag>(100001U), "value_count: 100001");
    EXPECT_EQ(describe<http::curlcode_tag>(CURLE_COULDNT_CONNECT), "curlcode: 7");
    EXPECT_EQ(describe<http::curlopt_tag>(CURLOPT_PORT), "curlopt: 3");
    EXPECT_EQ(describe<http::curlmessage_tag>("no route"), "curlmessage: no route");
    EXPECT_EQ(describe<http::curlerrorbuffer_tag>("refused"), "curlerrorbuffer: refused");
}

TEST(ReportedRecords, DocumentsAreDescribed) {
    EXPECT_EQ(describe<common::value_tag>("href"), "value: href");
    EXPECT_EQ(describe<common::found_type_tag>(Json::intValue), "found_type: 1");
    EXPECT_EQ(describe<common::expected_type_tag>(Json::stringValue), "expected_type: 4");
    EXPECT_EQ(describe<common::parser_error_tag>("Line 1"), "parser_error: Line 1");
    EXPECT_EQ(describe<common::uri_tag>("ftp:"), "uri: ftp:");
    EXPECT_EQ(describe<hawkbit::url_tag>("https://a"), "url: https://a");
    EXPECT_EQ(describe<hawkbit::sleep_time_tag>("1:2"), "sleep_time: 1:2");
    EXPECT_EQ(describe<action_message_string_tag>("hello"), "action_message_string: hello");
}

TEST(ReportedRecords, DeploymentsAreDescribed) {
    EXPECT_EQ(describe<history_message_tag>("os-1"), "history_message: os-1");
    EXPECT_EQ(describe<part_tag>("os"), "part: os");
    EXPECT_EQ(describe<expected_count_tag>(1U), "expected_count: 1");
    EXPECT_EQ(describe<received_count_tag>(2U), "received_count: 2");
    EXPECT_EQ(describe<weekday_tag>("Xyz"), "weekday: Xyz");
    EXPECT_EQ(describe<start_hour_tag>(25), "start_hour: 25");
    EXPECT_EQ(describe<end_hour_tag>(-1), "end_hour: -1");
}

TEST(ReportedRecords, HaveUniquePositions) {
    std::set<int> positions;
    for (const auto* record = common::ReportedRecord::first(); record != nullptr;
         record = record->next()) {
        const common::RecordDescription& description = record->description;
        EXPECT_TRUE(positions.insert(description.rank.position).second) << description.name;
    }
    EXPECT_FALSE(positions.empty());
}

}  // namespace
}  // namespace zephran
