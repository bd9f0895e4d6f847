// SPDX-License-Identifier: Apache-2.0
// The head of an answer with a part of a file. Its first text is what the header says.
#include "http/content_range.h"

#include <array>
#include <sstream>

#include "fuzz/target.h"
#include "http/head_reader.h"

namespace zephran::fuzz {

namespace {

std::string without_zeros(const std::string& digits) {
    const auto first = digits.find_first_not_of('0');
    return first == std::string::npos ? "0" : digits.substr(first);
}

/// The numbers of a text, without zeros before them, and all other characters, with "n" for each.
std::string shape_of(const std::string& text, std::vector<std::string>& numbers) {
    const std::string digits = "0123456789";
    std::string shape;
    for (std::size_t i = 0; i < text.size();) {
        const auto end = std::min(text.find_first_not_of(digits, i), text.size());
        if (end > i) {
            numbers.push_back(without_zeros(text.substr(i, end - i)));
            shape += 'n';
            i = end;
        } else {
            shape += text[i++];
        }
    }
    return shape;
}

void require_true_rest(const std::string& text, std::uint64_t from, std::uint64_t size) {
    std::vector<std::string> numbers;
    const std::string shape = shape_of(text, numbers);
    require(shape == "bytes n-n/n" || shape == "bytes n-n/*", "the rest of a file has this form");
    require(numbers[0] == std::to_string(from), "the rest begins where it was asked for");
    require(numbers[1] == std::to_string(size - 1), "the rest ends with the file");
    require(numbers.size() == 2 || numbers[2] == std::to_string(size),
            "the rest is of a file of this size");
}

void look_at_head(const std::string& text) {
    http::HeadReader reader;
    std::istringstream lines{text};
    bool is_complete = false;
    for (std::string line; std::getline(lines, line);) {
        const auto before = reader.head();
        is_complete = reader.add(line + "\n") || is_complete;
        require(!is_complete || reader.head().status >= 200 || before.status < 200,
                "an interim answer completes nothing");
    }
    const std::string blanks = " \t\r\n";
    for (const std::string& value : {reader.head().content_range, reader.head().retry_after}) {
        require(value.empty() || (blanks.find(value.front()) == std::string::npos &&
                                  blanks.find(value.back()) == std::string::npos),
                "a header has no blanks at its ends");
    }
}

}  // namespace

void try_input(Input input) {
    const std::string text = input.text();
    if (const auto range = http::parse_content_range(text)) {
        require(range->first.has_value() == range->last.has_value(), "a range has two ends");
        require(!range->first || *range->first <= *range->last, "a range has a direction");
        require(!range->last || !range->size || *range->last < *range->size,
                "a range lies within its file");
        if (range->last) {
            static_cast<void>(http::is_rest_of_file(text, *range->first, *range->last + 1));
        }
    }
    for (const std::uint64_t size : std::array<std::uint64_t, 4>{1, 26, 200'000, 1ULL << 40U}) {
        for (const std::uint64_t from : {size / 2, size - 1}) {
            if (http::is_rest_of_file(text, from, size)) {
                require_true_rest(text, from, size);
            }
        }
    }
    look_at_head(input.rest());
}

}  // namespace zephran::fuzz
