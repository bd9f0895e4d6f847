// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "installer/plc_ghn_installer.h"
#include "support/captured_log.h"
#include "support/fake_platform.h"
#include "support/ghn_options.h"
#include "support/make_chunk.h"
#include "support/simulated_tools.h"

namespace zephran::installer {

/// An update of a modem from version 1.0 to 1.2, step by step.
class PLCGhnInstallerTest : public testing::Test {
protected:
    static constexpr const char* mac = "02:00:00:00:00:0a";

    /// What the tools do in each step, as shell commands.
    struct Steps {
        std::string ask = version("1.0");
        std::string arm;
        std::string push;
        std::string report = "echo FLUPGRADE.GENERAL.STATUS=READY";
        std::string reset;
        std::string ask_again = version("1.2");
    };

    PLCGhnInstallerTest() { set_ghn(platform.config, "br-lan", "hush"); }

    static std::string version(const std::string& text) {
        return "echo 'SYSTEM.GENERAL.FW_VERSION=" + text + "'";
    }

    /// Takes the steps that check and start the installation.
    void start() {
        add_tools();
        start(installer);
    }
    void add_tools() {
        tools.add("configlayer", "case $call in 1) " + command(steps.ask) + " ;; 2) " +
                                     command(steps.arm) + " ;; 3) " + command(steps.report) +
                                     " ;; 4) " + command(steps.reset) + " ;; 5) " +
                                     command(steps.ask_again) + " ;; *) exit 99 ;; esac");
        tools.add("l2fwserver", steps.push);
    }
    void start(PLCGhnInstaller& installer_to_start) {
        installer_to_start.assign(make_chunk("plc_ghn", {"modem.bin"}, "modem", "1.2"), attributes);
        installer_to_start.tick();
        installer_to_start.tick();
    }

    /// How the command line for the modem begins.
    static std::string configlayer() {
        return std::string{"configlayer -i br-lan -w hush -m "} + mac;
    }
    /// The command of every step in order.
    [[nodiscard]] std::vector<std::string> commands() const {
        return {configlayer() + " -o GET -p SYSTEM.GENERAL.FW_VERSION",
                configlayer() +
                    " -o SET -p FLUPGRADE.GENERAL.SOURCE=L2"
                    " -p FLUPGRADE.GENERAL.SECTION=OSUP -p FLUPGRADE.GENERAL.START=YES",
                "l2fwserver " + platform.temp_directory + "modem.bin br-lan -m " + mac,
                configlayer() +
                    " -o GET -p FLUPGRADE.GENERAL.STATUS"
                    " -p FLUPGRADE.GENERAL.LAST_UPGRADE_INFO",
                configlayer() + " -o SET -p SYSTEM.GENERAL.HW_RESET=1",
                configlayer() + " -t 5000 -r 15 -o GET -p SYSTEM.GENERAL.FW_VERSION"};
    }
    [[nodiscard]] std::vector<std::string> first_commands(unsigned count) const {
        const std::vector<std::string> all = commands();
        return {all.begin(), all.begin() + count};
    }

    /// The log lines of the installation, fields only.
    [[nodiscard]] std::vector<std::string> lines() const {
        return logged_after(" start_installation: ", log.text());
    }

    FakePlatform platform;
    CapturedLog log{"INFO"};
    SimulatedTools tools;
    hawkbit::Attributes attributes;
    Steps steps;
    PLCGhnInstaller installer{common::MacAddress::parse(mac), std::chrono::milliseconds{0}};

private:
    static std::string command(const std::string& script) { return script.empty() ? ":" : script; }
};

}  // namespace zephran::installer
