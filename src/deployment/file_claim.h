// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>
#include <vector>

#include "hawkbit/messages/deployment_action.h"

namespace zephran {

/// The file names of one deployment. Deployments of several targets can share a directory, and two
/// of them with one file name in it would install each other's files. Used on the main thread only.
class FileClaim {
public:
    using Chunk = hawkbit::DeploymentActionMessage::Chunk;

    FileClaim() = default;
    FileClaim(const FileClaim&) = delete;
    FileClaim(FileClaim&&) = delete;
    FileClaim& operator=(const FileClaim&) = delete;
    FileClaim& operator=(FileClaim&&) = delete;
    ~FileClaim() { release(); }

    enum class Names { of_artifacts, of_partial_files_too };

    /// Claims the names of all artifacts, or none of them if another claim has one.
    /// @param folder what the names follow
    /// @returns true if they are claimed, also by an earlier call
    bool acquire(const std::vector<Chunk>& chunks, Names kind = Names::of_artifacts,
                 const std::string& folder = {});
    void release();
    [[nodiscard]] bool is_held() const { return held; }

private:
    std::set<std::string> names;
    bool held = false;
};

}  // namespace zephran
