// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "installer/mtd_installer.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/image_chunk.h"
#include "support/simulated_tools.h"

namespace zephran::installer {

/// A boot loader for a file that simulates its partition, with tools that erase and write it.
class MTDInstallerTest : public testing::Test {
protected:
    using Lines = std::vector<std::string>;

    static inline const std::string image = "boot loader\n";
    // The content of the file that simulates the partition after an erase.
    static inline const std::string erased = std::string(20, '\xFF');

    MTDInstallerTest() {
        platform.directory.write("boot.bin", image);
        gateway.write("dev/mtd1", "old loader and what follows it");
        gateway.write("mtd/mtd1/erasesize", "65536\n");
        erase_with("");
        write_with("");
    }

    /// @param script runs before the partition is erased, and may end the tool
    void erase_with(const std::string& script) const {
        tools.add("flash_erase", script + "\nhead -c " + std::to_string(erased.size()) +
                                     R"( /dev/zero | tr '\0' '\377' >"$1")");
    }
    /// @param script runs before the image is written, and may end the tool
    void write_with(const std::string& script) const {
        tools.add("dd", script + "\ndd \"$@\" conv=notrunc 2>/dev/null");
    }
    /// Takes the steps that check and start the installation.
    void start(std::uint32_t attempts = 5) {
        installer = std::make_unique<MTDInstaller>(
            "mtd1", attempts,
            MTDInstaller::Environment{gateway.path("dev") + "/", gateway.path("mtd") + "/"},
            required_label);
        installer->assign(make_image_chunk("bl", "boot.bin", image, "3.4"), attributes);
        installer->call_before_overwriting(
            [this](const auto&) { calls_before_overwriting.push_back(tools.calls().size()); });
        installer->tick();
        installer->tick();
    }
    [[nodiscard]] std::string erase_command() const { return "flash_erase " + device + " 0 0"; }
    [[nodiscard]] std::string write_command() const {
        return "dd if=" + platform.temp_directory + "boot.bin of=" + device + " bs=65536";
    }
    [[nodiscard]] Lines executed() const {
        return logged_after("start_installation: event=executing command=", log.text());
    }
    void expect_failure(const std::string& message) {
        installer->tick();
        EXPECT_TRUE(installer->is_cancelled());
        EXPECT_FALSE(installer->is_finished());
        EXPECT_EQ(installer->error().error_message, message);
        EXPECT_EQ(HawkbitInstaller::get_installed_version("bl"), "");
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    SimulatedTools tools;
    TemporaryDirectory gateway;
    std::string device = gateway.path("dev/mtd1");
    hawkbit::Attributes attributes;
    std::optional<std::string> required_label;
    std::vector<std::size_t> calls_before_overwriting;
    std::unique_ptr<MTDInstaller> installer;
};

}  // namespace zephran::installer
