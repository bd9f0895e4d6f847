#pragma once

#include <string>
#include <vector>

#include "support/memory_config.h"
#include "support/temporary_directory.h"

namespace zephran {

/// What the platform:: functions of a unit test work on, while the object lives. One at a time:
/// asking the platform without one, or making a second one, is an error of the test.
class FakePlatform {
public:
    FakePlatform();
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform(FakePlatform&&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;
    FakePlatform& operator=(FakePlatform&&) = delete;
    ~FakePlatform();

    /// The one that lives now.
    /// @throws std::logic_error
    static FakePlatform& current();

    TemporaryDirectory directory;
    /// With a trailing slash. It is the directory above unless a test sets another one.
    std::string temp_directory = directory.path() + "/";
    MemoryConfig config;

    /// File names of the artifacts for whose download room was to be made.
    std::vector<std::string> prepared_downloads;
    /// Part types of the chunks for whose installation room was to be made.
    std::vector<std::string> prepared_installs;
    unsigned recovered_downloads = 0;
    unsigned recovered_installs = 0;
};

}  // namespace zephran
