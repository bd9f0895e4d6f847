#pragma once

#include "hawkbit/messages/deployment_action.h"

/// The downloaded files of a deployment. Their names come from the network, so nothing here touches
/// a file whose name could lead out of the temporary directory.
namespace zephran::artifact_files {

/// Compares the MD5 sum of the downloaded file with the announced one.
/// @throws hawkbit::VerificationFailedException with common::filename_tag, whatever went wrong; the
///         cause is logged
void verify(const hawkbit::DeploymentActionMessage::Artifact& artifact);

/// Deletes the files of a chunk, whether or not they are there.
void remove(const hawkbit::DeploymentActionMessage::Chunk& chunk);

}  // namespace zephran::artifact_files
