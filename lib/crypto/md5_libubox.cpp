// SPDX-License-Identifier: Apache-2.0
#include "crypto/md5.h"

extern "C" {
#include <libubox/md5.h>
}

namespace zephran::crypto {

namespace {

constexpr std::size_t digest_length = 16;

}  // namespace

struct MD5::Context : md5_ctx_t {};

MD5::MD5() : context{std::make_unique<Context>()}, digest_bytes(digest_length, 0) {
    md5_begin(context.get());
}

MD5::~MD5() {
    // Finishing clears what the context still holds of the data.
    md5_end(digest_bytes.data(), context.get());
}

const std::vector<std::uint8_t>& MD5::digest() {
    md5_end(digest_bytes.data(), context.get());
    md5_begin(context.get());
    return digest_bytes;
}

void MD5::update(const std::uint8_t* data, std::size_t length) {
    md5_hash(data, length, context.get());
}

}  // namespace zephran::crypto
