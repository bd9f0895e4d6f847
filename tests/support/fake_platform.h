// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "support/memory_config.h"
#include "support/temporary_directory.h"

namespace zephran {

/// The state behind the platform:: functions in unit tests. Calling these functions without such an
/// object, or creating a second one, is a mistake in the test.
class FakePlatform {
public:
    FakePlatform();
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform(FakePlatform&&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;
    FakePlatform& operator=(FakePlatform&&) = delete;
    ~FakePlatform();

    /// The current one.
    /// @throws std::logic_error
    static FakePlatform& current();

    TemporaryDirectory directory;
    /// With a trailing slash. The directory above unless a test sets another one.
    std::string temp_directory = directory.path() + "/";
    TemporaryDirectory run;
    /// With a trailing slash.
    std::string run_directory = run.path() + "/";
    TemporaryDirectory state;
    /// With a trailing slash.
    std::string state_directory = state.path() + "/";
    MemoryConfig config;

    /// File names of the artifacts passed to prepare_download().
    std::vector<std::string> prepared_downloads;
    /// Part types of the chunks passed to prepare_install().
    std::vector<std::string> prepared_installs;
    /// The limits of both, in the order of the calls.
    std::vector<std::optional<std::chrono::milliseconds>> preparation_limits;
    unsigned recovered_downloads = 0;
    unsigned recovered_installs = 0;
};

}  // namespace zephran
