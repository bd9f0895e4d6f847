// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zephran::hawkbit {

/// A detail without the white space at its ends, which the server does not store.
[[nodiscard]] std::string strip_detail(const std::string& detail);

/// Shortens the longest of a report's details until they fit into 39 pieces of text on the server.
/// Of more than 39 details only the first and the last stay, with a detail in between saying how
/// many were left out.
/// @param details cleaned with clean_detail()
[[nodiscard]] std::vector<std::string> fit_details(const std::vector<std::string>& details);

}  // namespace zephran::hawkbit
