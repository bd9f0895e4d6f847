// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

extern "C" {
#include "libubox/md5.h"
}

namespace zephran::ubox_standin {

namespace {

constexpr std::size_t block_size = 64;
constexpr std::size_t length_at = 56;
constexpr unsigned low_bits = 29;
using Sines = std::array<std::uint32_t, 64>;

const Sines& sines() {
    static const Sines table = [] {
        Sines values{};
        for (unsigned step = 0; step < values.size(); ++step) {
            values[step] = static_cast<std::uint32_t>(
                std::floor(std::ldexp(std::fabs(std::sin(step + 1.0)), 32)));
        }
        return values;
    }();
    return table;
}

std::uint32_t word_at(const unsigned char* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8U |
           static_cast<std::uint32_t>(bytes[2]) << 16U |
           static_cast<std::uint32_t>(bytes[3]) << 24U;
}

void put_word(unsigned char* bytes, std::uint32_t word) {
    for (unsigned index = 0; index < 4; ++index) {
        bytes[index] = static_cast<unsigned char>(word >> 8U * index);
    }
}

std::uint32_t rotated(std::uint32_t word, unsigned count) {
    return word << count | word >> (32U - count);
}

/// What a step mixes of the state, and which word of the block it takes.
std::pair<std::uint32_t, unsigned> mixed(unsigned step, std::uint32_t b, std::uint32_t c,
                                         std::uint32_t d) {
    switch (step / 16) {
        case 0:
            return {(b & c) | (~b & d), step};
        case 1:
            return {(d & b) | (~d & c), (5 * step + 1) % 16};
        case 2:
            return {b ^ c ^ d, (3 * step + 5) % 16};
        default:
            return {c ^ (b | ~d), 7 * step % 16};
    }
}

void take_block(md5_ctx_t& ctx, const unsigned char* block) {
    static constexpr unsigned rotations[4][4] = {
        {7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}};
    auto [a, b, c, d] = std::array{ctx.a, ctx.b, ctx.c, ctx.d};
    for (unsigned step = 0; step < block_size; ++step) {
        const auto [mix, index] = mixed(step, b, c, d);
        const std::uint32_t sum = a + mix + sines()[step] + word_at(block + std::size_t{4} * index);
        a = d;
        d = c;
        c = b;
        b += rotated(sum, rotations[step / 16][step % 4]);
    }
    ctx.a += a;
    ctx.b += b;
    ctx.c += c;
    ctx.d += d;
}

void count(md5_ctx_t& ctx, std::size_t length) {
    const std::uint64_t total = (std::uint64_t{ctx.hi} << low_bits | ctx.lo) + length;
    ctx.lo = static_cast<std::uint32_t>(total & ((1U << low_bits) - 1));
    ctx.hi = static_cast<std::uint32_t>(total >> low_bits);
}

}  // namespace

extern "C" {

void md5_begin(md5_ctx_t* ctx) {
    *ctx = {0, 0, 0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476, {}};
}

void md5_hash(const void* data, size_t length, md5_ctx_t* ctx) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::size_t used = ctx->lo % block_size;
    count(*ctx, length);
    while (length > 0) {
        const std::size_t taken = std::min(length, block_size - used);
        std::copy_n(bytes, taken, ctx->buffer + used);
        bytes += taken;
        length -= taken;
        used = (used + taken) % block_size;
        if (used == 0) {
            take_block(*ctx, ctx->buffer);
        }
    }
}

void md5_end(void* resbuf, md5_ctx_t* ctx) {
    const std::uint32_t low = ctx->lo << 3U;
    const std::uint32_t high = ctx->hi;
    const unsigned char end = 0x80;
    const unsigned char zero = 0;
    md5_hash(&end, 1, ctx);
    while (ctx->lo % block_size != length_at) {
        md5_hash(&zero, 1, ctx);
    }
    put_word(ctx->buffer + length_at, low);
    put_word(ctx->buffer + length_at + 4, high);
    take_block(*ctx, ctx->buffer);
    auto* digest = static_cast<unsigned char*>(resbuf);
    for (const std::uint32_t word : {ctx->a, ctx->b, ctx->c, ctx->d}) {
        put_word(digest, word);
        digest += 4;
    }
    *ctx = {};
}

}  // extern "C"

}  // namespace zephran::ubox_standin
