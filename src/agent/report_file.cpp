// SPDX-License-Identifier: Apache-2.0
#include "agent/report_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/file_descriptor.h"
#include "common/json.h"
#include "common/logprint.h"
#include "common/regular_file.h"
#include "crypto/md5.h"
#include "hawkbit/controller.h"

namespace zephran {

namespace {

constexpr int format = 1;
constexpr off_t greatest_size = 1'048'576;
constexpr mode_t for_owner = 0600;
constexpr mode_t folder_for_owner = 0700;

// Ids hold what no file name can.
std::string name_of(const std::string& target) {
    constexpr const char* digits = "0123456789abcdef";
    constexpr unsigned bits = 4;
    constexpr unsigned low = 0xf;
    crypto::MD5 sum;
    sum.update(std::vector<std::uint8_t>{target.begin(), target.end()});
    std::string name = "report-";
    for (const std::uint8_t byte : sum.digest()) {
        name += digits[byte >> bits];
        name += digits[byte & low];
    }
    return name;
}

void require(bool condition, const char* text) {
    if (!condition) {
        throw std::runtime_error{text};
    }
}

void require_call(bool condition) {
    if (!condition) {
        throw std::system_error{errno, std::generic_category()};
    }
}

void sync_folder(const std::string& folder) {
    const common::FileDescriptor open{::open(folder.c_str(), O_RDONLY | O_CLOEXEC)};
    // Not every file system can sync a folder.
    require_call(open.is_open() && (::fsync(open.get()) == 0 || errno == EINVAL));
}

bool is_private(int file) {
    constexpr mode_t all_permissions = 07777;
    struct stat status {};
    return fstat(file, &status) == 0 && status.st_uid == geteuid() &&
           (status.st_mode & all_permissions) == for_owner && status.st_nlink == 1 &&
           status.st_size <= greatest_size;
}

}  // namespace

ReportFile::ReportFile(const common::URI& target_address, const std::string& directory)
    : target{target_address.str()},
      folder{directory},
      path{directory + name_of(target_address.path())} {}

std::optional<UnsentReport> ReportFile::load() const {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 && errno == ENOENT) {
        return std::nullopt;
    }
    try {
        return parse(read());
    } catch (const std::exception& error) {
        ZLOG_WARNING_AS("load_report", "event", "report_file", "file", path, "message",
                        "the kept report cannot be used and is dropped", "what", error.what());
        remove();
        return std::nullopt;
    }
}

std::string ReportFile::read() const {
    const common::FileDescriptor file = common::RegularFile::try_to_open(path);
    require(file.is_open(), "not a regular file");
    require(is_private(file.get()), "not a file that this daemon has written");
    common::RegularFile content{path};
    std::string text;
    for (const auto* block = &content.read(); !block->empty(); block = &content.read()) {
        text.append(block->begin(), block->end());
    }
    return text;
}

UnsentReport ReportFile::parse(const std::string& text) const {
    const Json::Value kept = common::JSONDefaultParser{}(text);
    require(kept.isObject() && kept["format"] == Json::Value{format}, "of another version");
    require(kept["target"] == Json::Value{target}, "of another target or for another server");
    require(kept["address"].isString() && kept["report"].isObject() &&
                kept["report"]["status"].isObject() && kept["shortened"].isBool(),
            "incomplete");
    UnsentReport report;
    report.kind = UnsentReport::Kind::closing;
    report.address = common::URI{kept["address"].asString()};
    hawkbit::require_web_link(report.address);
    report.document = kept["report"];
    report.is_shortened = kept["shortened"].asBool();
    return report;
}

void ReportFile::save(const UnsentReport& report) const {
    Json::Value kept{Json::objectValue};
    kept["format"] = format;
    kept["target"] = target;
    kept["address"] = report.address.str();
    kept["report"] = report.document;
    kept["shortened"] = report.is_shortened;
    try {
        write(common::JSONDefaultWriter{}(kept));
    } catch (const std::exception& error) {
        ZLOG_WARNING_AS("save_report", "event", "report_file", "file", path, "message",
                        "the report cannot be kept over the end of the process", "what",
                        error.what());
    }
}

void ReportFile::write(const std::string& text) const {
    const std::string beside = path + ".new";
    require_call(::mkdir(folder.c_str(), folder_for_owner) == 0 || errno == EEXIST);
    ::unlink(beside.c_str());
    {
        const common::FileDescriptor file{::open(
            beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, for_owner)};
        require_call(file.is_open());
        require_call(::fchmod(file.get(), for_owner) == 0);
        require_call(file.write(text.data(), text.size()) == text.size());
        require_call(::fsync(file.get()) == 0);
    }
    require_call(std::rename(beside.c_str(), path.c_str()) == 0);
    sync_folder(folder);
}

void ReportFile::remove() const {
    try {
        require_call(::unlink(path.c_str()) == 0 || errno == ENOENT);
        sync_folder(folder);
    } catch (const std::exception& error) {
        ZLOG_WARNING_AS("remove_report", "event", "report_file", "file", path, "message",
                        "the kept report cannot be removed", "what", error.what());
    }
}

}  // namespace zephran
