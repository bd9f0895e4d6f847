// SPDX-License-Identifier: Apache-2.0
#include "change.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "failure.h"
#include "key.h"
#include "model.h"
#include "tokenizer.h"
#include "writer.h"

namespace zephran::uci_standin {

namespace {

constexpr const char* prefixes = "-+@^|~";

Outcome set_section(const Change& change, Package& package) {
    Section* const section = package.find(change.section);
    if (section == nullptr) {
        package.add(change.section, change.value);
        return Outcome::changed;
    }
    if (section->type == change.value) {
        return Outcome::already_so;
    }
    section->type = change.value;
    return Outcome::changed;
}

Outcome set_option(const Change& change, Section& section) {
    Option* const option = section.find(change.option);
    if (option != nullptr && option->visible.type == string_option &&
        option->text == change.value) {
        return Outcome::already_so;
    }
    section.find_or_add(change.option).become_string(change.value);
    return Outcome::changed;
}

Outcome remove(const Change& change, Package& package, Section& section) {
    const auto is_option = [&](const Option& option) { return option.name == change.option; };
    const auto is_section = [&](const Section& other) { return &other == &section; };
    if (change.option.empty()) {
        package.sections.remove_if(is_section);
        return Outcome::changed;
    }
    if (section.find(change.option) == nullptr) {
        return Outcome::impossible;
    }
    section.options.remove_if(is_option);
    return Outcome::changed;
}

Outcome rename(const Change& change, Section& section) {
    if (change.option.empty()) {
        section.rename(change.value);
        return Outcome::changed;
    }
    Option* const option = section.find(change.option);
    if (option == nullptr) {
        return Outcome::impossible;
    }
    option->rename(change.value);
    return Outcome::changed;
}

Outcome reorder(const Change& change, Package& package, Section& section) {
    auto from = package.sections.begin();
    while (&*from != &section) {
        ++from;
    }
    std::list<Section> moved;
    moved.splice(moved.end(), package.sections, from);
    const long position = std::clamp(std::strtol(change.value.c_str(), nullptr, 10), 0L,
                                     static_cast<long>(package.sections.size()));
    package.sections.splice(std::next(package.sections.begin(), position), moved);
    return Outcome::changed;
}

Outcome add_to_list(const Change& change, Section& section) {
    section.append_to_list(change.option, change.value);
    return Outcome::changed;
}

Outcome remove_from_list(const Change& change, Section& section) {
    Option* const option = section.find(change.option);
    if (option == nullptr || option->visible.type != list_option) {
        return Outcome::impossible;
    }
    std::vector<std::string> items = option->items;
    items.erase(std::remove(items.begin(), items.end(), change.value), items.end());
    if (items.size() == option->items.size()) {
        return Outcome::already_so;
    }
    option->become_list(std::move(items));
    return Outcome::changed;
}

Change change_from_word(std::string word, const std::string& package_name) {
    auto operation = Change::Operation::set;
    if (!word.empty() && std::string{prefixes}.find(word.front()) != std::string::npos) {
        operation = static_cast<Change::Operation>(word.front());
        word.erase(0, 1);
    }
    uci_ptr pointer{};
    split_key(word.data(), false, pointer);
    if (pointer.package != package_name || pointer.section == nullptr) {
        throw Failure{parse_error};
    }
    const auto text_of = [](const char* part) { return part == nullptr ? "" : part; };
    Change change{operation, pointer.section, text_of(pointer.option), text_of(pointer.value)};
    const bool about_an_option = operation == Change::Operation::add_to_list ||
                                 operation == Change::Operation::remove_from_list;
    if (operation != Change::Operation::remove &&
        (change.value.empty() || (about_an_option && change.option.empty()))) {
        throw Failure{parse_error};
    }
    return change;
}

}  // namespace

Outcome apply(const Change& change, Package& package) {
    if (change.operation == Change::Operation::set && change.option.empty()) {
        return set_section(change, package);
    }
    if (change.operation == Change::Operation::add_anonymous) {
        package.add(change.section, change.value).anonymous = true;
        return Outcome::changed;
    }
    Section* const section = package.find(change.section);
    if (section == nullptr) {
        return Outcome::impossible;
    }
    switch (change.operation) {
        case Change::Operation::remove:
            return remove(change, package, *section);
        case Change::Operation::rename:
            return rename(change, *section);
        case Change::Operation::reorder:
            return reorder(change, package, *section);
        case Change::Operation::add_to_list:
            return add_to_list(change, *section);
        case Change::Operation::remove_from_list:
            return remove_from_list(change, *section);
        case Change::Operation::set:
        case Change::Operation::add_anonymous:
            break;
    }
    return set_option(change, *section);
}

std::string to_line(const std::string& package_name, const Change& change) {
    std::string line;
    if (change.operation != Change::Operation::set) {
        line += static_cast<char>(change.operation);
    }
    line.append(package_name).append(".").append(change.section);
    if (!change.option.empty()) {
        line.append(".").append(change.option);
    }
    if (change.operation != Change::Operation::remove) {
        line.append("=").append(quoted(change.value));
    }
    return line + '\n';
}

std::vector<Change> changes_from_text(const std::string& text, const std::string& package_name) {
    std::vector<Change> changes;
    Tokenizer tokenizer{text};
    for (;;) {
        try {
            const std::vector<std::string> words = tokenizer.next_statement();
            if (words.empty()) {
                return changes;
            }
            changes.push_back(change_from_word(words.front(), package_name));
        } catch (const Failure& failure) {
            if (failure.result != parse_error && failure.result != invalid) {
                throw;
            }
        }
    }
}

}  // namespace zephran::uci_standin
