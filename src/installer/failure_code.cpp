// SPDX-License-Identifier: Apache-2.0
#include "installer/failure_code.h"

#include <optional>

#include <boost/exception/get_error_info.hpp>

#include "common/exception.h"
#include "common/popen.h"
#include "hawkbit/exceptions.h"
#include "http/exceptions.h"
#include "installer/exceptions.h"
#include "installer/hawkbit_installer.h"
#include "installer/installer_factory.h"
#include "installer/script_installer.h"

namespace zephran {

namespace {

template <class... Kinds>
bool is_one_of(const std::exception& failure) {
    return (... || (dynamic_cast<const Kinds*>(&failure) != nullptr));
}

template <class Record>
std::optional<int> number_in(const std::exception& failure) {
    const auto* const number = boost::get_error_info<Record>(failure);
    return number == nullptr ? std::nullopt : std::make_optional(static_cast<int>(*number));
}

int code_of_exit(int status) {
    constexpr int shell_offset = 128;
    constexpr int greatest_signal = 64;
    const int signal = status - shell_offset;
    return signal > 0 && signal <= greatest_signal ? failure_code::signal + signal
                                                   : failure_code::exit_status + status;
}

std::optional<int> code_of_kind(const std::exception& failure) {
    if (is_one_of<hawkbit::VerificationFailedException, hawkbit::ChecksumMismatchException,
                  installer::VerificationFailedException>(failure)) {
        return failure_code::checksum;
    }
    if (is_one_of<installer::ImageTooLargeException, hawkbit::NotEnoughSpaceException>(failure)) {
        return failure_code::space;
    }
    if (is_one_of<hawkbit::UnsafeFilenameException>(failure)) {
        return failure_code::name;
    }
    if (is_one_of<UnsupportedPartException>(failure)) {
        return failure_code::part;
    }
    if (is_one_of<installer::VersionMismatchException>(failure)) {
        return failure_code::version;
    }
    if (is_one_of<InstallationTimeoutException>(failure)) {
        return failure_code::time_limit;
    }
    return std::nullopt;
}

std::optional<int> code_of_transfer(const std::exception& failure) {
    if (const auto status = number_in<http::httpcode_tag>(failure)) {
        return status;
    }
    if (const auto code = number_in<http::curlcode_tag>(failure)) {
        return failure_code::curl + *code;
    }
    return std::nullopt;
}

std::optional<int> code_of_program(const std::exception& failure) {
    if (const auto signal = number_in<common::program_signal_tag>(failure)) {
        return failure_code::signal + *signal;
    }
    for (const auto& status : {number_in<common::program_exit_code_tag>(failure),
                               number_in<installer::script_exit_code_tag>(failure),
                               number_in<installer::installer_exit_code_tag>(failure)}) {
        if (status) {
            return code_of_exit(*status);
        }
    }
    return std::nullopt;
}

}  // namespace

int code_of(const std::exception& failure) {
    for (const auto& find : {code_of_kind, code_of_transfer, code_of_program}) {
        if (const auto code = find(failure)) {
            return *code;
        }
    }
    return failure_code::other;
}

}  // namespace zephran
