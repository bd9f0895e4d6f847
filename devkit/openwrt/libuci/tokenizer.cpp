// SPDX-License-Identifier: Apache-2.0
#include "tokenizer.h"

#include "failure.h"

namespace zephran::uci_standin {

namespace {

bool is_blank(char character) {
    return character == ' ' || character == '\t' || character == '\r';
}

bool ends_word(char character) {
    return is_blank(character) || character == '\n' || character == '#';
}

}  // namespace

std::vector<std::string> Tokenizer::next_statement() {
    std::vector<std::string> words;
    while (!at_end()) {
        const char character = text[position];
        if (character == '\n') {
            ++position;
            if (!words.empty()) {
                break;
            }
        } else if (is_blank(character)) {
            ++position;
        } else if (character == '#') {
            const std::size_t line_end = text.find('\n', position);
            position = line_end == std::string::npos ? text.size() : line_end;
        } else {
            words.push_back(next_word());
        }
    }
    return words;
}

std::string Tokenizer::next_word() {
    std::string word;
    while (!at_end() && !ends_word(text[position])) {
        const char character = text[position];
        ++position;
        if (character == '\'') {
            append_single_quoted(word);
        } else if (character == '"') {
            append_double_quoted(word);
        } else if (character == '\\') {
            append_escaped(word);
        } else {
            word += character;
        }
    }
    return word;
}

void Tokenizer::fail() {
    position = text.size();
    throw Failure{parse_error};
}

void Tokenizer::append_single_quoted(std::string& word) {
    const std::size_t closing = text.find('\'', position);
    if (closing == std::string::npos) {
        fail();
    }
    word.append(text, position, closing - position);
    position = closing + 1;
}

void Tokenizer::append_double_quoted(std::string& word) {
    while (!at_end() && text[position] != '"') {
        const char character = text[position];
        ++position;
        if (character == '\\') {
            append_escaped(word);
        } else {
            word += character;
        }
    }
    if (at_end()) {
        fail();
    }
    ++position;
}

void Tokenizer::append_escaped(std::string& word) {
    if (at_end()) {
        return;
    }
    // A backslash at the end of a line only joins it with the next one.
    if (text[position] != '\n') {
        word += text[position];
    }
    ++position;
}

}  // namespace zephran::uci_standin
