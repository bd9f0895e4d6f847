// SPDX-License-Identifier: Apache-2.0
// A program of its own, because it replaces fsync().
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/partial_file.h"
#include "support/temporary_directory.h"

namespace {

struct Sync {
    std::string path;
    std::uintmax_t bytes;
    bool is_inherited;
};

std::vector<Sync> syncs;

}  // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the linker makes it up
extern "C" int __wrap_fsync(int descriptor) {
    namespace fs = std::filesystem;
    const fs::path path = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
    const auto flags = static_cast<unsigned>(::fcntl(descriptor, F_GETFD));
    syncs.push_back({path.string(), fs::is_regular_file(path) ? fs::file_size(path) : 0,
                     (flags & unsigned{FD_CLOEXEC}) == 0});
    return 0;
}

namespace zephran {
namespace {

TEST(PartialFileRecord, IsOnTheDiskBeforeTheBytesArrive) {
    const TemporaryDirectory directory;
    const ResumeRecord record{"/fw.bin", 10, "md5:00", "tag"};
    syncs.clear();

    PartialFile{directory.path("fw.bin")}.write_record(record);

    ASSERT_EQ(syncs.size(), 2U);
    EXPECT_EQ(syncs[0].path, directory.path(".fw.bin.part"));
    EXPECT_EQ(syncs[0].bytes, record.to_text().size());
    EXPECT_EQ(syncs[1].path, directory.path());
    EXPECT_FALSE(syncs[0].is_inherited || syncs[1].is_inherited);
}

}  // namespace
}  // namespace zephran
