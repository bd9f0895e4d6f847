// SPDX-License-Identifier: Apache-2.0
#include "file_benchmarks.h"

#include "common/exception.h"
#include "crypto/md5.h"
#include "http/httpclient.h"

namespace zephran::bench {

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

long download(const std::string& url, const std::string& file, const std::string& ca_bundle) {
    http::curl_configuration::set_ca_bundle_path(ca_bundle.c_str());
    http::Client{http::ClientImplementationType::curl}.download_to_file(url, file);
    return most_memory_held();
}

std::string md5_of(const std::string& file) {
    return sum_of<crypto::MD5>(file);
}

}  // namespace zephran::bench
