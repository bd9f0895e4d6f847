// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zephran::uci_standin {

struct Package;

/// One change of a package, as a line of a delta file spells it.
struct Change {
    enum class Operation : char {
        set = '=',
        remove = '-',
        add_anonymous = '+',
        rename = '@',
        reorder = '^',
        add_to_list = '|',
        remove_from_list = '~'
    };

    Operation operation;
    std::string section;
    /// Empty when the change is about the section.
    std::string option;
    /// Empty for deletions; for a section its type, new name or position.
    std::string value;
};

enum class Outcome {
    changed,
    already_so,
    /// What the change is about does not exist.
    impossible
};

Outcome apply(const Change& change, Package& package);

/// The line of a delta file, line end included.
std::string to_line(const std::string& package_name, const Change& change);

/// The changes in the text of a delta file. A line that makes no sense or belongs to another
/// package is left out, as one bad line must not make a package unreadable.
std::vector<Change> changes_from_text(const std::string& text, const std::string& package_name);

}  // namespace zephran::uci_standin
