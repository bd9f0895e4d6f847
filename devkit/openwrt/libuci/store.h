// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>
#include <vector>

#include "locked_file.h"
#include "model.h"

namespace zephran::uci_standin {

/// What one context has loaded, and the way of its packages from and to files.
class Store {
public:
    explicit Store(const uci_context& owner) : context{&owner} {}

    /// The package with all saved changes applied: first those of the added directories in the
    /// order of their addition, then those of the save directory. It is read once a context.
    ///
    /// @param name a file in the configuration directory, or an absolute path; the latter has no
    ///        saved changes
    /// @throws Failure not_found, parse_error, io_error
    Package& load(const std::string& name);

    /// @throws Failure invalid when the package is not one of this context
    Package& checked(Package* package);

    /// Appends the changes of this context to the delta file in the save directory.
    /// @throws Failure io_error
    void save(Package& package);

    /// Writes all changes that load() would apply into the configuration file and empties the
    /// delta file in the save directory before. Without such changes nothing is written.
    ///
    /// @param overwrite apply the changes to the package as this context sees it, not to its file
    /// @throws Failure parse_error, io_error; the saved changes stay if the file could not be
    ///         opened, and are lost if its successor could not be written
    void commit(Package& package, bool overwrite);

    /// @throws Failure duplicate
    void add_delta_directory(const std::string& directory);

    /// The save directory before this one goes on being read, as the last of the added ones.
    void set_save_directory(const std::string& directory);

private:
    [[nodiscard]] std::string configuration_path(const std::string& package) const;
    [[nodiscard]] std::string saved_delta_path(const std::string& package) const;
    [[nodiscard]] std::vector<std::string> overlay_texts(const std::string& package) const;
    void ensure_save_directory() const;
    /// Applies all changes and empties the delta file; false if there was nothing to apply.
    bool flush_deltas(Package& package);

    const uci_context* context;
    std::vector<std::string> delta_directories;
    std::list<Package> packages;
};

}  // namespace zephran::uci_standin
