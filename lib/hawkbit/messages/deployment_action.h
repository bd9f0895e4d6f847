// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/exception.h"
#include "common/json.h"
#include "common/uri.h"

namespace zephran::hawkbit {

struct InvalidUpdateTypeException : common::Exception {
    InvalidUpdateTypeException() : Exception{"Invalid update type"} {}
};
struct InvalidActionStatusException : common::Exception {
    InvalidActionStatusException() : Exception{"Invalid actions status"} {}
};

/// Which of the sums that the server states an artifact is verified by.
enum class Digest {
    md5,
    /// SHA-256 where it is stated, MD5 elsewhere.
    sha256
};

/// States of an action as the server's history names them.
enum class ActionStatus {
    CANCELED,
    CANCELING,
    CANCEL_REJECTED,
    DOWNLOAD,
    ERROR,
    FINISHED,
    RETRIEVED,
    RUNNING,
    SCHEDULED,
    WARNING
};

/// The deploymentBase resource of the DDI: what to install, and how.
///
/// Every from_json() throws common::MissingValueException or common::UnexpectedTypeException for
/// members that are missing or of another type, common::InvalidURIFormatException for bad links.
/// Null in a list is an object without members, or an empty text.
class DeploymentActionMessage : public common::JSONInitializable {
public:
    /// @name What is kept of the metadata of all chunks together
    /// hawkBit allows 4,000 characters for each value; libubox, which passes them on, sends no
    /// message of more than a megabyte.
    /// @{
    static constexpr std::size_t most_note_bytes = 65536;
    static constexpr std::size_t most_notes = 1000;
    /// @}

    /// One file of a software module.
    class Artifact : public common::JSONInitializable {
    public:
        void from_json(const Json::Value& object) override { from_json(object, Digest::md5); }
        /// @param preferred with Digest::sha256, MD5 and its link need not be there beside SHA-256
        void from_json(const Json::Value& object, Digest preferred);

        /// The bytes a hexadecimal text spells, an odd last character ignored. Digits are not
        /// checked: a bad pair gives what strtoul(3) makes of it.
        static std::vector<std::uint8_t> hash_from_string(const std::string& hex);

        [[nodiscard]] const std::string& filename() const { return filename_; }
        [[nodiscard]] const std::vector<std::uint8_t>& md5() const { return md5_; }
        [[nodiscard]] const std::vector<std::uint8_t>& sha1() const { return sha1_; }
        /// Empty unless it is preferred and stated: then the artifact is verified by MD5.
        [[nodiscard]] const std::vector<std::uint8_t>& sha256() const { return sha256_; }
        /// In bytes.
        [[nodiscard]] std::int32_t size() const { return size_; }
        /// The four links; each is empty when the server sent none.
        [[nodiscard]] const common::URI& download() const { return download_; }
        [[nodiscard]] const common::URI& download_http() const { return download_http_; }
        [[nodiscard]] const common::URI& md5sum() const { return md5sum_; }
        [[nodiscard]] const common::URI& md5sum_http() const { return md5sum_http_; }

    private:
        std::string filename_;
        std::vector<std::uint8_t> md5_;
        std::vector<std::uint8_t> sha1_;
        std::vector<std::uint8_t> sha256_;
        std::int32_t size_ = 0;
        common::URI download_;
        common::URI download_http_;
        common::URI md5sum_;
        common::URI md5sum_http_;
    };

    /// One software module.
    class Chunk : public common::JSONInitializable {
    public:
        /// What the operator tells about a module, for people to read.
        struct Note {
            std::string key;
            std::string value;
        };
        /// What may still be kept of the notes of a deployment.
        struct NoteBudget {
            std::size_t bytes = most_note_bytes;
            std::size_t notes = most_notes;
        };

        void from_json(const Json::Value& object) override { from_json(object, Digest::md5); }
        void from_json(const Json::Value& object, Digest preferred);

        [[nodiscard]] const std::vector<Artifact>& artifacts() const { return artifacts_; }
        /// The type of the module, which selects its installer.
        [[nodiscard]] const std::string& part() const { return part_; }
        [[nodiscard]] const std::string& version() const { return version_; }
        [[nodiscard]] const std::string& name() const { return name_; }
        /// The metadata that the operator has made visible to targets, in the server's order.
        /// Nothing is decided by them, so what is not a pair of texts is left out and is no error.
        [[nodiscard]] const std::vector<Note>& notes() const { return notes_; }
        /// How many were left out so far.
        [[nodiscard]] std::size_t notes_left_out() const { return notes_left_out_; }
        /// Leaves those out that the budget does not allow, and takes the others from it.
        void bound_notes(NoteBudget& budget);

    private:
        std::vector<Artifact> artifacts_;
        std::vector<Note> notes_;
        std::size_t notes_left_out_ = 0;
        std::string part_;
        std::string version_;
        std::string name_;
    };

    /// What was reported for the action so far, newest report first. The order of the details
    /// inside one report is not kept by the server.
    class ActionHistory : public common::JSONInitializable {
    public:
        void from_json(const Json::Value& object) override;

        [[nodiscard]] ActionStatus status() const { return status_; }
        [[nodiscard]] const std::vector<std::string>& messages() const { return messages_; }

    private:
        ActionStatus status_ = ActionStatus::RUNNING;
        std::vector<std::string> messages_;
    };

    /// @throws InvalidUpdateTypeException, InvalidActionStatusException
    void from_json(const Json::Value& object) override { from_json(object, Digest::md5); }
    /// The same with another choice of the sums.
    void from_json(const Json::Value& object, Digest preferred);

    /// Without messages when the server sent no history.
    [[nodiscard]] const ActionHistory& action_history() const { return action_history_; }
    [[nodiscard]] const std::string& id() const { return id_; }
    [[nodiscard]] const std::vector<Chunk>& chunks() const { return chunks_; }
    /// The download mode as received; nothing acts on it.
    [[nodiscard]] const std::string& download() const { return download_; }
    /// False for an update that the device may put off ("attempt").
    [[nodiscard]] bool forced() const { return forced_; }
    /// How many entries of the chunks' metadata were left out: no pair of texts, or too much.
    [[nodiscard]] std::size_t notes_left_out() const;

    void replace_chunks(std::vector<Chunk> replacement) { chunks_ = std::move(replacement); }

private:
    ActionHistory action_history_;
    std::string id_;
    std::vector<Chunk> chunks_;
    std::string download_;
    bool forced_ = true;
};

/// part:name:version, as chunks are named in reports and histories.
std::string chunk_string(const DeploymentActionMessage::Chunk& chunk);

}  // namespace zephran::hawkbit
