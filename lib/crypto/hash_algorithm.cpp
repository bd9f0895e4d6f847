// SPDX-License-Identifier: Apache-2.0
#include "crypto/hash_algorithm.h"

#include <algorithm>

namespace zephran::crypto {

namespace {

constexpr std::size_t block_size = 1024;

/// @returns the number of bytes that the stream still had, at most `count`
std::size_t feed(HashAlgorithm& hash, std::istream& stream, std::vector<char>& block,
                 std::size_t count) {
    stream.read(block.data(), static_cast<std::streamsize>(count));
    const auto length = static_cast<std::size_t>(stream.gcount());
    hash.update(reinterpret_cast<const std::uint8_t*>(block.data()), length);
    return length;
}

}  // namespace

void HashAlgorithm::update(const std::vector<std::uint8_t>& data) {
    update(data.data(), data.size());
}

void HashAlgorithm::update(const std::string& data) {
    update(reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
}

void HashAlgorithm::update(std::istream& stream) {
    std::vector<char> block(block_size);
    do {
        feed(*this, stream, block, block.size());
    } while (stream.good());
}

void HashAlgorithm::update(std::istream& stream, std::size_t count) {
    std::vector<char> block(block_size);
    while (count != 0 && stream.good()) {
        count -= feed(*this, stream, block, std::min(count, block.size()));
    }
}

}  // namespace zephran::crypto
