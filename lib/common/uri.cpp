#include "common/uri.h"

#include <vector>

#include "common/regex.h"

namespace zephran::common {

namespace {

// RFC 3986, appendix B.
constexpr const char* uri_pattern = R"(^(([^:/?#]+):)?(//([^/?#]*))?([^?#]*)(\?([^#]*))?(#(.*))?)";

std::vector<std::string> split(const std::string& text) {
    constexpr std::size_t result_count = 10;
    Regex regex{uri_pattern, REG_EXTENDED};
    regex.match(text, 0);
    auto results = regex.get_results();
    // The match is shorter than the text when that holds a NUL: its end would be lost silently.
    if (results.size() < result_count || results.front().size() != text.size()) {
        BOOST_THROW_EXCEPTION(InvalidURIFormatException{} << uri_tag{text});
    }
    return results;
}

}  // namespace

URI::URI(const std::string& text) {
    const auto results = split(text);
    scheme_part = results[2];
    authority_part = results[4];
    path_part = results[5];
    query_part = results[7];
    fragment_part = results[9];
}

std::string URI::str() const {
    std::string text;
    if (!scheme_part.empty()) {
        text += scheme_part + ":";
    }
    if (!authority_part.empty()) {
        text += "//" + authority_part;
    }
    text += path_part;
    if (!query_part.empty()) {
        text += "?" + query_part;
    }
    if (!fragment_part.empty()) {
        text += "#" + fragment_part;
    }
    return text;
}

bool URI::empty() const {
    return scheme_part.empty() && authority_part.empty() && path_part.empty() &&
           query_part.empty() && fragment_part.empty();
}

URI URI::with_query(const std::string& query) const {
    URI copy{*this};
    copy.query_part = query;
    return copy;
}

URI URI::with_path_suffix(const std::string& suffix) const {
    URI copy{*this};
    copy.path_part += suffix;
    return copy;
}

}  // namespace zephran::common
