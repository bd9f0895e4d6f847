// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "crypto/hash_algorithm.h"
#include "hawkbit/messages/deployment_action.h"

/// The sum by which an artifact is verified: SHA-256 where it is to be used, else MD5.
namespace zephran::artifact_digest {

using Artifact = hawkbit::DeploymentActionMessage::Artifact;

/// A new hash of the kind of stated().
[[nodiscard]] std::unique_ptr<crypto::HashAlgorithm> make(const Artifact& artifact);

/// What the server says the sum is.
[[nodiscard]] const std::vector<std::uint8_t>& stated(const Artifact& artifact);

/// "sha256:" or "md5:" and the stated sum in hexadecimal digits.
[[nodiscard]] std::string text(const Artifact& artifact);

/// The sum of at most the first `size` bytes of a file. A file that cannot be opened gives the sum
/// of empty content.
[[nodiscard]] std::vector<std::uint8_t> of_file(const Artifact& artifact, const std::string& path,
                                                std::size_t size);

}  // namespace zephran::artifact_digest
