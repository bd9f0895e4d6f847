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
    /// delta file in the save directory. A package that does not differ is not written.
    ///
    /// @param overwrite write the package as this context sees it, whatever others have saved
    /// @throws Failure not_found, parse_error, io_error; the saved changes stay then
    void commit(Package& package, bool overwrite);

    /// @throws Failure duplicate
    void add_delta_directory(const std::string& directory);

private:
    [[nodiscard]] std::string configuration_path(const std::string& package) const;
    [[nodiscard]] std::string saved_delta_path(const std::string& package) const;
    [[nodiscard]] std::vector<std::string> overlay_texts(const std::string& package) const;
    void ensure_save_directory() const;

    const uci_context* context;
    std::vector<std::string> delta_directories;
    std::list<Package> packages;
};

}  // namespace zephran::uci_standin
