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

/// Type of a software module, as the server names it.
ZEPHRAN_RECORD(part, std::string, reported_at(510));

struct DuplicatePartInstallerException : common::Exception {
    DuplicatePartInstallerException() : Exception{"A part type may only use one installer"} {}
};
struct UnsupportedPartException : common::Exception {
    UnsupportedPartException() : Exception{"Unsupported part in deployment"} {}
};

/// The process-wide registry of installers: which one handles a part type, and how early in a
/// deployment. It is filled before main() runs and only read afterwards, from the main thread.
class InstallerFactory {
public:
    using Chunk = hawkbit::DeploymentActionMessage::Chunk;
    using FactoryFunction =
        std::function<std::unique_ptr<HawkbitInstaller>(const InstallerContext&)>;

    InstallerFactory() = delete;

    /// @param priority chunks with a lower one are installed earlier
    /// @throws DuplicatePartInstallerException when the part type has an installer already
    static void register_installer(const std::string& part, unsigned priority,
                                   FactoryFunction factory);

    /// A new installer for the part type; its chunk is assigned by the caller.
    /// @throws UnsupportedPartException, std::bad_function_call for an empty factory function
    static std::unique_ptr<HawkbitInstaller> create_installer(const std::string& part,
                                                              const InstallerContext& context);

    /// Takes the installer of a part type away; its place in the order of chunks stays.
    static void disable_installer(const std::string& part);

    /// The chunks in the order of their installation. Unknown part types come first, so that a
    /// deployment with one fails before anything is installed; equal priorities keep their order.
    static std::vector<Chunk> reorder_chunks(const std::vector<Chunk>& chunks);

    /// Logs every installer with its priority.
    static void report();

private:
    static unsigned priority_of(const std::string& part);

    // Made by the first registration and never freed: sources register in any order, before other
    // static objects of this process exist and until after they are gone.
    static std::map<std::string, FactoryFunction>* factories;
    static std::map<std::string, unsigned>* priorities;
};

/// A static object of this type in an installer's source file registers the installer.
struct InstallerRegistration {
    InstallerRegistration(const std::string& part, unsigned priority,
                          InstallerFactory::FactoryFunction factory) {
        InstallerFactory::register_installer(part, priority, std::move(factory));
    }
};

}  // namespace zephran
