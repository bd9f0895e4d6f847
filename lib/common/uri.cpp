// SPDX-License-Identifier: Apache-2.0
#include "common/uri.h"

#include <vector>

#include "common/regex.h"

namespace zephran::common {

namespace {

ZEPHRAN_REPORTED(uri);

// RFC 3986, appendix B.
constexpr const char* uri_pattern = R"(^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\?([^#]*))?(#(.*))?)";

std::vector<std::string> split(const std::string& text) {
    constexpr std::size_t result_count = 10;
    Regex regex{uri_pattern, REG_EXTENDED};
    regex.match(text, 0);
    auto results = regex.get_results();
    // The match is shorter than the text when that holds a NUL: its end would be lost silently.
    if (results.size() < result_count || results.front().size() != text.size()) {
        ZEPHRAN_THROW(InvalidURIFormatException{} << uri_tag{text});
    }
    return results;
}

}  // namespace

URI::URI(const std::string& text) {
    const auto results = split(text);
    scheme_ = results[2];
    authority_ = results[4];
    path_ = results[5];
    query_ = results[7];
    fragment_ = results[9];
}

std::string URI::str() const {
    std::string text;
    if (!scheme_.empty()) {
        text += scheme_ + ":";
    }
    // Without an empty authority before it, such a path would be read as an authority.
    const bool path_looks_like_authority = path_.compare(0, 2, "//") == 0;
    if (!authority_.empty() || path_looks_like_authority) {
        text += "//" + authority_;
    }
    text += path_;
    if (!query_.empty()) {
        text += "?" + query_;
    }
    if (!fragment_.empty()) {
        text += "#" + fragment_;
    }
    return text;
}

bool URI::empty() const {
    return scheme_.empty() && authority_.empty() && path_.empty() && query_.empty() &&
           fragment_.empty();
}

URI URI::with_query(const std::string& query) const {
    URI copy{*this};
    copy.query_ = query;
    return copy;
}

URI URI::with_path_suffix(const std::string& suffix) const {
    URI copy{*this};
    copy.path_ += suffix;
    return copy;
}

}  // namespace zephran::common
