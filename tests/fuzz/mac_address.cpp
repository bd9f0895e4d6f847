// SPDX-License-Identifier: Apache-2.0
#include "common/mac_address.h"

#include <stdexcept>

#include <boost/algorithm/string/case_conv.hpp>

#include "fuzz/target.h"

namespace zephran::fuzz {

namespace {

bool is_address(const std::string& text) {
    constexpr std::size_t length = 17;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::string expected = i % 3 == 2 ? ":" : "0123456789abcdefABCDEF";
        if (expected.find(text[i]) == std::string::npos) {
            return false;
        }
    }
    return text.size() == length;
}

}  // namespace

void try_input(Input input) {
    const std::string text = input.rest();
    try {
        const auto address = common::MacAddress::parse(text);
        require(is_address(text), "nothing but an address is read");
        require(address.str() == boost::to_lower_copy(text), "an address is read as it is written");
        require(common::MacAddress::parse(address.str()) == address, "an address is stable");
    } catch (const std::invalid_argument&) {
        require(!is_address(text), "an address is not refused");
    }
}

}  // namespace zephran::fuzz
