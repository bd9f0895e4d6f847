// SPDX-License-Identifier: Apache-2.0
#include "file_benchmarks.h"

#include <cstdint>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "common/exception.h"
#include "crypto/md5.h"
#include "http/httpclient.h"

namespace zephran::bench {

namespace {

long most_memory_held() {
    std::ifstream status{"/proc/self/status"};
    std::string word;
    while (status >> word) {
        long kilobytes = 0;
        if (word == "VmHWM:" && status >> kilobytes) {
            return kilobytes;
        }
    }
    ZEPHRAN_THROW(common::FileReadException{} << common::filename_tag{"/proc/self/status"});
}

}  // namespace

long download(const std::string& url, const std::string& file, const std::string& ca_bundle) {
    http::curl_configuration::set_ca_bundle_path(ca_bundle.c_str());
    http::Client{http::ClientImplementationType::curl}.download_to_file(url, file);
    return most_memory_held();
}

std::string md5_of(const std::string& file) {
    std::ifstream stream{file, std::ios::binary};
    if (!stream) {
        ZEPHRAN_THROW(common::InputFileOpenException{} << common::filename_tag{file});
    }
    crypto::MD5 md5;
    md5.update(stream);
    std::ostringstream text;
    text << std::hex << std::setfill('0');
    for (const std::uint8_t byte : md5.digest()) {
        text << std::setw(2) << static_cast<unsigned>(byte);
    }
    return text.str();
}

}  // namespace zephran::bench
