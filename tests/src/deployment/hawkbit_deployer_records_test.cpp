// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "deployment/hawkbit_deployer.h"
#include "store/device_store.h"
#include "support/deployer_bench.h"

namespace zephran::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// What a deployer has written down while installers do their work.
class HawkbitDeployerRecords : public ::testing::Test, protected DeployerBench {
protected:
    static constexpr const char* version_key = "zephran.device.version_scripted";
    static constexpr const char* begin_key = "zephran.device.begun_installation";

    HawkbitDeployerRecords() { part.script.can_resume = true; }

    void make_interrupted(const std::string& chunk) {
        DeploymentText text = scripted_deployment(3);
        text.history = {"Installation started", chunk};
        make(text);
    }
    [[nodiscard]] std::string recorded(const char* key) const {
        const auto found = platform.config.values.find(key);
        return found == platform.config.values.end() ? "" : found->second;
    }
    void fail_an_installation() {
        part.script.fails_while_installing = true;
        make(scripted_deployment(1));
        run_to_end();
        EXPECT_TRUE(deployer->is_cancelled());
    }
};

TEST_F(HawkbitDeployerRecords, VersionOfAnOverwrittenPartIsWithdrawnIfToldSo) {
    context.options.strict_records = true;
    platform.config.values[version_key] = "0.9";

    fail_an_installation();

    EXPECT_EQ(recorded(version_key), "");
}

TEST_F(HawkbitDeployerRecords, VersionThatCannotBeWithdrawnIsLogged) {
    context.options.strict_records = true;
    platform.config.values[version_key] = "0.9";
    platform.config.read_only = true;

    fail_an_installation();

    EXPECT_THAT(log.text(), HasSubstr("withdraw_record: action=withdraw_record"));
}

TEST_F(HawkbitDeployerRecords, VersionOfAnOverwrittenPartStaysOtherwise) {
    platform.config.values[version_key] = "0.9";

    fail_an_installation();

    EXPECT_EQ(recorded(version_key), "0.9");
    EXPECT_THAT(platform.config.writes, IsEmpty());
}

TEST_F(HawkbitDeployerRecords, VersionOfTheGatewaysPartStaysWhenAnAdapterIsUpdated) {
    context.options.strict_records = true;
    attributes["parent"] = "gateway";
    platform.config.values[version_key] = "0.9";

    fail_an_installation();

    EXPECT_EQ(recorded(version_key), "0.9");
}

TEST_F(HawkbitDeployerRecords, InstalledVersionIsRecordedAgain) {
    context.options.strict_records = true;
    platform.config.values[version_key] = "0.9";
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_EQ(recorded(version_key), "1");
}

TEST_F(HawkbitDeployerRecords, BeginIsWrittenDownIfToldSo) {
    context.options.strict_resume = true;
    part.script.steps_to_install = 3;
    make(scripted_deployment(1));

    tick(ticks_to_installer + 3);

    EXPECT_EQ(recorded(begin_key), "7 scripted:a:1");
}

TEST_F(HawkbitDeployerRecords, BeginIsNotWrittenDownOtherwise) {
    make(scripted_deployment(1));

    run_to_end();

    for (const auto& write : platform.config.writes) {
        EXPECT_NE(write.first, begin_key);
    }
}

TEST_F(HawkbitDeployerRecords, InstallationWhoseBeginCannotBeWrittenDownFails) {
    context.options.strict_resume = true;
    platform.config.read_only = true;
    make(scripted_deployment(1));

    run_to_end();

    EXPECT_TRUE(deployer->is_cancelled());
    EXPECT_EQ(deployer->error().error_message,
              "The start of the installation could not be recorded");
    EXPECT_THAT(log.text(), HasSubstr("record_begin: action=record_begin"));
}

TEST_F(HawkbitDeployerRecords, InterruptedInstallationWithItsRecordIsResumed) {
    context.options.strict_resume = true;
    platform.config.values[begin_key] = "7 scripted:b:2";
    make_interrupted("scripted:b:2");

    deployer->resume();
    run_to_end();

    EXPECT_THAT(part.script.taken_up, ElementsAre("b:2"));
    EXPECT_THAT(part.script.started, ElementsAre("c:3"));
}

TEST_F(HawkbitDeployerRecords, InterruptedInstallationWithoutItsRecordIsInstalledAnew) {
    context.options.strict_resume = true;
    for (const char* const record : {"", "7 scripted:a:1", "6 scripted:b:2", "scripted:b:2"}) {
        part.script.started.clear();
        platform.config.values[begin_key] = record;
        make_interrupted("scripted:b:2");

        deployer->resume();
        EXPECT_TRUE(deployer->is_resumed());
        run_to_end();

        EXPECT_THAT(part.script.started, ElementsAre("b:2", "c:3")) << record;
    }
    EXPECT_THAT(part.script.taken_up, IsEmpty());
    EXPECT_THAT(log.text(), HasSubstr("action=resume message=restarting chunk"));
}

TEST_F(HawkbitDeployerRecords, InterruptedInstallationNeedsNoRecordOtherwise) {
    make_interrupted("scripted:b:2");

    deployer->resume();
    run_to_end();

    EXPECT_THAT(part.script.taken_up, ElementsAre("b:2"));
}

}  // namespace
}  // namespace zephran::test
