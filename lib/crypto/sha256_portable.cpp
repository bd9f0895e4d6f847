// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <functional>

#include "crypto/sha256.h"

namespace zephran::crypto {

namespace {

using Word = std::uint32_t;

constexpr std::size_t block_length = 64;
constexpr std::size_t length_field = 8;
constexpr std::size_t rounds = 64;
constexpr std::size_t state_words = 8;
constexpr std::size_t word_length = 4;
constexpr unsigned byte_bits = 8;
constexpr unsigned word_bits = 32;

// The fractional parts of the square roots of the first eight primes, and of the cube roots of the
// first sixty-four.
constexpr std::array<Word, state_words> initial_state{
    0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
constexpr std::array<Word, rounds> round_constants{
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr Word rotate(Word word, unsigned count) {
    return (word >> count) | (word << (word_bits - count));
}

Word big_endian(const std::uint8_t* bytes) {
    Word word = 0;
    for (std::size_t i = 0; i < word_length; ++i) {
        word = (word << byte_bits) | bytes[i];
    }
    return word;
}

// NOLINTBEGIN(cppcoreguidelines-avoid-magic-numbers,readability-magic-numbers): the distances and
// rotations are the standard's; names would say nothing more.
std::array<Word, rounds> schedule(const std::uint8_t* block) {
    std::array<Word, rounds> words{};
    for (std::size_t i = 0; i < 16; ++i) {
        words[i] = big_endian(block + i * word_length);
    }
    for (std::size_t i = 16; i < rounds; ++i) {
        const Word near = words[i - 2];
        const Word far = words[i - 15];
        words[i] = words[i - 16] + (rotate(far, 7) ^ rotate(far, 18) ^ (far >> 3U)) + words[i - 7] +
                   (rotate(near, 17) ^ rotate(near, 19) ^ (near >> 10U));
    }
    return words;
}

void mix(std::array<Word, state_words>& state, const std::uint8_t* block) {
    const auto words = schedule(block);
    auto [a, b, c, d, e, f, g, h] = state;
    for (std::size_t i = 0; i < rounds; ++i) {
        const Word first = h + (rotate(e, 6) ^ rotate(e, 11) ^ rotate(e, 25)) +
                           ((e & f) ^ (~e & g)) + round_constants[i] + words[i];
        const Word second =
            (rotate(a, 2) ^ rotate(a, 13) ^ rotate(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    const std::array<Word, state_words> mixed{a, b, c, d, e, f, g, h};
    std::transform(state.begin(), state.end(), mixed.begin(), state.begin(), std::plus<>{});
}
// NOLINTEND(cppcoreguidelines-avoid-magic-numbers,readability-magic-numbers)

}  // namespace

struct SHA256::Context {
    std::array<Word, state_words> state = initial_state;
    std::array<std::uint8_t, block_length> block{};
    std::size_t filled = 0;
    std::uint64_t bytes = 0;
};

SHA256::SHA256()
    : context{std::make_unique<Context>()}, digest_bytes(state_words * word_length, 0) {}

SHA256::~SHA256() = default;

void SHA256::update(const std::uint8_t* data, std::size_t length) {
    context->bytes += length;
    while (length != 0) {
        if (context->filled == 0 && length >= block_length) {
            mix(context->state, data);
            data += block_length;
            length -= block_length;
            continue;
        }
        const std::size_t count = std::min(length, block_length - context->filled);
        std::copy_n(data, count, context->block.begin() + static_cast<long>(context->filled));
        context->filled += count;
        data += count;
        length -= count;
        if (context->filled == block_length) {
            mix(context->state, context->block.data());
            context->filled = 0;
        }
    }
}

const std::vector<std::uint8_t>& SHA256::digest() {
    constexpr std::uint8_t end_mark = 0x80;
    const std::uint64_t bits = context->bytes * byte_bits;
    const std::size_t zeros =
        (2 * block_length - length_field - 1 - context->filled) % block_length;
    std::vector<std::uint8_t> padding(1 + zeros + length_field, 0);
    padding.front() = end_mark;
    for (unsigned i = 0; i < length_field; ++i) {
        padding[padding.size() - 1 - i] = static_cast<std::uint8_t>(bits >> (byte_bits * i));
    }
    update(padding.data(), padding.size());
    for (std::size_t i = 0; i < digest_bytes.size(); ++i) {
        const auto shift = byte_bits * static_cast<unsigned>(word_length - 1 - i % word_length);
        digest_bytes[i] = static_cast<std::uint8_t>(context->state[i / word_length] >> shift);
    }
    *context = Context{};
    return digest_bytes;
}

}  // namespace zephran::crypto
