// SPDX-License-Identifier: Apache-2.0
#include "deployment/partial_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include <boost/algorithm/string/predicate.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/exception.h"
#include "common/logprint.h"
#include "common/own_file.h"

namespace zephran {

namespace {

constexpr const char* suffix = ".part";

bool is_there(const std::string& path) {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0;
}

/// "" if there is none or it is not the daemon's own.
std::string read_record(const std::string& path) {
    constexpr std::size_t longest_record = 8192;
    std::array<char, longest_record> text{};
    const common::FileDescriptor file = common::open_own_file(path);
    const ssize_t length = file.is_open() ? ::read(file.get(), text.data(), text.size()) : 0;
    return length > 0 ? std::string{text.data(), static_cast<std::size_t>(length)} : std::string{};
}

/// A directory that survives a power cut is to hold the record afterwards; without it the download
/// only begins anew.
void sync(const common::FileDescriptor& file, const std::string& path) {
    ::fsync(file.get());
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const common::FileDescriptor open{::open(folder.c_str(), O_RDONLY | O_CLOEXEC)};
    ::fsync(open.get());
}

}  // namespace

bool PartialFile::is_possible(const Artifact& artifact, const std::vector<Chunk>& chunks) {
    // File systems take 255 characters.
    constexpr std::size_t longest_name = 240;
    const std::string name = name_for(artifact.filename());
    const auto has_name = [&](const Artifact& other) { return other.filename() == name; };
    return artifact.filename().size() <= longest_name &&
           !boost::ends_with(artifact.filename(), suffix) &&
           std::none_of(chunks.begin(), chunks.end(), [&](const Chunk& chunk) {
               return std::any_of(chunk.artifacts().begin(), chunk.artifacts().end(), has_name);
           });
}

std::string PartialFile::name_for(const std::string& filename) {
    return filename + suffix;
}

std::string PartialFile::artifact_of(const std::string& name) {
    if (!boost::ends_with(name, suffix)) {
        return {};
    }
    const std::size_t begin = name.front() == '.' ? 1 : 0;
    const std::size_t end = name.size() - std::strlen(suffix);
    return begin < end ? name.substr(begin, end - begin) : std::string{};
}

PartialFile::PartialFile(const std::string& artifact_path)
    : path_{artifact_path}, part_path{name_for(artifact_path)} {
    const auto name = path_.rfind('/') + 1;
    record_path = path_.substr(0, name) + "." + name_for(path_.substr(name));
}

common::FileDescriptor PartialFile::reopen(ResumeRecord& record) const {
    if (!exists()) {
        return common::FileDescriptor{-1};
    }
    common::FileDescriptor part = common::open_own_file(part_path);
    const std::optional<ResumeRecord> found = stored_record();
    std::string reason = reason_against(part, found);
    if (found && !found->is_about_same_file(record)) {
        reason = "the partial file is of another artifact";
    }
    if (!reason.empty()) {
        ZLOG_WARNING("event", "download_restarted", "filename", path_, "what", reason);
        remove();
        return common::FileDescriptor{-1};
    }
    record.entity_tag = found->entity_tag;
    return part;
}

bool PartialFile::exists() const {
    return is_there(part_path) || is_there(record_path);
}

std::optional<ResumeRecord> PartialFile::stored_record() const {
    return ResumeRecord::from_text(read_record(record_path));
}

std::string PartialFile::reason_to_begin_anew() const {
    return reason_against(common::open_own_file(part_path), stored_record());
}

std::string PartialFile::reason_against(const common::FileDescriptor& part,
                                        const std::optional<ResumeRecord>& found) {
    if (!part.is_open()) {
        return "the partial file is missing or not the daemon's own";
    }
    if (!found) {
        return "the record beside the partial file is missing or cannot be understood";
    }
    const std::uint64_t size = size_of(part);
    if (size == 0 || size > found->size) {
        return "the partial file is empty or larger than announced";
    }
    return {};
}

common::FileDescriptor PartialFile::begin() const {
    // The record goes first: it must never stand beside bytes of another file.
    remove_record();
    return common::create_own_file(part_path);
}

void PartialFile::write_record(const ResumeRecord& record) const {
    if (!is_strong_tag(record.entity_tag)) {
        return;
    }
    const std::string text = record.to_text();
    try {
        const common::FileDescriptor file = common::create_own_file(record_path);
        if (file.write(text.data(), text.size()) == text.size()) {
            sync(file, record_path);
            return;
        }
    } catch (const common::OutputFileOpenException&) {
        ZLOG_WARNING("event", "record_failed", "filename", record_path, "what",
                     "the record cannot be made, so the download cannot be resumed");
        return;
    }
    ZLOG_WARNING("event", "record_failed", "filename", record_path, "what",
                 "the record cannot be written, so the download cannot be resumed");
    remove_record();
}

void PartialFile::remove_record() const {
    ::unlink(record_path.c_str());
}

void PartialFile::complete() const {
    if (::rename(part_path.c_str(), path_.c_str()) != 0) {
        ZEPHRAN_THROW(common::FileWriteException{} << common::filename_tag{path_});
    }
    remove_record();
}

void PartialFile::remove() const {
    remove_record();
    ::unlink(part_path.c_str());
}

std::uint64_t PartialFile::size() const {
    return size_of(common::open_own_file(part_path));
}

std::uint64_t size_of(const common::FileDescriptor& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

}  // namespace zephran
