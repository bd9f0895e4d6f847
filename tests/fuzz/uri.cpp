// SPDX-License-Identifier: Apache-2.0
// An address from a document of the update server.
#include "common/uri.h"

#include "fuzz/target.h"

namespace zephran::fuzz {

namespace {

void require_same_place(const common::URI& one, const common::URI& other) {
    require(one.scheme() == other.scheme(), "the scheme is stable");
    require(one.authority() == other.authority(), "the authority is stable");
    require(one.path() == other.path(), "the path is stable");
}

}  // namespace

void try_input(Input input) {
    const std::string text = input.rest();
    try {
        const common::URI uri{text};
        const common::URI again{uri.str()};
        require(uri.str() == again.str(), "text to address to text is stable");
        require_same_place(uri, again);
        require(uri.query() == again.query() && uri.fragment() == again.fragment(),
                "query and fragment are stable");
        require(uri.empty() == uri.str().empty(), "only an empty address has no text");
        require_same_place(uri, common::URI{uri.with_query("actionHistory=10").str()});
        const common::URI below{uri.with_path_suffix("/feedback").str()};
        require(uri.authority().empty() || below.authority() == uri.authority(),
                "what is below an address is on the same host");
    } catch (const common::InvalidURIFormatException&) {
        require(text.find('\0') != std::string::npos, "only a NUL is refused");
    }
}

}  // namespace zephran::fuzz
