// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// What the update server does with a text, written down a second time.
namespace zephran::fuzz {

/// @returns whether the text is valid UTF-8; its UTF-16 units are in `units` then
bool read_utf8(const std::string& text, std::u16string& units);

/// Requires what the server requires of the details of one report, and that it can store them.
void require_acceptable(const std::vector<std::string>& details);

}  // namespace zephran::fuzz
