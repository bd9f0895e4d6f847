// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/attribute_text.h"

#include <algorithm>
#include <map>

#include "hawkbit/utf8.h"

namespace zephran::hawkbit {
namespace {

constexpr std::size_t most_characters = 128;
constexpr std::size_t most_attributes = 100;

bool is_own(const std::string& key) {
    return std::find(own_attributes.begin(), own_attributes.end(), key) != own_attributes.end();
}

std::string clean(const std::string& text) {
    static const std::string accepted =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 \t\n\v\f\r"
        "_-!@#$%^&*()+=[]{}|;:'\",.<>/\\?";

    std::string cleaned;
    for (std::size_t position = 0; position < text.size() && cleaned.size() < most_characters;) {
        const bool is_accepted = accepted.find(text[position]) != std::string::npos;
        cleaned += is_accepted ? text[position] : '?';
        position += std::max<std::size_t>(1, utf8::sequence_length(text, position));
    }
    return cleaned;
}

/// @param original_keys the key that each attribute had before cleaning
void drop_surplus(CleanedAttributes& result,
                  const std::map<std::string, std::string>& original_keys) {
    auto& attributes = result.attributes;
    const auto own = static_cast<std::size_t>(
        std::count_if(attributes.begin(), attributes.end(),
                      [](const auto& attribute) { return is_own(attribute.first); }));
    std::size_t free_places = most_attributes - own;
    for (auto attribute = attributes.begin(); attribute != attributes.end();) {
        if (is_own(attribute->first)) {
            ++attribute;
        } else if (free_places > 0) {
            --free_places;
            ++attribute;
        } else {
            result.changes.push_back(
                {original_keys.at(attribute->first), "dropped: too many attributes"});
            attribute = attributes.erase(attribute);
        }
    }
}

}  // namespace

CleanedAttributes clean_attributes(const Attributes& attributes) {
    CleanedAttributes result;
    std::map<std::string, std::string> original_keys;
    for (const auto& [key, value] : attributes) {
        const auto cleaned_key = clean(key);
        const auto cleaned_value = clean(value);
        if (!result.attributes.emplace(cleaned_key, cleaned_value).second) {
            result.changes.push_back({key, "dropped: key taken after cleaning"});
            continue;
        }
        original_keys.emplace(cleaned_key, key);
        if (cleaned_key != key) {
            result.changes.push_back({key, "key changed"});
        }
        if (cleaned_value != value) {
            result.changes.push_back({key, "value changed"});
        }
    }
    drop_surplus(result, original_keys);
    return result;
}

}  // namespace zephran::hawkbit
