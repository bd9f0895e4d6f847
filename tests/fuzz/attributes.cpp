// SPDX-License-Identifier: Apache-2.0
// What a target tells the update server about itself. The first byte says how many attributes are
// added to those of the input.
#include <algorithm>

#include "fuzz/target.h"
#include "hawkbit/attribute_text.h"

namespace zephran::fuzz {

namespace {

constexpr std::size_t most_attributes = 100;
constexpr std::size_t longest = 128;

bool is_accepted(char character) {
    static const std::string others = " \t\n\v\f\r_-!@#$%^&*()+=[]{}|;:'\",.<>/\\?";
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || others.find(character) != std::string::npos;
}

void require_acceptable_text(const std::string& text) {
    require(text.size() <= longest, "keys and values have at most 128 characters");
    require(std::all_of(text.begin(), text.end(), is_accepted),
            "keys and values have accepted characters only");
}

hawkbit::Attributes read_attributes(Input& input) {
    hawkbit::Attributes attributes;
    for (unsigned left = input.byte(); left > 0; --left) {
        attributes["n" + std::to_string(left)] = "added";
    }
    while (!input.is_at_end()) {
        const std::string key = input.text();
        attributes[key] = input.text();
    }
    return attributes;
}

}  // namespace

void try_input(Input input) {
    const auto given = read_attributes(input);
    const auto cleaned = hawkbit::clean_attributes(given);
    require(cleaned.attributes.size() <= most_attributes, "there are at most 100 attributes");
    for (const auto& [key, value] : cleaned.attributes) {
        require_acceptable_text(key);
        require_acceptable_text(value);
    }
    for (const char* const own : hawkbit::own_attributes) {
        require(given.count(own) <= cleaned.attributes.count(own), "the daemon's own ones stay");
    }
    const auto again = hawkbit::clean_attributes(cleaned.attributes);
    require(again.attributes == cleaned.attributes && again.changes.empty(),
            "cleaning twice is cleaning once");
}

}  // namespace zephran::fuzz
