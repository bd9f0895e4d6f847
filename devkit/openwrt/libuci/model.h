// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>
#include <vector>

#include "abi.h"
#include "change.h"

namespace zephran::uci_standin {

/// An option as programs see it, and the texts that its pointers lead to.
struct Option {
    Option(Section& owner, std::string option_name);
    Option(const Option&) = delete;
    Option& operator=(const Option&) = delete;
    ~Option() = default;

    void become_string(const std::string& value);
    void become_list(std::vector<std::string> values);
    void rename(const std::string& new_name);

    uci_option visible{};
    std::string name;
    std::string text;
    std::vector<std::string> items;
};

struct Section {
    Section(std::string section_name, std::string section_type, bool is_anonymous);
    Section(const Section&) = delete;
    Section& operator=(const Section&) = delete;
    ~Section() = default;

    Option* find(const std::string& option_name);
    /// The option of that name, a new one at the end of the section if there is none.
    Option& find_or_add(const std::string& option_name);
    /// Makes the option a list, whose first item is the string that it was before.
    void append_to_list(const std::string& option_name, const std::string& value);
    void rename(const std::string& new_name);

    uci_element visible{};
    std::string name;
    std::string type;
    bool anonymous;
    std::list<Option> options;
};

struct Package {
    explicit Package(std::string package_name);
    Package(const Package&) = delete;
    Package& operator=(const Package&) = delete;
    ~Package() = default;

    Section* find(const std::string& section_name);
    /// "@type[index]" or "@[index]", counted from the end when the index is negative.
    Section* find_indexed(const std::string& section_type, long index);
    Section& add(const std::string& section_name, const std::string& section_type);
    /// A section without a name gets one that depends on its place and type only, so that it is
    /// found under it as long as the file does not change.
    Section& add_anonymous(const std::string& section_type);

    uci_element visible{};
    std::string name;
    std::list<Section> sections;
    /// Changes of this context that no delta file holds yet.
    std::vector<Change> unsaved;
};

}  // namespace zephran::uci_standin
