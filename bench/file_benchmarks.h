// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran::bench {

/// Downloads as the daemon does.
/// @returns the most memory that the process has ever held, in kB
/// @throws what http::Client throws
long download(const std::string& url, const std::string& file, const std::string& ca_bundle);

/// The MD5 sum of a file, read as the daemon reads it, in lower-case hexadecimal digits.
/// @throws common::InputFileOpenException
std::string md5_of(const std::string& file);

}  // namespace zephran::bench
