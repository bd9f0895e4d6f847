// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zephran {

class Config;

/// Reads the options of one section of the package "zephran", once, at start-up.
///
/// A missing or empty option, one that cannot be read, and one in a section that does not exist are
/// absent. A value that cannot be understood is absent, too, after one WARNING (event "bad_option")
/// that names the option, its value, and what was expected. Nothing is thrown.
class OptionReader {
public:
    /// The least and the greatest value of a number.
    struct Range {
        std::uint32_t least;
        std::uint32_t greatest;
    };
    template <class Value>
    using Choices = std::initializer_list<std::pair<const char*, Value>>;

    /// @param device_config must outlive this object
    OptionReader(Config& device_config, std::string section_name)
        : config{&device_config}, section{std::move(section_name)} {}

    [[nodiscard]] std::optional<std::string> text(const char* name) const;
    /// 1, on, true, yes, enabled or 0, off, false, no, disabled.
    [[nodiscard]] std::optional<bool> flag(const char* name) const;
    /// Decimal digits, nothing else.
    [[nodiscard]] std::optional<std::uint32_t> number(const char* name, Range range) const;
    /// One of a few words.
    template <class Value>
    [[nodiscard]] std::optional<Value> choice(const char* name, Choices<Value> choices) const {
        const auto word = text(name);
        if (!word) {
            return std::nullopt;
        }
        std::vector<std::string> words;
        for (const auto& [known, value] : choices) {
            if (*word == known) {
                return value;
            }
            words.emplace_back(known);
        }
        report_bad_word(name, *word, words);
        return std::nullopt;
    }

    /// Reports a value that this class takes and its reader does not.
    static void report_bad_value(const char* name, const std::string& value,
                                 const std::string& expected);

private:
    static void report_bad_word(const char* name, const std::string& value,
                                const std::vector<std::string>& words);

    Config* config;
    std::string section;
};

}  // namespace zephran
