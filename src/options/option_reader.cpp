// SPDX-License-Identifier: Apache-2.0
#include "options/option_reader.h"

#include <algorithm>
#include <limits>

#include "common/logprint.h"
#include "config.h"

namespace zephran {

namespace {

constexpr const char* package = "zephran";

const std::vector<std::string> words_for_on{"1", "on", "true", "yes", "enabled"};
const std::vector<std::string> words_for_off{"0", "off", "false", "no", "disabled"};

bool contains(const std::vector<std::string>& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::optional<std::uint32_t> parse_digits(const std::string& text) {
    constexpr std::size_t most_digits = std::numeric_limits<std::uint32_t>::digits10;
    constexpr unsigned base = 10;
    std::uint64_t value = 0;
    if (text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    const std::size_t first = std::min(text.find_first_not_of('0'), text.size() - 1);
    if (text.size() - first > most_digits + 1) {
        return std::nullopt;
    }
    for (const char digit : text.substr(first)) {
        value = value * base + static_cast<unsigned>(digit - '0');
    }
    if (value > std::numeric_limits<std::uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(value);
}

std::string listed(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += text.empty() ? word : ", " + word;
    }
    return text;
}

}  // namespace

std::optional<std::string> OptionReader::text(const char* name) const {
    try {
        const auto value = config->get_option(std::string{package} + "." + section + "." + name);
        return value.empty() ? std::nullopt : std::make_optional(value);
    } catch (const OptionNotFoundException&) {
        return std::nullopt;
    }
}

std::optional<bool> OptionReader::flag(const char* name) const {
    const auto word = text(name);
    if (!word) {
        return std::nullopt;
    }
    if (contains(words_for_on, *word)) {
        return true;
    }
    if (contains(words_for_off, *word)) {
        return false;
    }
    report_bad_value(name, *word, listed(words_for_on) + " or " + listed(words_for_off));
    return std::nullopt;
}

std::optional<std::uint32_t> OptionReader::number(const char* name, Range range) const {
    const auto digits = text(name);
    if (!digits) {
        return std::nullopt;
    }
    const auto value = parse_digits(*digits);
    if (!value || *value < range.least || *value > range.greatest) {
        report_bad_value(name, *digits,
                         "a number from " + std::to_string(range.least) + " to " +
                             std::to_string(range.greatest));
        return std::nullopt;
    }
    return value;
}

void OptionReader::report_bad_value(const char* name, const std::string& value,
                                    const std::string& expected) {
    ZLOG_WARNING_AS("read_options", "event", "bad_option", "option", name, "value", value,
                    "expected", expected);
}

void OptionReader::report_bad_word(const char* name, const std::string& value,
                                   const std::vector<std::string>& words) {
    report_bad_value(name, value, "one of " + listed(words));
}

}  // namespace zephran
