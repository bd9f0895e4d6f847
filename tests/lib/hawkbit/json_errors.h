// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <gtest/gtest.h>

#include "common/json.h"

namespace zephran::hawkbit {

/// The document that a text spells.
inline Json::Value parse(const std::string& text) {
    return common::JSONDefaultParser{}(text);
}

/// Runs something that must throw, and returns the key that the exception names.
template <class Expected, class Action>
std::string named_key(Action action) {
    try {
        action();
    } catch (const Expected& error) {
        const auto* const key = boost::get_error_info<common::value_tag>(error);
        return key == nullptr ? "(no key)" : *key;
    }
    return "(no exception)";
}

/// The key that a message names as missing when it reads a document.
template <class Message>
std::string missing_key(const Json::Value& document) {
    return named_key<common::MissingValueException>([&] { Message{}.from_json(document); });
}

/// The key that a message names as being of another type when it reads a document.
template <class Message>
std::string mistyped_key(const Json::Value& document) {
    return named_key<common::UnexpectedTypeException>([&] { Message{}.from_json(document); });
}

}  // namespace zephran::hawkbit
