#include "hawkbit/detail_text.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <string_view>
#include <utility>

#include "hawkbit/utf8.h"

namespace zephran::hawkbit {
namespace {

constexpr std::size_t units_per_piece = 512;
constexpr std::size_t most_pieces = 39;

/// What the server strips, apart from the controls that cleaning has made blanks: tab, line end
/// and the separators of Unicode that may be broken at.
constexpr std::array<std::string_view, 18> white_space{
    "\t",       "\n",       " ",        u8"\u1680", u8"\u2000", u8"\u2001",
    u8"\u2002", u8"\u2003", u8"\u2004", u8"\u2005", u8"\u2006", u8"\u2008",
    u8"\u2009", u8"\u200A", u8"\u2028", u8"\u2029", u8"\u205F", u8"\u3000"};

bool is_control(const std::string& text, std::size_t position, std::size_t length) {
    constexpr unsigned char first_printable = 0x20;
    constexpr unsigned char del = 0x7F;
    constexpr unsigned char lead_of_c1 = 0xC2;
    constexpr unsigned char last_of_c1 = 0x9F;

    const auto first = static_cast<unsigned char>(text[position]);
    if (length == 1) {
        return (first < first_printable && first != '\n' && first != '\t') || first == del;
    }
    return first == lead_of_c1 && static_cast<unsigned char>(text[position + 1]) <= last_of_c1;
}

bool begins_markup(const std::string& text, std::size_t position) {
    static const std::string after_bracket =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz/!?";

    return text[position] == '<' && position + 1 < text.size() &&
           after_bracket.find(text[position + 1]) != std::string::npos;
}

std::string strip(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    const auto shrinks_begin = [&](std::string_view blank) {
        return end - begin >= blank.size() && text.compare(begin, blank.size(), blank) == 0;
    };
    const auto shrinks_end = [&](std::string_view blank) {
        return end - begin >= blank.size() &&
               text.compare(end - blank.size(), blank.size(), blank) == 0;
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
    return text.substr(begin, end - begin);
}

std::size_t count_pieces(const std::string& stripped) {
    const auto units = utf8::count_utf16_units(stripped);
    return std::max<std::size_t>(1, (units + units_per_piece - 1) / units_per_piece);
}

std::string left_out_line(std::size_t count, const char* what) {
    return "[... " + std::to_string(count) + " " + what + " left out ...]";
}

/// @param stripped a text of more than `units` UTF-16 units
std::string shorten(const std::string& stripped, std::size_t units) {
    const auto line = [](std::size_t count) {
        return "\n" + left_out_line(count, "characters") + "\n";
    };
    // The line is never longer than the one that leaves out everything.
    const auto kept = units - line(utf8::count_characters(stripped)).size();
    const auto head_end = utf8::prefix_end(stripped, kept / 2);
    const auto tail_begin = utf8::suffix_begin(stripped, kept - kept / 2);
    const auto left_out = utf8::count_characters(stripped.substr(head_end, tail_begin - head_end));
    return stripped.substr(0, head_end) + line(left_out) + stripped.substr(tail_begin);
}

/// The server cuts a text after every piece, through a character that takes two units as well. It
/// would hand out the halves in the action's history, where no JSON reader accepts them, and nobody
/// could ever read that action again. A blank moves such a character behind the cut.
std::string keep_characters_whole(const std::string& stripped) {
    constexpr std::size_t longest_sequence = 4;
    std::string whole;
    whole.reserve(stripped.size());
    std::size_t units = 0;
    for (std::size_t position = 0; position < stripped.size();) {
        const auto length = std::max<std::size_t>(1, utf8::sequence_length(stripped, position));
        const std::size_t taken = length == longest_sequence ? 2 : 1;
        if (taken == 2 && units % units_per_piece == units_per_piece - 1) {
            whole += ' ';
            ++units;
        }
        whole.append(stripped, position, length);
        units += taken;
        position += length;
    }
    return whole;
}

/// @param detail a clean text
/// @param pieces how many it may have
std::string fit(const std::string& detail, std::size_t pieces) {
    const std::string stripped = strip(detail);
    const auto most_units = pieces * units_per_piece;
    const bool is_longer = utf8::count_utf16_units(stripped) > most_units;
    const std::string whole =
        keep_characters_whole(is_longer ? shorten(stripped, most_units) : stripped);
    if (utf8::count_utf16_units(whole) > most_units) {
        // There is one blank at a cut at most, so this leaves room for all of them.
        return keep_characters_whole(shorten(stripped, most_units - pieces));
    }
    // What surrounds the text is left to the server unless something had to be done.
    return whole == stripped ? detail : whole;
}

/// Keeps the first and the last of more details than there may be pieces.
std::vector<std::string> drop_middle(const std::vector<std::string>& details) {
    if (details.size() <= most_pieces) {
        return details;
    }
    constexpr std::ptrdiff_t kept_at_each_end = most_pieces / 2;
    std::vector<std::string> kept{details.begin(), details.begin() + kept_at_each_end};
    kept.push_back(left_out_line(details.size() - 2 * kept_at_each_end, "details"));
    kept.insert(kept.end(), details.end() - kept_at_each_end, details.end());
    return kept;
}

/// @returns how many pieces each detail may have, given how many it has
std::vector<std::size_t> share_pieces(std::vector<std::size_t> pieces) {
    // No detail can have more; without this a huge output would be walked down piece by piece.
    for (auto& count : pieces) {
        count = std::min(count, most_pieces);
    }
    while (std::accumulate(pieces.begin(), pieces.end(), std::size_t{0}) > most_pieces) {
        --*std::max_element(pieces.begin(), pieces.end());
    }
    return pieces;
}

}  // namespace

std::string clean_detail(const std::string& detail) {
    static const std::string replacement = u8"\uFFFD";

    std::string cleaned;
    cleaned.reserve(detail.size());
    for (std::size_t position = 0; position < detail.size();) {
        const auto length = utf8::sequence_length(detail, position);
        if (length == 0) {
            cleaned += replacement;
        } else if (is_control(detail, position, length)) {
            cleaned += ' ';
        } else {
            cleaned.append(detail, position, length);
        }
        if (begins_markup(detail, position)) {
            cleaned += ' ';
        }
        position += std::max<std::size_t>(1, length);
    }
    return cleaned;
}

std::vector<std::string> clean_details(const std::vector<std::string>& details) {
    auto cleaned = drop_middle(details);
    std::vector<std::size_t> pieces;
    for (auto& detail : cleaned) {
        detail = clean_detail(detail);
        pieces.push_back(count_pieces(keep_characters_whole(strip(detail))));
    }

    const auto allowed = share_pieces(std::move(pieces));
    for (std::size_t i = 0; i < cleaned.size(); ++i) {
        cleaned[i] = fit(cleaned[i], allowed[i]);
    }
    return cleaned;
}

bool same_detail(const std::string& local, const std::string& from_history) {
    return strip(clean_detail(local)) == strip(clean_detail(from_history));
}

}  // namespace zephran::hawkbit
