// SPDX-License-Identifier: Apache-2.0
#include "store.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

#include "failure.h"
#include "parser.h"
#include "writer.h"

namespace zephran::uci_standin {

namespace {

bool is_path(const std::string& package) {
    return package.front() == '/';
}

/// The text of a delta file; a missing one holds no changes.
std::string delta_text(const std::string& path) {
    try {
        return LockedFile{path, LockedFile::Mode::read}.read_all();
    } catch (const Failure& failure) {
        if (failure.result != not_found) {
            throw;
        }
        return {};
    }
}

/// True if there were changes that could be applied, whether or not they made a difference.
bool apply_all(const std::vector<std::string>& delta_texts, Package& package) {
    bool applied = false;
    for (const std::string& deltas : delta_texts) {
        for (const Change& change : changes_from_text(deltas, package.name)) {
            applied = apply(change, package) != Outcome::impossible || applied;
        }
    }
    return applied;
}

void read_package(Package& package, const std::string& text) {
    package.sections.clear();
    parse_configuration(text, package);
}

}  // namespace

std::string Store::configuration_path(const std::string& package) const {
    return is_path(package) ? package : std::string{context->confdir} + "/" + package;
}

std::string Store::saved_delta_path(const std::string& package) const {
    return std::string{context->savedir} + "/" + package;
}

std::vector<std::string> Store::overlay_texts(const std::string& package) const {
    std::vector<std::string> texts;
    for (const std::string& directory : delta_directories) {
        std::string path = directory;
        path.append("/").append(package);
        texts.push_back(delta_text(path));
    }
    return texts;
}

Package& Store::load(const std::string& name) {
    const auto known =
        std::find_if(packages.begin(), packages.end(),
                     [&name](const Package& package) { return package.name == name; });
    if (known != packages.end()) {
        return *known;
    }
    const LockedFile file{configuration_path(name), LockedFile::Mode::read};
    std::vector<std::string> delta_texts;
    if (!is_path(name)) {
        delta_texts = overlay_texts(name);
        delta_texts.push_back(delta_text(saved_delta_path(name)));
    }
    std::list<Package> loaded;
    read_package(loaded.emplace_back(name), file.read_all());
    apply_all(delta_texts, loaded.back());
    packages.splice(packages.end(), loaded);
    return packages.back();
}

Package& Store::checked(Package* package) {
    const auto known = std::find_if(packages.begin(), packages.end(),
                                    [package](const Package& one) { return &one == package; });
    if (known == packages.end()) {
        throw Failure{invalid};
    }
    return *known;
}

void Store::ensure_save_directory() const {
    struct stat found {};
    if (mkdir(context->savedir, S_IRWXU) != 0 &&
        (errno != EEXIST || stat(context->savedir, &found) != 0 || !S_ISDIR(found.st_mode))) {
        throw Failure{io_error};
    }
}

void Store::save(Package& package) {
    if (package.unsaved.empty() || is_path(package.name)) {
        return;
    }
    std::string lines;
    for (const Change& change : package.unsaved) {
        lines += to_line(package.name, change);
    }
    ensure_save_directory();
    LockedFile{saved_delta_path(package.name), LockedFile::Mode::append}.write_all(lines);
    package.unsaved.clear();
}

void Store::commit(Package& package, bool overwrite) {
    LockedFile file{configuration_path(package.name), LockedFile::Mode::read_write};
    if (is_path(package.name)) {
        if (!package.unsaved.empty()) {
            file.replace_with(configuration_text(package));
            package.unsaved.clear();
        }
        return;
    }
    if (!overwrite) {
        save(package);
        read_package(package, file.read_all());
    }
    if (flush_deltas(package)) {
        file.replace_with(configuration_text(package));
    }
}

bool Store::flush_deltas(Package& package) {
    std::vector<std::string> delta_texts = overlay_texts(package.name);
    delta_texts.push_back(delta_text(saved_delta_path(package.name)));
    if (!apply_all(delta_texts, package)) {
        return false;
    }
    try {
        LockedFile{saved_delta_path(package.name), LockedFile::Mode::read_write}.truncate();
    } catch (const Failure&) {
        // All changes came from overlays.
    }
    return true;
}

void Store::set_save_directory(const std::string& directory) {
    delta_directories.emplace_back(context->savedir);
    delta_directories.erase(
        std::remove(delta_directories.begin(), delta_directories.end(), directory),
        delta_directories.end());
}

void Store::add_delta_directory(const std::string& directory) {
    const bool known = std::find(delta_directories.begin(), delta_directories.end(), directory) !=
                       delta_directories.end();
    if (known || directory == context->savedir) {
        throw Failure{duplicate};
    }
    delta_directories.push_back(directory);
}

}  // namespace zephran::uci_standin
