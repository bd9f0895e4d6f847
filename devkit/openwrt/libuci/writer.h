// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran::uci_standin {

struct Package;

/// The text in single quotes, with quotes inside of it written '\''.
std::string quoted(const std::string& text);

/// The configuration file of a package: an empty line before each section, options indented by a
/// tab, values in single quotes, one more empty line at the end. Comments are not kept.
std::string configuration_text(const Package& package);

}  // namespace zephran::uci_standin
