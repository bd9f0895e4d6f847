// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace zephran::common {

/// Makes a directory that only the daemon's user can enter, or sets the mode of one that it owns
/// right. A link is not followed.
/// @param path without a trailing slash, which would follow a link
/// @param may_be_closed asked before the mode of an existing directory is changed: somebody else
///        may be using it
/// @returns "" if it is such a directory now, else why not
[[nodiscard]] std::string make_own_directory(
    const std::string& path, const std::function<bool()>& may_be_closed = [] { return true; });

/// The names in a directory, sorted, without "." and ".."; none if it cannot be read.
[[nodiscard]] std::vector<std::string> names_in(const std::string& directory);

/// Removes a file, a link, or a directory with all that is in it. No link is followed, and what is
/// mounted below it stays.
/// @returns whether nothing is left of it
bool remove_tree(const std::string& path);

}  // namespace zephran::common
