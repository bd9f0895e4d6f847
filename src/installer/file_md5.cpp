// SPDX-License-Identifier: Apache-2.0
#include "installer/file_md5.h"

#include <fstream>

#include "crypto/md5.h"

namespace zephran::installer {

std::vector<std::uint8_t> get_file_md5(const std::string& path, std::size_t size) {
    std::ifstream file{path, std::ios::binary};
    crypto::MD5 md5;
    md5.update(file, size);
    return md5.digest();
}

}  // namespace zephran::installer
