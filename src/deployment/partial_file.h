// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/file_descriptor.h"
#include "deployment/resume_record.h"
#include "hawkbit/messages/deployment_action.h"

namespace zephran {

/// The part of an artifact that has arrived, in the file NAME.part, and what it is part of, in the
/// file .NAME.part, a name that no artifact can have.
class PartialFile {
public:
    using Artifact = hawkbit::DeploymentActionMessage::Artifact;
    using Chunk = hawkbit::DeploymentActionMessage::Chunk;

    /// Whether an artifact can have one: its name leaves room for it, and no other artifact's file
    /// is in the way.
    [[nodiscard]] static bool is_possible(const Artifact& artifact,
                                          const std::vector<Chunk>& chunks);
    /// Name of the partial file of an artifact with this name.
    [[nodiscard]] static std::string name_for(const std::string& filename);
    /// Name of the artifact whose partial file, or the record beside it, has this name; "" for the
    /// name of another file.
    [[nodiscard]] static std::string artifact_of(const std::string& name);

    /// @param artifact_path where the artifact is to be once it is complete
    explicit PartialFile(const std::string& artifact_path);

    [[nodiscard]] const std::string& path() const { return part_path; }

    /// Whether there is a partial file or a record.
    [[nodiscard]] bool exists() const;
    /// Why no try can go on with what is there, whatever artifact it is for; "" if one can.
    [[nodiscard]] std::string reason_to_begin_anew() const;
    /// The record, if there is one that this version has written.
    [[nodiscard]] std::optional<ResumeRecord> stored_record() const;

    /// Opens what an earlier try has left of this very file. What cannot be gone on with is
    /// deleted, after one line in the log that says why.
    /// @param record is given the ETag of what is there
    /// @returns no descriptor if there is nothing
    [[nodiscard]] common::FileDescriptor reopen(ResumeRecord& record) const;

    /// Deletes both files, then begins with an empty one.
    /// @throws common::OutputFileOpenException
    [[nodiscard]] common::FileDescriptor begin() const;

    /// Writes the record; without a strong ETag there is none, and the next try begins anew.
    void write_record(const ResumeRecord& record) const;
    void remove_record() const;

    /// Makes it the artifact's file, in the place of whatever has this name.
    /// @throws common::FileWriteException
    void complete() const;

    void remove() const;

    /// Bytes of the partial file, whatever its record says; 0 without one.
    [[nodiscard]] std::uint64_t size() const;

private:
    [[nodiscard]] static std::string reason_against(const common::FileDescriptor& part,
                                                    const std::optional<ResumeRecord>& found);

    std::string path_;
    std::string part_path;
    std::string record_path;
};

/// The bytes of an open file.
[[nodiscard]] std::uint64_t size_of(const common::FileDescriptor& file);

}  // namespace zephran
