// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/exception.h"
#include "installer/hawkbit_installer.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/make_chunk.h"

namespace zephran::test {

/// 2024-03-01T12:00:00Z
inline const std::chrono::system_clock::time_point noon{std::chrono::seconds{1709294400}};

struct VersionMismatchException : common::Exception {
    VersionMismatchException() : Exception{"Installed version differs"} {}
};

/// Does only what a test tells it, and records the calls.
class TestInstaller : public HawkbitInstaller {
public:
    TestInstaller(Clock clock, SteadyClock steady_clock)
        : HawkbitInstaller{std::move(clock), std::move(steady_clock)} {}

    [[nodiscard]] bool records_installed_version() const override { return records_version; }
    [[nodiscard]] bool was_resumed() const { return is_resumed(); }
    void write_report(const std::string& text) { report() << text; }

    std::vector<std::string> calls;
    bool installed = false;
    bool version_mismatch = false;
    bool start_fails = false;
    bool can_be_cancelled = true;
    bool cancellation_done = false;
    bool cancellation_fails = false;
    bool records_version = true;

protected:
    void start_installation() override {
        calls.push_back("start " + chunk().part());
        if (start_fails) {
            ZEPHRAN_THROW(common::NotImplementedException{});
        }
    }
    [[nodiscard]] bool installation_has_finished() override {
        calls.emplace_back("finished?");
        if (version_mismatch) {
            ZEPHRAN_THROW(VersionMismatchException{});
        }
        return installed;
    }
    void cancel_installation() override {
        calls.emplace_back("cancel");
        if (!can_be_cancelled) {
            ZEPHRAN_THROW(CannotBeCancelledException{});
        }
    }
    [[nodiscard]] bool cancellation_has_finished() override {
        calls.emplace_back("cancelled?");
        if (cancellation_fails) {
            ZEPHRAN_THROW(CancellationFailedException{});
        }
        return cancellation_done;
    }
};

/// One installer of a chunk os:firmware:2.1.0 in a simulated environment.
class InstallerTest : public testing::Test {
protected:
    InstallerTest() {
        installer.assign(make_chunk("os", {"image"}, "firmware", "2.1.0"), attributes);
    }

    void tick(unsigned times = 1) {
        for (; times != 0; --times) {
            installer.tick();
        }
    }
    /// Two ticks lead to the state in which the installation runs.
    void start_installing() {
        tick(2);
        installer.calls.clear();
    }

    FakePlatform platform;
    CapturedLog log;
    hawkbit::Attributes attributes;
    /// The clock on the wall; the time limit is measured with the other one.
    std::chrono::system_clock::time_point time = noon;
    std::chrono::steady_clock::time_point steady_time{std::chrono::hours{1}};
    TestInstaller installer{[this] { return time; }, [this] { return steady_time; }};
};

}  // namespace zephran::test
