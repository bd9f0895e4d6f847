// SPDX-License-Identifier: Apache-2.0
#include "model.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace zephran::uci_standin {

namespace {

unsigned short_hash(const std::string& text) {
    std::uint32_t hash = 5381;
    for (const char character : text) {
        hash = hash * 33U + static_cast<unsigned char>(character);
    }
    return hash & 0xffffU;
}

void link_to_itself(uci_list& head) {
    head.next = &head;
    head.prev = &head;
}

void present(uci_element& element, int type, std::string& name) {
    link_to_itself(element.list);
    element.type = type;
    element.name = name.data();
}

}  // namespace

Option::Option(Section& owner, std::string option_name) : name{std::move(option_name)} {
    present(visible.e, option_element, name);
    visible.section = &owner;
    become_string({});
}

void Option::become_string(const std::string& value) {
    items.clear();
    text = value;
    visible.type = string_option;
    visible.v.string = text.data();
}

void Option::become_list(std::vector<std::string> values) {
    items = std::move(values);
    text.clear();
    visible.type = list_option;
    link_to_itself(visible.v.values);
}

void Option::rename(const std::string& new_name) {
    name = new_name;
    visible.e.name = name.data();
}

Section::Section(std::string section_name, std::string section_type, bool is_anonymous)
    : name{std::move(section_name)}, type{std::move(section_type)}, anonymous{is_anonymous} {
    present(visible, section_element, name);
}

Option* Section::find(const std::string& option_name) {
    const auto found =
        std::find_if(options.begin(), options.end(),
                     [&option_name](const Option& option) { return option.name == option_name; });
    return found == options.end() ? nullptr : &*found;
}

Option& Section::find_or_add(const std::string& option_name) {
    Option* const existing = find(option_name);
    return existing == nullptr ? options.emplace_back(*this, option_name) : *existing;
}

void Section::append_to_list(const std::string& option_name, const std::string& value) {
    const Option* const existing = find(option_name);
    std::vector<std::string> items;
    if (existing != nullptr && existing->visible.type == string_option) {
        items.push_back(existing->text);
    } else if (existing != nullptr) {
        items = existing->items;
    }
    items.push_back(value);
    find_or_add(option_name).become_list(std::move(items));
}

void Section::rename(const std::string& new_name) {
    name = new_name;
    anonymous = false;
    visible.name = name.data();
}

Package::Package(std::string package_name) : name{std::move(package_name)} {
    present(visible, package_element, name);
}

Section* Package::find(const std::string& section_name) {
    const auto found = std::find_if(
        sections.begin(), sections.end(),
        [&section_name](const Section& section) { return section.name == section_name; });
    return found == sections.end() ? nullptr : &*found;
}

Section* Package::find_indexed(const std::string& section_type, long index) {
    std::vector<Section*> candidates;
    for (Section& section : sections) {
        if (section_type.empty() || section.type == section_type) {
            candidates.push_back(&section);
        }
    }
    const long count = static_cast<long>(candidates.size());
    const long wanted = index < 0 ? count + index : index;
    return wanted < 0 || wanted >= count ? nullptr : candidates[static_cast<std::size_t>(wanted)];
}

Section& Package::add(const std::string& section_name, const std::string& section_type) {
    return sections.emplace_back(section_name, section_type, false);
}

Section& Package::add_anonymous(const std::string& section_type) {
    std::array<char, 32> generated{};
    (void)std::snprintf(generated.data(), generated.size(), "cfg%02x%04x",
                        static_cast<unsigned>(sections.size() + 1), short_hash(section_type));
    return sections.emplace_back(generated.data(), section_type, true);
}

}  // namespace zephran::uci_standin
