// SPDX-License-Identifier: Apache-2.0
// OpenSSL 3 prefers its EVP functions, which differ in the versions that older gateways have. The
// MD5 functions are the same in all versions.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <openssl/md5.h>

#include "common/exception.h"
#include "crypto/md5.h"

namespace zephran::crypto {

struct MD5::Context : MD5_CTX {};

namespace {

void require_success(int result) {
    if (result != 1) {
        ZEPHRAN_THROW(MD5Exception{});
    }
}

}  // namespace

MD5::MD5() : context{std::make_unique<Context>()}, digest_bytes(MD5_DIGEST_LENGTH, 0) {
    require_success(MD5_Init(context.get()));
}

MD5::~MD5() {
    // Finishing clears what the context still holds of the data.
    MD5_Final(digest_bytes.data(), context.get());
}

const std::vector<std::uint8_t>& MD5::digest() {
    require_success(MD5_Final(digest_bytes.data(), context.get()));
    require_success(MD5_Init(context.get()));
    return digest_bytes;
}

void MD5::update(const std::uint8_t* data, std::size_t length) {
    require_success(MD5_Update(context.get(), data, length));
}

}  // namespace zephran::crypto
