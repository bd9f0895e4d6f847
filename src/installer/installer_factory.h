// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/exception.h"
#include "common/record.h"
#include "hawkbit/messages/deployment_action.h"
#include "installer/installer_context.h"

namespace zephran {

class HawkbitInstaller;

/// Part type: the software module type at the server.
ZEPHRAN_RECORD(part, std::string, reported_at(510));

struct DuplicatePartInstallerException : common::Exception {
    DuplicatePartInstallerException() : Exception{"A part type may only use one installer"} {}
};
struct UnsupportedPartException : common::Exception {
    UnsupportedPartException() : Exception{"Unsupported part in deployment"} {}
};

/// The process-wide registry of installers by part type, with their priorities. It is filled before
/// main() runs and afterwards only read, by the main thread.
class InstallerFactory {
public:
    using Chunk = hawkbit::DeploymentActionMessage::Chunk;
    using FactoryFunction =
        std::function<std::unique_ptr<HawkbitInstaller>(const InstallerContext&)>;

    InstallerFactory() = delete;

    /// @param priority chunks with a lower priority are installed earlier
    /// @throws DuplicatePartInstallerException if the part type already has an installer
    static void register_installer(const std::string& part, unsigned priority,
                                   FactoryFunction factory);

    /// Creates an installer for the part type; the caller assigns its chunk.
    /// @throws UnsupportedPartException, std::bad_function_call for an empty factory function
    static std::unique_ptr<HawkbitInstaller> create_installer(const std::string& part,
                                                              const InstallerContext& context);

    /// Removes the installer of a part type; its priority stays.
    static void disable_installer(const std::string& part);

    /// Sorts chunks into installation order. Unknown part types come first, so that their
    /// deployment fails before anything is installed.
    /// @param among_equals the order of chunks of equal priority
    static std::vector<Chunk> reorder_chunks(const std::vector<Chunk>& chunks,
                                             ChunkOrder among_equals = ChunkOrder::server);

    /// Logs every installer with its priority.
    static void report();

private:
    static unsigned priority_of(const std::string& part);

    // Created by the first registration and never freed: static objects register in any order, and
    // the maps must outlive them all.
    static std::map<std::string, FactoryFunction>* factories;
    static std::map<std::string, unsigned>* priorities;
};

/// Registers an installer: a static object in the installer's source file.
struct InstallerRegistration {
    InstallerRegistration(const std::string& part, unsigned priority,
                          InstallerFactory::FactoryFunction factory) {
        InstallerFactory::register_installer(part, priority, std::move(factory));
    }
};

}  // namespace zephran
