// SPDX-License-Identifier: Apache-2.0
#include "common/mac_address.h"

#include <algorithm>
#include <stdexcept>

#include "common/exception.h"

namespace zephran::common {

namespace {

constexpr std::size_t text_length = 17;
constexpr std::size_t group_length = 3;

unsigned char parse_group(const std::string& text, std::size_t begin) {
    const int high = hex_char_to_int(text[begin]);
    const int low = hex_char_to_int(text[begin + 1]);
    const bool separated = begin + 2 == text_length || text[begin + 2] == ':';
    if (high < 0 || low < 0 || !separated) {
        ZEPHRAN_THROW(std::invalid_argument{"mac"});
    }
    return static_cast<unsigned char>(high * 16 + low);
}

}  // namespace

MacAddress::MacAddress(const std::initializer_list<unsigned char>& initial) {
    if (initial.size() > bytes_.size()) {
        ZEPHRAN_THROW(std::invalid_argument{"bytes"});
    }
    std::copy(initial.begin(), initial.end(), bytes_.begin());
}

MacAddress MacAddress::parse(const std::string& text) {
    if (text.size() != text_length) {
        ZEPHRAN_THROW(std::invalid_argument{"mac"});
    }
    MacAddress parsed;
    for (std::size_t i = 0; i < parsed.bytes_.size(); ++i) {
        parsed.bytes_.at(i) = parse_group(text, i * group_length);
    }
    return parsed;
}

bool MacAddress::is_valid() const {
    return std::any_of(bytes_.begin(), bytes_.end(), [](unsigned char byte) { return byte != 0; });
}

std::string MacAddress::str() const {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    text.reserve(text_length);
    for (const unsigned char byte : bytes_) {
        if (!text.empty()) {
            text += ':';
        }
        text += digits[byte / 16];
        text += digits[byte % 16];
    }
    return text;
}

std::ostream& operator<<(std::ostream& stream, const MacAddress& address) {
    return stream << address.str();
}

int hex_char_to_int(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

}  // namespace zephran::common
