// SPDX-License-Identifier: Apache-2.0
#include "deployment/file_claim.h"

#include <algorithm>
#include <utility>

#include "deployment/partial_file.h"

namespace zephran {

namespace {

/// The names in all claims.
std::set<std::string>& claimed_names() {
    // Never destroyed: the process may end while a deployer still holds its claim.
    static std::set<std::string>& names = *new std::set<std::string>;
    return names;
}

std::set<std::string> names_in(const std::vector<FileClaim::Chunk>& chunks, FileClaim::Names kind,
                               const std::string& folder) {
    std::set<std::string> names;
    for (const auto& chunk : chunks) {
        for (const auto& artifact : chunk.artifacts()) {
            names.insert(folder + artifact.filename());
            if (kind == FileClaim::Names::of_partial_files_too) {
                names.insert(folder + PartialFile::name_for(artifact.filename()));
            }
        }
    }
    return names;
}

}  // namespace

bool FileClaim::acquire(const std::vector<Chunk>& chunks, Names kind, const std::string& folder) {
    if (held) {
        return true;
    }
    auto wanted = names_in(chunks, kind, folder);
    auto& claimed = claimed_names();
    if (std::any_of(wanted.begin(), wanted.end(),
                    [&](const std::string& name) { return claimed.count(name) != 0; })) {
        return false;
    }
    claimed.insert(wanted.begin(), wanted.end());
    names = std::move(wanted);
    held = true;
    return true;
}

void FileClaim::release() {
    for (const std::string& name : names) {
        claimed_names().erase(name);
    }
    names.clear();
    held = false;
}

}  // namespace zephran
