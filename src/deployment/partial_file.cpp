// SPDX-License-Identifier: Apache-2.0
#include "deployment/partial_file.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include <boost/algorithm/string/predicate.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "common/exception.h"
#include "common/logprint.h"
#include "common/own_file.h"

namespace zephran {

namespace {

constexpr const char* suffix = ".part";

bool exists(const std::string& path) {
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

PartialFile::PartialFile(const std::string& artifact_path)
    : path_{artifact_path}, part_path{name_for(artifact_path)} {
    const auto name = path_.rfind('/') + 1;
    record_path = path_.substr(0, name) + "." + name_for(path_.substr(name));
}

common::FileDescriptor PartialFile::reopen(ResumeRecord& record) const {
    if (!exists(part_path) && !exists(record_path)) {
        return common::FileDescriptor{-1};
    }
    common::FileDescriptor part = common::open_own_file(part_path);
    ResumeRecord found;
    const std::string reason = reason_against(record, found, part);
    if (!reason.empty()) {
        ZLOG_WARNING("event", "download_restarted", "filename", path_, "what", reason);
        remove();
        return common::FileDescriptor{-1};
    }
    record.entity_tag = found.entity_tag;
    return part;
}

std::string PartialFile::reason_against(const ResumeRecord& wanted, ResumeRecord& found,
                                        const common::FileDescriptor& part) const {
    if (!part.is_open()) {
        return "the partial file is missing or not the daemon's own";
    }
    const auto record = ResumeRecord::from_text(read_record(record_path));
    if (!record) {
        return "the record beside the partial file is missing or cannot be understood";
    }
    if (!record->is_about_same_file(wanted)) {
        return "the partial file is of another artifact";
    }
    const std::uint64_t size = size_of(part);
    if (size == 0 || size > wanted.size) {
        return "the partial file is empty or larger than announced";
    }
    found = *record;
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
