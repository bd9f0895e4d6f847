// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace zephran::hawkbit {

/// Makes one detail of a feedback acceptable to the server, which refuses the whole feedback with
/// 400 for a single bad character or tag, at every attempt:
/// - a `<` that begins markup (an ASCII letter, `/`, `!` or `?` follows) gets a blank after it;
/// - control characters other than line end and tab become blanks;
/// - every byte that is not part of valid UTF-8 becomes U+FFFD.
/// Cleaning is idempotent.
[[nodiscard]] std::string clean_detail(const std::string& detail);

/// Cleans every detail of one feedback and shortens the longest until they take less than 40 pieces
/// on the server, safely below its limit of 50. The server strips white space from both ends of a
/// detail and stores the rest in pieces of 512 UTF-16 units; an empty detail takes one piece. A
/// shortened text keeps its beginning and its end, with a line in between saying how many
/// characters were left out. A list of more than 39 details is shortened in the same way.
[[nodiscard]] std::vector<std::string> clean_details(const std::vector<std::string>& details);

/// True if a text from an action's history is what the server made of a local text.
[[nodiscard]] bool same_detail(const std::string& local, const std::string& from_history);

}  // namespace zephran::hawkbit
