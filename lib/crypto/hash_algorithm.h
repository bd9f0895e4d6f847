// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <vector>

namespace zephran::crypto {

/// A hash that is fed piece by piece.
class HashAlgorithm {
public:
    HashAlgorithm() = default;
    HashAlgorithm(const HashAlgorithm&) = delete;
    HashAlgorithm(HashAlgorithm&&) = delete;
    HashAlgorithm& operator=(const HashAlgorithm&) = delete;
    HashAlgorithm& operator=(HashAlgorithm&&) = delete;
    virtual ~HashAlgorithm() = default;

    /// Ends the hash and begins a new, empty one.
    /// @returns the raw digest, valid until the next digest() or the object's end
    virtual const std::vector<std::uint8_t>& digest() = 0;
    virtual void update(const std::uint8_t* data, std::size_t length) = 0;

    void update(const std::vector<std::uint8_t>& data);
    /// Feeds the bytes of the string without a terminator.
    void update(const std::string& data);
    /// Feeds the rest of the stream; nothing if it cannot be read.
    void update(std::istream& stream);
    /// Feeds at most `count` bytes of the stream.
    void update(std::istream& stream, std::size_t count);
};

}  // namespace zephran::crypto
