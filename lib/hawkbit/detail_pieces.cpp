// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/detail_pieces.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <numeric>
#include <string_view>

#include "hawkbit/utf8.h"

namespace zephran::hawkbit {
namespace {

/// Room for text on the server, in pieces. The server stores a stripped detail in pieces of 512
/// UTF-16 units, of which the last may be shorter; an empty detail takes one piece.
class Pieces {
public:
    static constexpr std::size_t units_each = 512;

    constexpr explicit Pieces(std::size_t count) : count_{count} {}
    static Pieces taken_by(const std::string& stripped) {
        const auto units = utf8::count_utf16_units(stripped);
        return Pieces{std::max<std::size_t>(1, (units + units_each - 1) / units_each)};
    }

    [[nodiscard]] constexpr std::size_t count() const { return count_; }
    [[nodiscard]] constexpr std::size_t utf16_units() const { return count_ * units_each; }
    [[nodiscard]] bool hold(const std::string& stripped) const {
        return utf8::count_utf16_units(stripped) <= utf16_units();
    }
    void give_up_one() { --count_; }

    friend bool operator<(Pieces a, Pieces b) { return a.count_ < b.count_; }

private:
    std::size_t count_;
};

/// What one report may take, safely below the 50 pieces that the server accepts.
constexpr Pieces report_limit{39};

/// What the server strips, besides the control characters that cleaning has turned into blanks:
/// tab, line end, blank, and the Unicode separators that allow a line break (U+1680, U+2000 to
/// U+2006, U+2008 to U+200A, U+2028, U+2029, U+205F, U+3000).
constexpr std::array<std::string_view, 18> white_space{
    "\t",           "\n",           " ",
    "\xE1\x9A\x80", "\xE2\x80\x80", "\xE2\x80\x81",
    "\xE2\x80\x82", "\xE2\x80\x83", "\xE2\x80\x84",
    "\xE2\x80\x85", "\xE2\x80\x86", "\xE2\x80\x88",
    "\xE2\x80\x89", "\xE2\x80\x8A", "\xE2\x80\xA8",
    "\xE2\x80\xA9", "\xE2\x81\x9F", "\xE3\x80\x80"};

std::string left_out_line(std::size_t count, const char* what) {
    return "[... " + std::to_string(count) + " " + what + " left out ...]";
}

/// @param stripped a text of more than `utf16_units`
std::string shorten(const std::string& stripped, std::size_t utf16_units) {
    const auto line = [](std::size_t count) {
        return "\n" + left_out_line(count, "characters") + "\n";
    };
    // The line is longest when everything is left out.
    const auto kept = utf16_units - line(utf8::count_characters(stripped)).size();
    const auto head_end = utf8::prefix_end(stripped, kept / 2);
    const auto tail_begin = utf8::suffix_begin(stripped, kept - kept / 2);
    const auto left_out = utf8::count_characters(stripped.substr(head_end, tail_begin - head_end));
    return stripped.substr(0, head_end) + line(left_out) + stripped.substr(tail_begin);
}

/// The server cuts a text after every piece, even through a character of two units. It would then
/// return the halves in the action's history, which no JSON reader accepts, and the action could
/// never be read again. A blank moves such a character behind the cut.
std::string keep_characters_whole(const std::string& stripped) {
    constexpr std::size_t longest_sequence = 4;
    std::string whole;
    whole.reserve(stripped.size());
    std::size_t units = 0;
    for (std::size_t position = 0; position < stripped.size();) {
        const auto length = std::max<std::size_t>(1, utf8::sequence_length(stripped, position));
        const std::size_t taken = length == longest_sequence ? 2 : 1;
        if (taken == 2 && units % Pieces::units_each == Pieces::units_each - 1) {
            whole += ' ';
            ++units;
        }
        whole.append(stripped, position, length);
        units += taken;
        position += length;
    }
    return whole;
}

std::string fit(const std::string& detail, Pieces room) {
    const std::string stripped = strip_detail(detail);
    const std::string whole = keep_characters_whole(
        room.hold(stripped) ? stripped : shorten(stripped, room.utf16_units()));
    if (!room.hold(whole)) {
        // There is at most one blank at each cut, so this leaves room for all of them.
        return keep_characters_whole(shorten(stripped, room.utf16_units() - room.count()));
    }
    // White space at the ends is left for the server to strip unless the text had to change.
    return whole == stripped ? detail : whole;
}

/// Keeps the first and the last details where there are more than a report has pieces.
std::vector<std::string> drop_middle(const std::vector<std::string>& details) {
    if (details.size() <= report_limit.count()) {
        return details;
    }
    constexpr std::ptrdiff_t kept_at_each_end = report_limit.count() / 2;
    std::vector<std::string> kept{details.begin(), details.begin() + kept_at_each_end};
    kept.push_back(left_out_line(details.size() - 2 * kept_at_each_end, "details"));
    kept.insert(kept.end(), details.end() - kept_at_each_end, details.end());
    return kept;
}

std::size_t total(const std::vector<Pieces>& shares) {
    return std::accumulate(shares.begin(), shares.end(), std::size_t{0},
                           [](std::size_t sum, Pieces share) { return sum + share.count(); });
}

/// @returns the room that each detail gets
std::vector<Pieces> share_room(const std::vector<std::string>& details) {
    std::vector<Pieces> shares;
    for (const auto& detail : details) {
        const auto wanted = Pieces::taken_by(keep_characters_whole(strip_detail(detail)));
        // No detail can have more than the report; without this limit a huge output would be
        // reduced piece by piece.
        shares.push_back(std::min(wanted, report_limit));
    }
    while (total(shares) > report_limit.count()) {
        std::max_element(shares.begin(), shares.end())->give_up_one();
    }
    return shares;
}

}  // namespace

std::string strip_detail(const std::string& detail) {
    std::size_t begin = 0;
    std::size_t end = detail.size();
    const auto shrinks_begin = [&](std::string_view blank) {
        return end - begin >= blank.size() && detail.compare(begin, blank.size(), blank) == 0;
    };
    const auto shrinks_end = [&](std::string_view blank) {
        return end - begin >= blank.size() &&
               detail.compare(end - blank.size(), blank.size(), blank) == 0;
    };
    for (bool again = true; again;) {
        again = false;
        for (const std::string_view blank : white_space) {
            if (shrinks_begin(blank)) {
                begin += blank.size();
                again = true;
            }
            if (shrinks_end(blank)) {
                end -= blank.size();
                again = true;
            }
        }
    }
    return detail.substr(begin, end - begin);
}

std::vector<std::string> fit_details(const std::vector<std::string>& details) {
    auto fitting = drop_middle(details);
    const auto shares = share_room(fitting);
    for (std::size_t i = 0; i < fitting.size(); ++i) {
        fitting[i] = fit(fitting[i], shares[i]);
    }
    return fitting;
}

}  // namespace zephran::hawkbit
