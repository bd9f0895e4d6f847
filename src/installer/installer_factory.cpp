// SPDX-License-Identifier: Apache-2.0
#include "installer/installer_factory.h"

#include <tuple>
#include <utility>

#include "common/exception.h"
#include "common/logprint.h"
#include "installer/hawkbit_installer.h"

namespace zephran {

namespace {

ZEPHRAN_REPORTED(part);

}  // namespace

std::map<std::string, InstallerFactory::FactoryFunction>* InstallerFactory::factories = nullptr;
std::map<std::string, unsigned>* InstallerFactory::priorities = nullptr;

void InstallerFactory::register_installer(const std::string& part, unsigned priority,
                                          FactoryFunction factory) {
    if (factories == nullptr || priorities == nullptr) {
        factories = std::make_unique<std::map<std::string, FactoryFunction>>().release();
        priorities = std::make_unique<std::map<std::string, unsigned>>().release();
    }
    if (!factories->emplace(part, std::move(factory)).second) {
        ZEPHRAN_THROW(DuplicatePartInstallerException{} << part_tag{part});
    }
    (*priorities)[part] = priority;
}

std::unique_ptr<HawkbitInstaller> InstallerFactory::create_installer(
    const std::string& part, const InstallerContext& context) {
    if (factories == nullptr || factories->count(part) == 0) {
        ZEPHRAN_THROW(UnsupportedPartException{} << part_tag{part});
    }
    return factories->at(part)(context);
}

void InstallerFactory::disable_installer(const std::string& part) {
    if (factories != nullptr) {
        factories->erase(part);
    }
}

unsigned InstallerFactory::priority_of(const std::string& part) {
    if (priorities == nullptr) {
        return 0;
    }
    const auto found = priorities->find(part);
    return found == priorities->end() ? 0 : found->second;
}

std::vector<InstallerFactory::Chunk> InstallerFactory::reorder_chunks(
    const std::vector<Chunk>& chunks, ChunkOrder among_equals) {
    using Place = std::tuple<unsigned, std::string, std::string>;
    std::multimap<Place, const Chunk*> ordered;
    for (const Chunk& chunk : chunks) {
        const bool by_name = among_equals == ChunkOrder::name;
        ordered.emplace(Place{priority_of(chunk.part()), by_name ? chunk.name() : std::string{},
                              by_name ? chunk.version() : std::string{}},
                        &chunk);
    }
    std::vector<Chunk> result;
    result.reserve(chunks.size());
    for (const auto& [place, chunk] : ordered) {
        result.push_back(*chunk);
    }
    return result;
}

void InstallerFactory::report() {
    if (factories == nullptr || priorities == nullptr) {
        ZLOG_ERROR("action", "factory_report", "message", "no registered installers");
        return;
    }
    for (const auto& entry : *factories) {
        ZLOG_INFO("action", "factory_report", "part", entry.first, "priority",
                  priority_of(entry.first));
    }
}

}  // namespace zephran
