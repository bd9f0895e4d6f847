#include "error_details.h"

#include <sstream>

#include <boost/exception/errinfo_api_function.hpp>
#include <boost/exception/errinfo_errno.hpp>

#include "action_message.h"
#include "common/exception.h"
#include "common/json.h"
#include "common/popen.h"
#include "common/uri.h"
#include "deployment_history.h"
#include "ghn/exceptions.h"
#include "hawkbit/controller.h"
#include "hawkbit/messages/controller_status.h"
#include "hawkbit_installer.h"
#include "http/exceptions.h"
#include "installer/exceptions.h"
#include "installer/script_installer.h"
#include "installer_factory.h"
#include "uci/exceptions.h"
#include "update_schedule.h"

namespace zephran {

namespace {

/// Collects the records of one exception as lines of text.
class RecordLines {
public:
    explicit RecordLines(const boost::exception& described) : exception{described} {}

    template <class Record>
    RecordLines& add(const char* name) {
        if (const auto* value = boost::get_error_info<Record>(exception)) {
            lines << (lines.tellp() == 0 ? "" : "\n") << name << ": " << *value;
        }
        return *this;
    }
    [[nodiscard]] std::string text() const { return lines.str(); }

private:
    const boost::exception& exception;
    std::ostringstream lines;
};

void add_file_and_system_records(RecordLines& lines) {
    lines.add<common::filename_tag>("filename")
        .add<boost::errinfo_api_function>("api_function")
        .add<boost::errinfo_errno>("errno")
        .add<config_key_tag>("config_key");
}

void add_program_records(RecordLines& lines) {
    lines.add<common::popen_command_tag>("popen_command")
        .add<common::program_signal_tag>("program_signal")
        .add<common::program_exit_code_tag>("program_exit_code")
        .add<common::program_output_tag>("program_output")
        .add<installer::script_exit_code_tag>("script_exit_code")
        .add<installer::script_output_tag>("script_output")
        .add<installer::installer_output_tag>("installer_output")
        .add<ghn::configlayer_output_tag>("configlayer_output")
        .add<installer::expected_version_tag>("expected_version")
        .add<installer::found_version_tag>("found_version");
}

void add_http_records(RecordLines& lines) {
    lines.add<http::httpcode_tag>("httpcode")
        .add<http::httpurl_tag>("httpurl")
        .add<http::curlcode_tag>("curlcode")
        .add<http::curlopt_tag>("curlopt")
        .add<http::curlmessage_tag>("curlmessage")
        .add<http::curlerrorbuffer_tag>("curlerrorbuffer");
}

void add_document_records(RecordLines& lines) {
    lines.add<common::value_tag>("value")
        .add<common::found_type_tag>("found_type")
        .add<common::expected_type_tag>("expected_type")
        .add<common::parser_error_tag>("parser_error")
        .add<common::uri_tag>("uri")
        .add<hawkbit::url_tag>("url")
        .add<hawkbit::sleep_time_tag>("sleep_time")
        .add<action_message_tag>("action_message")
        .add<action_message_string_tag>("action_message_string");
}

void add_deployment_records(RecordLines& lines) {
    lines.add<history_message_tag>("history_message")
        .add<part_tag>("part")
        .add<expected_count_tag>("expected_count")
        .add<received_count_tag>("received_count")
        .add<weekday_tag>("weekday")
        .add<start_hour_tag>("start_hour")
        .add<end_hour_tag>("end_hour");
}

}  // namespace

std::string describe_records(const std::exception& error) {
    const auto* with_records = dynamic_cast<const boost::exception*>(&error);
    if (with_records == nullptr) {
        return {};
    }
    RecordLines lines{*with_records};
    add_file_and_system_records(lines);
    add_program_records(lines);
    add_http_records(lines);
    add_document_records(lines);
    add_deployment_records(lines);
    return lines.text();
}

}  // namespace zephran
