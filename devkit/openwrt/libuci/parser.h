// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran::uci_standin {

struct Package;

/// Reads the text of a configuration file into an empty package. A section that appears twice is
/// one section; of an option that appears twice the last value counts.
///
/// @throws Failure parse_error for anything that is not "config", "option" or "list" with its words
void parse_configuration(const std::string& text, Package& package);

}  // namespace zephran::uci_standin
