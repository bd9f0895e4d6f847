// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zephran::uci_standin {

/// Splits the text of configuration and delta files into statements, one a line, each a list of
/// words. Words are separated by blanks; quotes, single or double, may hold blanks and line ends;
/// pieces that touch each other make one word; a backslash outside of single quotes takes the next
/// character as it is; "#" outside of quotes begins a comment.
class Tokenizer {
public:
    explicit Tokenizer(const std::string& whole_text) : text{whole_text} {}

    /// The words of the next line that has any; empty at the end of the text.
    /// @throws Failure parse_error for a quote that is never closed; the rest of the text is spent
    std::vector<std::string> next_statement();

private:
    [[nodiscard]] bool at_end() const { return position == text.size(); }
    std::string next_word();
    void append_single_quoted(std::string& word);
    void append_double_quoted(std::string& word);
    void append_escaped(std::string& word);
    [[noreturn]] void fail();

    const std::string& text;
    std::size_t position = 0;
};

}  // namespace zephran::uci_standin
