// SPDX-License-Identifier: Apache-2.0
#include "hawkbit/detail_text.h"

#include <algorithm>
#include <iterator>

#include "hawkbit/detail_pieces.h"
#include "hawkbit/utf8.h"

namespace zephran::hawkbit {
namespace {

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

    // Behind the last character stands a NUL.
    return text[position] == '<' && after_bracket.find(text[position + 1]) != std::string::npos;
}

}  // namespace

std::string clean_detail(const std::string& detail) {
    static const std::string replacement = "\xEF\xBF\xBD";

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
    std::vector<std::string> cleaned;
    cleaned.reserve(details.size());
    std::transform(details.begin(), details.end(), std::back_inserter(cleaned), clean_detail);
    return fit_details(cleaned);
}

bool same_detail(const std::string& local, const std::string& from_history) {
    return strip_detail(clean_detail(local)) == strip_detail(clean_detail(from_history));
}

}  // namespace zephran::hawkbit
