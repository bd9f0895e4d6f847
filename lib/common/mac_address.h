// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <initializer_list>
#include <ostream>
#include <string>

namespace zephran::common {

/// Six-byte Ethernet address. The all-zero address stands for one that is not set.
class MacAddress {
public:
    using Bytes = std::array<unsigned char, 6>;

    MacAddress() = default;

    /// Copies up to six bytes in network order, the rest stays zero.
    /// @throws std::invalid_argument "bytes" for more than six
    MacAddress(const std::initializer_list<unsigned char>& initial);

    /// Reads exactly "hh:hh:hh:hh:hh:hh", digits of either case.
    /// @throws std::invalid_argument "mac" for any other text
    static MacAddress parse(const std::string& text);

    /// True when at least one byte is not zero.
    [[nodiscard]] bool is_valid() const;
    [[nodiscard]] const Bytes& bytes() const { return bytes_; }

    /// Lower-case, colon-separated, always 17 characters.
    [[nodiscard]] std::string str() const;

    friend bool operator==(const MacAddress& a, const MacAddress& b) {
        return a.bytes_ == b.bytes_;
    }
    friend bool operator!=(const MacAddress& a, const MacAddress& b) { return !(a == b); }

private:
    Bytes bytes_{};
};

std::ostream& operator<<(std::ostream& stream, const MacAddress& address);

/// Value of a hexadecimal digit of either case, -1 for any other character.
int hex_char_to_int(char digit);

}  // namespace zephran::common
