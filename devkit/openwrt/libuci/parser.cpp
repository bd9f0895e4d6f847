// SPDX-License-Identifier: Apache-2.0
#include "parser.h"

#include <vector>

#include "failure.h"
#include "key.h"
#include "model.h"
#include "tokenizer.h"

namespace zephran::uci_standin {

namespace {

using Words = std::vector<std::string>;

void require(bool condition) {
    if (!condition) {
        throw Failure{parse_error};
    }
}

Section& read_section(const Words& words, Package& package) {
    require((words.size() == 2 || words.size() == 3) && is_type(words[1]));
    if (words.size() == 2) {
        return package.add_anonymous(words[1]);
    }
    require(is_identifier(words[2]));
    Section* const existing = package.find(words[2]);
    if (existing == nullptr) {
        return package.add(words[2], words[1]);
    }
    require(existing->type == words[1]);
    return *existing;
}

/// Without a value there is no option; one that is there already stays.
bool has_value(const Words& words) {
    require((words.size() == 2 || words.size() == 3) && is_identifier(words[1]));
    return words.size() == 3 && !words[2].empty();
}

void read_option(const Words& words, Section& section) {
    if (!has_value(words)) {
        return;
    }
    section.find_or_add(words[1]).become_string(words[2]);
}

void read_list_item(const Words& words, Section& section) {
    if (!has_value(words)) {
        return;
    }
    section.append_to_list(words[1], words[2]);
}

}  // namespace

void parse_configuration(const std::string& text, Package& package) {
    Tokenizer tokenizer{text};
    Section* section = nullptr;
    for (Words words = tokenizer.next_statement(); !words.empty();
         words = tokenizer.next_statement()) {
        if (words[0] == "config") {
            section = &read_section(words, package);
            continue;
        }
        require(section != nullptr);
        if (words[0] == "option") {
            read_option(words, *section);
        } else {
            require(words[0] == "list");
            read_list_item(words, *section);
        }
    }
}

}  // namespace zephran::uci_standin
