// SPDX-License-Identifier: Apache-2.0
#include "deployment/artifact_files.h"

#include <boost/exception/diagnostic_information.hpp>
#include <unistd.h>

#include "common/exception.h"
#include "common/logprint.h"
#include "common/regular_file.h"
#include "deployment/partial_file.h"
#include "hawkbit/artifact_name.h"
#include "hawkbit/controller.h"
#include "hawkbit/exceptions.h"
#include "installer/artifact_digest.h"
#include "installer/artifact_path.h"

namespace zephran::artifact_files {

namespace {

using Artifact = hawkbit::DeploymentActionMessage::Artifact;
using Chunk = hawkbit::DeploymentActionMessage::Chunk;

void require_checksum(const std::string& path, const Artifact& artifact) {
    common::RegularFile file{path};
    const auto hash = artifact_digest::make(artifact);
    for (const auto* block = &file.read(); !block->empty(); block = &file.read()) {
        hash->update(*block);
    }
    if (hash->digest() != artifact_digest::stated(artifact)) {
        ZEPHRAN_THROW(hawkbit::ChecksumMismatchException{} << common::filename_tag{path});
    }
}

}  // namespace

std::string download_url(const Artifact& artifact) {
    const common::URI& link =
        artifact.download().empty() ? artifact.download_http() : artifact.download();
    hawkbit::require_web_link(link);
    return link.str();
}

void verify(const Artifact& artifact, const DownloadFolder& folder) {
    const std::string path = artifact_path(artifact, folder);
    try {
        require_checksum(path, artifact);
    } catch (const std::exception& error) {
        ZLOG_WARNING_AS("verify_artifact", "event", "exception_caught", "action", "verify_artifact",
                        "what", boost::diagnostic_information(error));
        ZEPHRAN_THROW(hawkbit::VerificationFailedException{} << common::filename_tag{path});
    }
}

void verify_all(const Chunk& chunk, const DownloadFolder& folder) {
    for (const Artifact& artifact : chunk.artifacts()) {
        verify(artifact, folder);
    }
}

void remove(const Chunk& chunk, const DownloadFolder& folder) {
    for (const Artifact& artifact : chunk.artifacts()) {
        if (hawkbit::is_safe_artifact_name(artifact.filename())) {
            ::unlink(artifact_path(artifact, folder).c_str());
        }
    }
}

void remove_partial(const Chunk& chunk, const DownloadFolder& folder) {
    for (const Artifact& artifact : chunk.artifacts()) {
        if (hawkbit::is_safe_artifact_name(artifact.filename())) {
            PartialFile{artifact_path(artifact, folder)}.remove();
        }
    }
}

}  // namespace zephran::artifact_files
