// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "common/exception.h"
#include "crypto/hash_algorithm.h"

namespace zephran::crypto {

struct MD5Exception : common::Exception {
    MD5Exception() : Exception{"Failed to calculate MD5 sum"} {}
};

/// MD5 (RFC 1321): the hash that the update server states for every artifact. 16 bytes. It is
/// calculated by the library that the build option ZEPHRAN_MD5 names; only OpenSSL's can fail.
class MD5 : public HashAlgorithm {
public:
    /// @throws MD5Exception, as all members but the destructor do
    MD5();
    MD5(const MD5&) = delete;
    MD5(MD5&&) = delete;
    MD5& operator=(const MD5&) = delete;
    MD5& operator=(MD5&&) = delete;
    ~MD5() override;

    using HashAlgorithm::update;
    const std::vector<std::uint8_t>& digest() override;
    void update(const std::uint8_t* data, std::size_t length) override;

private:
    /// What the library knows of the data so far; its header stays out of everyone else's way.
    struct Context;
    std::unique_ptr<Context> context;
    std::vector<std::uint8_t> digest_bytes;
};

}  // namespace zephran::crypto
