#pragma once

#include <string>
#include <string_view>

namespace zephran::ubusd {

/// Bytes from hexadecimal digits; blanks between them do not matter.
inline std::string bytes(std::string_view digits) {
    std::string result;
    std::string pair;
    for (const char digit : digits) {
        if (digit == ' ') {
            continue;
        }
        pair.push_back(digit);
        if (pair.size() == 2) {
            result.push_back(static_cast<char>(std::stoi(pair, nullptr, 16)));
            pair.clear();
        }
    }
    return result;
}

/// The signature of an object with a method "poll" that takes a string, and a method "fail".
inline const std::string recorded_signature = bytes(
    "82000020 0004706f 6c6c0000 85000014 00086167 656e745f 69640000 00000003"
    "8200000c 00046661 696c0000");

}  // namespace zephran::ubusd
