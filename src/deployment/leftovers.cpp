// SPDX-License-Identifier: Apache-2.0
#include "deployment/leftovers.h"

#include <algorithm>
#include <set>

#include <boost/algorithm/string/predicate.hpp>
#include <unistd.h>

#include "common/directory.h"
#include "common/logprint.h"
#include "deployment/partial_file.h"

namespace zephran::leftovers {

namespace {

constexpr const char* swept_event = "download_swept";
constexpr const char* logged_function = "sweep_downloads";

/// Names of the artifacts that a folder has partial files or records of.
std::set<std::string> begun_in(const std::vector<std::string>& names) {
    std::set<std::string> begun;
    for (const std::string& name : names) {
        begun.insert(PartialFile::artifact_of(name));
    }
    begun.erase("");
    return begun;
}

/// @returns whether it is of use
bool sweep_partial_file(const PartialFile& partial) {
    const std::string reason = partial.reason_to_begin_anew();
    if (reason.empty()) {
        return true;
    }
    ZLOG_WARNING_AS(logged_function, "event", swept_event, "filename", partial.path(), "what",
                    reason);
    return false;
}

std::set<std::string> sweep_partial_files(const std::string& prefix,
                                          const std::vector<std::string>& names) {
    std::set<std::string> kept;
    for (const std::string& artifact : begun_in(names)) {
        if (sweep_partial_file(PartialFile{prefix + artifact})) {
            kept.insert(artifact);
        }
    }
    return kept;
}

void sweep_file(const std::string& path) {
    if (!common::remove_tree(path)) {
        ZLOG_WARNING_AS(logged_function, "event", swept_event, "filename", path, "what",
                        "it cannot be deleted");
    }
}

void sweep_folder(const std::string& folder, bool keeps_partial_files) {
    // What is no folder of this user is deleted like a file, without a look into it.
    if (!keeps_partial_files || !common::make_own_directory(folder).empty()) {
        sweep_file(folder);
        return;
    }
    const std::string prefix = folder + "/";
    const auto kept = sweep_partial_files(prefix, common::names_in(folder));
    for (const std::string& name : common::names_in(folder)) {
        if (kept.count(PartialFile::artifact_of(name)) == 0) {
            sweep_file(prefix + name);
        }
    }
    // Only an empty one goes.
    ::rmdir(folder.c_str());
}

void sweep(const std::string& directory, bool keeps_partial_files) {
    const std::string prefix = directory + "/";
    for (const std::string& name : common::names_in(directory)) {
        if (DownloadFolder::is_name(name)) {
            sweep_folder(prefix + name, keeps_partial_files);
        }
    }
}

bool holds_folders_only(const std::string& directory) {
    const auto names = common::names_in(directory);
    return std::all_of(names.begin(), names.end(), DownloadFolder::is_name);
}

std::set<std::string> artifacts_of(const Chunks& chunks) {
    std::set<std::string> names;
    for (const auto& chunk : chunks) {
        for (const auto& artifact : chunk.artifacts()) {
            names.insert(artifact.filename());
        }
    }
    return names;
}

bool comes_from(const PartialFile& partial, const common::URI& target_address) {
    const auto record = partial.stored_record();
    return record && boost::starts_with(record->address, target_address.path() + "/");
}

}  // namespace

std::string take_over(const std::optional<std::string>& wanted, bool keeps_partial_files,
                      const std::function<bool()>& is_in_use) {
    if (!wanted) {
        return {};
    }
    const std::string reason =
        common::make_own_directory(*wanted, [&] { return holds_folders_only(*wanted); });
    if (!reason.empty()) {
        ZLOG_ERROR_AS(logged_function, "event", "download_dir_refused", "directory", *wanted,
                      "what", reason);
        return {};
    }
    if (is_in_use()) {
        ZLOG_WARNING_AS(logged_function, "event", swept_event, "directory", *wanted, "what",
                        "nothing is deleted while a tool of an earlier process runs");
    } else {
        sweep(*wanted, keeps_partial_files);
    }
    return *wanted;
}

void remove_unwanted(const DownloadFolder& folder, const common::URI& target_address,
                     const Chunks& open_action) {
    const std::string prefix = folder.prefix();
    const auto wanted = artifacts_of(open_action);
    for (const std::string& artifact : begun_in(common::names_in(prefix))) {
        const PartialFile partial{prefix + artifact};
        if (wanted.count(artifact) != 0 ||
            (folder.is_shared() && !comes_from(partial, target_address))) {
            continue;
        }
        ZLOG_INFO_AS(logged_function, "event", swept_event, "filename", partial.path(), "what",
                     "no open action has this artifact");
        partial.remove();
    }
}

}  // namespace zephran::leftovers
