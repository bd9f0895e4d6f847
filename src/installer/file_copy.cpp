// SPDX-License-Identifier: Apache-2.0
#include "installer/file_copy.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "common/exception.h"
#include "common/file_descriptor.h"
#include "common/regular_file.h"

namespace zephran::installer {

namespace {

using common::FileDescriptor;

constexpr mode_t for_everybody = 0666;

bool sync(const FileDescriptor& file) {
    // Not every file system and device has something to sync.
    return file.is_open() && (::fsync(file.get()) == 0 || errno == EINVAL);
}

std::string folder_of(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

}  // namespace

void copy_file(const std::string& source, const std::string& destination) {
    common::RegularFile input{source};
    const FileDescriptor output{
        ::open(destination.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, for_everybody)};
    if (!output.is_open()) {
        ZEPHRAN_THROW(common::OutputFileOpenException{} << common::filename_tag{destination});
    }
    bool complete = true;
    for (const auto* block = &input.read(); !block->empty(); block = &input.read()) {
        complete = output.write(block->data(), block->size()) == block->size();
        if (!complete) {
            break;
        }
    }
    // The name of a new file is in its folder, which has to be synced as well.
    if (!complete || !sync(output) ||
        !sync(FileDescriptor{::open(folder_of(destination).c_str(), O_RDONLY | O_CLOEXEC)})) {
        ZEPHRAN_THROW(common::FileWriteException{} << common::filename_tag{destination});
    }
}

}  // namespace zephran::installer
