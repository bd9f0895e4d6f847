// SPDX-License-Identifier: Apache-2.0
#include "key.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace zephran::uci_standin {

namespace {

bool is_identifier_character(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || character == '_';
}

bool is_printable(char character) {
    return character > ' ' && character <= '~';
}

bool is_value_character(char character) {
    return static_cast<unsigned char>(character) >= ' ' || character == '\t' || character == '\n' ||
           character == '\r';
}

bool is_package(const std::string& text) {
    return is_type(text);
}

bool is_value(const std::string& text) {
    return std::all_of(text.begin(), text.end(), is_value_character);
}

char* cut_at(char* text, char separator) {
    char* const found = text == nullptr ? nullptr : std::strchr(text, separator);
    if (found == nullptr) {
        return nullptr;
    }
    *found = '\0';
    return found + 1;
}

void check_section(const char* section, bool extended) {
    if (extended && is_indexed_section(section)) {
        parse_indexed_section(section);
    } else if (!is_identifier(section)) {
        throw Failure{invalid};
    }
}

}  // namespace

bool is_identifier(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), is_identifier_character);
}

bool is_type(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), is_printable);
}

bool is_indexed_section(const char* section) {
    return *section == '@';
}

IndexedSection parse_indexed_section(const char* section) {
    const std::string text{section};
    const std::size_t opening = text.find('[');
    if (opening == std::string::npos || text.back() != ']') {
        throw Failure{invalid};
    }
    const std::string type = text.substr(1, opening - 1);
    const std::string index_text = text.substr(opening + 1, text.size() - opening - 2);
    if (!type.empty() && !is_type(type)) {
        throw Failure{invalid};
    }
    char* end = nullptr;
    errno = 0;
    const long index = std::strtol(index_text.c_str(), &end, 10);
    if (*end != '\0' || errno == ERANGE) {
        throw Failure{invalid};
    }
    return {type, index};
}

void split_key(char* text, bool extended, uci_ptr& pointer) {
    pointer.value = cut_at(text, '=');
    char* const section = cut_at(text, '.');
    char* const option = cut_at(section, '.');
    pointer.package = text;
    pointer.section = section;
    pointer.option = option;
    if (!is_package(text)) {
        throw Failure{parse_error};
    }
    // A fourth part makes a bad option of the third.
    const bool bad_option = option != nullptr && !is_identifier(option);
    const bool bad_value = pointer.value != nullptr && !is_value(pointer.value);
    if (bad_option || bad_value) {
        throw Failure{parse_error};
    }
    if (section != nullptr) {
        check_section(section, extended);
    }
}

}  // namespace zephran::uci_standin
