// SPDX-License-Identifier: Apache-2.0
#include "installer/artifact_digest.h"

#include <fstream>

#include "crypto/md5.h"
#include "crypto/sha256.h"

namespace zephran::artifact_digest {

std::unique_ptr<crypto::HashAlgorithm> make(const Artifact& artifact) {
    if (artifact.sha256().empty()) {
        return std::make_unique<crypto::MD5>();
    }
    return std::make_unique<crypto::SHA256>();
}

const std::vector<std::uint8_t>& stated(const Artifact& artifact) {
    return artifact.sha256().empty() ? artifact.md5() : artifact.sha256();
}

std::string text(const Artifact& artifact) {
    constexpr const char* digits = "0123456789abcdef";
    constexpr unsigned base = 16;
    std::string named = artifact.sha256().empty() ? "md5:" : "sha256:";
    for (const std::uint8_t byte : stated(artifact)) {
        named += digits[byte / base];
        named += digits[byte % base];
    }
    return named;
}

std::vector<std::uint8_t> of_file(const Artifact& artifact, const std::string& path,
                                  std::size_t size) {
    std::ifstream file{path, std::ios::binary};
    const auto hash = make(artifact);
    hash->update(file, size);
    return hash->digest();
}

}  // namespace zephran::artifact_digest
