// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace zephran {

/// Where the artifacts of one target are downloaded to: a folder of its own in the daemon's
/// download directory, or the platform's temporary directory, which all targets share.
class DownloadFolder {
public:
    /// The temporary directory.
    DownloadFolder() = default;
    /// @param download_directory without a trailing slash
    /// @param target_id id of the target at the update server
    DownloadFolder(const std::string& download_directory, const std::string& target_id);

    [[nodiscard]] bool is_shared() const { return directory.empty(); }
    /// What the name of a file follows.
    [[nodiscard]] std::string prefix() const;
    /// Makes what is missing of it, for the daemon alone; the temporary directory is there.
    /// @throws common::OutputFileOpenException with filename_tag
    void make() const;

    /// Whether an entry of the download directory has the name of some target's folder.
    [[nodiscard]] static bool is_name(const std::string& name);

private:
    std::string directory;
    std::string folder;
};

}  // namespace zephran
