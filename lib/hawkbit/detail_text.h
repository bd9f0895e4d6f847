#pragma once

#include <string>
#include <vector>

namespace zephran::hawkbit {

/// Makes one detail of a feedback acceptable to the server, which answers a single bad character
/// or tag with 400 for the whole feedback, again at every attempt:
/// - a `<` that begins markup (an ASCII letter, `/`, `!` or `?` follows) gets a blank after it;
/// - control characters other than line end and tab become blanks;
/// - every byte that is not part of valid UTF-8 becomes U+FFFD.
/// A cleaned text is not changed by another cleaning.
[[nodiscard]] std::string clean_detail(const std::string& detail);

/// Cleans every detail of one feedback, and shortens the longest until the server will store less
/// than 40 pieces of text, safely below the 50 it takes. It strips white space from both ends of a
/// detail and cuts the rest into pieces of 512 UTF-16 units; an empty detail is one piece. What is
/// shortened keeps its beginning and its end, with a line in between saying how many characters
/// were left out; so does a list of more details than pieces, with a detail in between.
[[nodiscard]] std::vector<std::string> clean_details(const std::vector<std::string>& details);

/// True if a text found in an action's history is what became of a local text that was reported.
[[nodiscard]] bool same_detail(const std::string& local, const std::string& from_history);

}  // namespace zephran::hawkbit
