// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "installer/plc_ghn_installer.h"
#include "plc_ghn_installer_test.h"

namespace zephran::installer {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

/// An update with options.
class PLCGhnInstallerOptions : public PLCGhnInstallerTest {
protected:
    void start_with(const InstallationOptions& options) {
        configured = std::make_unique<PLCGhnInstaller>(common::MacAddress::parse(mac),
                                                       std::chrono::milliseconds{0}, options);
        configured->call_before_overwriting(
            [this](const auto&) { calls_before_overwriting.push_back(tools.calls().size()); });
        add_tools();
        start(*configured);
    }

    void expect_limit() {
        InstallationOptions options;
        options.tool_limit = std::chrono::seconds{2};

        start_with(options);

        EXPECT_EQ(configured->error().error_message, "Program terminated abnormally");
        EXPECT_THAT(configured->error().error_details, Not(HasSubstr("hush")));
    }

    std::vector<std::size_t> calls_before_overwriting;
    std::unique_ptr<PLCGhnInstaller> configured;
};

TEST_F(PLCGhnInstallerOptions, PasswordReachesTheToolAsItIs) {
    InstallationOptions options;
    options.quoting = ghn::ConfigLayerQuoting::shell;
    set_ghn(platform.config, "br-lan", "a&b 'c'");

    start_with(options);
    configured->tick();

    EXPECT_TRUE(configured->is_finished());
    const auto calls = tools.calls();
    EXPECT_EQ(calls.size(), 6U);
    for (const std::string& call : calls) {
        EXPECT_THAT(call,
                    HasSubstr(call.rfind("l2fwserver", 0) == 0 ? "modem.bin" : " -w a&b 'c' -m "));
    }
}

TEST_F(PLCGhnInstallerOptions, PasswordIsNotLogged) {
    InstallationOptions options;
    options.log_secrets = false;
    steps.ask_again = version("1.2 hush");

    start_with(options);

    EXPECT_THAT(log.text(), Not(HasSubstr("hush")));
    EXPECT_THAT(lines().front(),
                "event=start_installation ghn_interface=br-lan ghn_password=*** ghn_mac=" +
                    std::string{mac});
    EXPECT_THAT(lines().at(1), HasSubstr("command=configlayer -i br-lan -w *** -m "));
    EXPECT_THAT(lines().back(), HasSubstr("new_version=1.2 ***"));
}

TEST_F(PLCGhnInstallerOptions, QuotedPasswordIsNotLogged) {
    InstallationOptions options;
    options.log_secrets = false;
    options.quoting = ghn::ConfigLayerQuoting::shell;
    set_ghn(platform.config, "br-lan", "it's secret");

    start_with(options);

    EXPECT_THAT(log.text(), Not(HasSubstr("secret")));
}

TEST_F(PLCGhnInstallerOptions, QuestionForTheVersionIsLimited) {
    steps.ask = "exec sleep 60";
    expect_limit();
}

TEST_F(PLCGhnInstallerOptions, ArmingIsLimited) {
    steps.arm = "exec sleep 60";
    expect_limit();
}

TEST_F(PLCGhnInstallerOptions, PushIsLimited) {
    steps.push = "exec sleep 60";
    expect_limit();
}

TEST_F(PLCGhnInstallerOptions, QuestionForTheStatusIsLimited) {
    steps.report = "exec sleep 60";
    expect_limit();
}

TEST_F(PLCGhnInstallerOptions, ResetIsLimited) {
    steps.reset = "exec sleep 60";
    expect_limit();
}

TEST_F(PLCGhnInstallerOptions, ItIsSaidRightBeforeTheImageIsPushed) {
    start_with({});

    EXPECT_THAT(calls_before_overwriting, ElementsAre(2U));
}

TEST_F(PLCGhnInstallerOptions, NothingIsSaidOfAModemThatIsLeftAlone) {
    steps.ask = version("1.2");

    start_with({});

    EXPECT_TRUE(calls_before_overwriting.empty());
}

}  // namespace
}  // namespace zephran::installer
