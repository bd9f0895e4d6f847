// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "common/exception.h"
#include "common/record.h"

namespace zephran::common {

ZEPHRAN_RECORD(uri, std::string, reported_at(425));

struct InvalidURIFormatException : Exception {
    InvalidURIFormatException() : Exception{"Invalid URI format"} {}
};

/// A URI reference in its five parts (RFC 3986, appendix B). An absent part is empty; an empty
/// query or fragment counts as absent.
class URI {
public:
    URI() = default;
    /// @throws InvalidURIFormatException with uri_tag
    explicit URI(const std::string& text);
    virtual ~URI() = default;
    URI(const URI&) = default;
    URI(URI&&) = default;
    URI& operator=(const URI&) = default;
    URI& operator=(URI&&) = default;

    /// Composes the text; the inverse of parsing except for empty queries and fragments.
    operator std::string() const { return str(); }
    [[nodiscard]] std::string str() const;

    /// True when every part is empty.
    [[nodiscard]] bool empty() const;

    [[nodiscard]] const std::string& scheme() const { return scheme_; }
    [[nodiscard]] const std::string& authority() const { return authority_; }
    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const std::string& query() const { return query_; }
    [[nodiscard]] const std::string& fragment() const { return fragment_; }

    /// Copy with another query ("" removes it).
    [[nodiscard]] URI with_query(const std::string& query) const;
    /// Copy with `suffix` put directly behind the path.
    [[nodiscard]] URI with_path_suffix(const std::string& suffix) const;

private:
    std::string authority_;
    std::string fragment_;
    std::string path_;
    std::string query_;
    std::string scheme_;
};

}  // namespace zephran::common
