// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "common/exception.h"
#include "crypto/hash_algorithm.h"

// The context of OpenSSL's MD5 functions; its header stays out of everyone else's way.
struct MD5state_st;

namespace zephran::crypto {

struct MD5Exception : common::Exception {
    MD5Exception() : Exception{"Failed to calculate MD5 sum"} {}
};

/// MD5 (RFC 1321): the hash that the update server states for every artifact. 16 bytes.
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
    std::unique_ptr<MD5state_st> context;
    std::vector<std::uint8_t> digest_bytes;
};

}  // namespace zephran::crypto
