// SPDX-License-Identifier: Apache-2.0
// OpenSSL 3 prefers its EVP functions, which differ in the versions that older gateways have.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <openssl/sha.h>

#include "common/exception.h"
#include "crypto/sha256.h"

namespace zephran::crypto {

struct SHA256::Context : SHA256_CTX {};

namespace {

void require_success(int result) {
    if (result != 1) {
        ZEPHRAN_THROW(SHA256Exception{});
    }
}

}  // namespace

SHA256::SHA256() : context{std::make_unique<Context>()}, digest_bytes(SHA256_DIGEST_LENGTH, 0) {
    require_success(SHA256_Init(context.get()));
}

SHA256::~SHA256() = default;

const std::vector<std::uint8_t>& SHA256::digest() {
    require_success(SHA256_Final(digest_bytes.data(), context.get()));
    require_success(SHA256_Init(context.get()));
    return digest_bytes;
}

void SHA256::update(const std::uint8_t* data, std::size_t length) {
    require_success(SHA256_Update(context.get(), data, length));
}

}  // namespace zephran::crypto
