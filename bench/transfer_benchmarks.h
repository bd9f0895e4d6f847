// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace zephran::bench {

/// A file that a server offers, and how the daemon is to get it.
struct Offer {
    std::string url;
    /// Where it is to be.
    std::string file;
    std::string ca_bundle;
    /// In bytes; hexadecimal digits.
    std::int32_t size = 0;
    std::string sha256;
};

/// Downloads as the daemon does with the options of transfers set: beside the main loop, in large
/// blocks, and with what an earlier try has left. Between tries it waits for one tick.
/// @returns the most memory that the process has ever held, in kB
/// @throws what the last of 99 tries threw
long resuming_download(const Offer& offer);

/// Gets a small document again and again, each time with a connection of its own.
/// @param resumes_tls whether a connection takes up the TLS session of an earlier one
/// @throws what http::Client throws
void poll(const std::string& url, const std::string& ca_bundle, std::uint64_t times,
          bool resumes_tls);

/// The SHA-256 sum of a file, read as the daemon reads it, in lower-case hexadecimal digits.
/// @throws common::InputFileOpenException
std::string sha256_of(const std::string& file);

}  // namespace zephran::bench
