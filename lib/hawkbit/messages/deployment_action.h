#pragma once

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
class DeploymentActionMessage : public common::JSONInitializable {
public:
    /// One file of a software module.
    class Artifact : public common::JSONInitializable {
    public:
        void from_json(const Json::Value& object) override;

        /// The bytes a hexadecimal text spells, an odd last character ignored. Digits are not
        /// checked: a bad pair gives what strtoul(3) makes of it.
        static std::vector<std::uint8_t> hash_from_string(const std::string& hex);

        [[nodiscard]] const std::string& filename() const { return name_of_file; }
        [[nodiscard]] const std::vector<std::uint8_t>& md5() const { return md5_bytes; }
        [[nodiscard]] const std::vector<std::uint8_t>& sha1() const { return sha1_bytes; }
        /// In bytes.
        [[nodiscard]] std::int32_t size() const { return size_in_bytes; }
        /// The four links; each is empty when the server sent none.
        [[nodiscard]] const common::URI& download() const { return download_link; }
        [[nodiscard]] const common::URI& download_http() const { return download_http_link; }
        [[nodiscard]] const common::URI& md5sum() const { return md5sum_link; }
        [[nodiscard]] const common::URI& md5sum_http() const { return md5sum_http_link; }

    private:
        std::string name_of_file;
        std::vector<std::uint8_t> md5_bytes;
        std::vector<std::uint8_t> sha1_bytes;
        std::int32_t size_in_bytes = 0;
        common::URI download_link;
        common::URI download_http_link;
        common::URI md5sum_link;
        common::URI md5sum_http_link;
    };

    /// One software module.
    class Chunk : public common::JSONInitializable {
    public:
        void from_json(const Json::Value& object) override;

        [[nodiscard]] const std::vector<Artifact>& artifacts() const { return files; }
        /// The type of the module, which selects its installer.
        [[nodiscard]] const std::string& part() const { return part_type; }
        [[nodiscard]] const std::string& version() const { return module_version; }
        [[nodiscard]] const std::string& name() const { return module_name; }

    private:
        std::vector<Artifact> files;
        std::string part_type;
        std::string module_version;
        std::string module_name;
    };

    /// What was reported for the action so far, newest report first. The order of the details
    /// inside one report is not kept by the server.
    class ActionHistory : public common::JSONInitializable {
    public:
        void from_json(const Json::Value& object) override;

        [[nodiscard]] ActionStatus status() const { return action_status; }
        [[nodiscard]] const std::vector<std::string>& messages() const { return texts; }

    private:
        ActionStatus action_status = ActionStatus::RUNNING;
        std::vector<std::string> texts;
    };

    /// @throws InvalidUpdateTypeException, InvalidActionStatusException
    void from_json(const Json::Value& object) override;

    /// Without messages when the server sent no history.
    [[nodiscard]] const ActionHistory& action_history() const { return history; }
    [[nodiscard]] const std::string& id() const { return action_id; }
    [[nodiscard]] const std::vector<Chunk>& chunks() const { return modules; }
    /// The download mode as received; nothing acts on it.
    [[nodiscard]] const std::string& download() const { return download_mode; }
    /// False for an update that the device may put off ("attempt").
    [[nodiscard]] bool forced() const { return is_forced; }

    void replace_chunks(std::vector<Chunk> replacement) { modules = std::move(replacement); }

private:
    ActionHistory history;
    std::string action_id;
    std::vector<Chunk> modules;
    std::string download_mode;
    bool is_forced = true;
};

/// part:name:version, as chunks are named in reports and histories.
std::string chunk_string(const DeploymentActionMessage::Chunk& chunk);

}  // namespace zephran::hawkbit
