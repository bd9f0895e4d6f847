// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "common/exception.h"
#include "crypto/hash_algorithm.h"

namespace zephran::crypto {

struct SHA256Exception : common::Exception {
    SHA256Exception() : Exception{"Failed to calculate SHA-256 sum"} {}
};

/// SHA-256 (FIPS 180-4), which the update server states beside MD5. 32 bytes. libcrypto calculates
/// it where it calculates MD5, too (build option ZEPHRAN_MD5); elsewhere it is calculated here, and
/// cannot fail.
class SHA256 : public HashAlgorithm {
public:
    /// @throws SHA256Exception, as all members but the destructor do
    SHA256();
    SHA256(const SHA256&) = delete;
    SHA256(SHA256&&) = delete;
    SHA256& operator=(const SHA256&) = delete;
    SHA256& operator=(SHA256&&) = delete;
    ~SHA256() override;

    using HashAlgorithm::update;
    const std::vector<std::uint8_t>& digest() override;
    void update(const std::uint8_t* data, std::size_t length) override;

private:
    struct Context;
    std::unique_ptr<Context> context;
    std::vector<std::uint8_t> digest_bytes;
};

}  // namespace zephran::crypto
