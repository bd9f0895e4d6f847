// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>

#include "common/exception.h"

namespace zephran::bench {

/// Downloads as the daemon does.
/// @returns the most memory that the process has ever held, in kB
/// @throws what http::Client throws
long download(const std::string& url, const std::string& file, const std::string& ca_bundle);

/// The most memory that the process has ever held, in kB.
long most_memory_held();

/// The sum of a file, read as the daemon reads it, in lower-case hexadecimal digits.
/// @throws common::InputFileOpenException
template <class Algorithm>
std::string sum_of(const std::string& file) {
    std::ifstream stream{file, std::ios::binary};
    if (!stream) {
        ZEPHRAN_THROW(common::InputFileOpenException{} << common::filename_tag{file});
    }
    Algorithm algorithm;
    algorithm.update(stream);
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (const std::uint8_t byte : algorithm.digest()) {
        text << std::setw(2) << static_cast<unsigned>(byte);
    }
    return text.str();
}

/// The MD5 sum of a file, read as the daemon reads it, in lower-case hexadecimal digits.
/// @throws common::InputFileOpenException
std::string md5_of(const std::string& file);

}  // namespace zephran::bench
