// SPDX-License-Identifier: Apache-2.0
#include "options/service_options.h"

#include <chrono>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/captured_log.h"
#include "support/memory_config.h"

namespace zephran {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ServiceOptionsTest : public ::testing::Test {
protected:
    void set(const std::string& option, const std::string& value) {
        config.values["zephran.service." + option] = value;
    }
    ServiceOptions read() { return read_service_options(config); }

    static void expect_nothing_changed(const ServiceOptions& options) {
        EXPECT_EQ(options.agent.chunk_order, ChunkOrder::server);
        EXPECT_TRUE(options.agent.log_repeats);
        EXPECT_EQ(options.agent.installation.quoting, ghn::ConfigLayerQuoting::none);
        EXPECT_EQ(options.agent.installation.bootloader_label, std::nullopt);
        EXPECT_EQ(options.agent.installation.tool_limit, std::nullopt);
        EXPECT_FALSE(options.agent.installation.strict_records);
        EXPECT_FALSE(options.agent.installation.strict_resume);
        EXPECT_EQ(options.agent.installation.upgrade_handover, UpgradeHandover::exit10);
        EXPECT_TRUE(options.agent.installation.log_secrets);
        EXPECT_EQ(options.discovery.tool_limit, std::nullopt);
        EXPECT_TRUE(options.log_secrets);
        EXPECT_EQ(options.download_dir, std::nullopt);
        EXPECT_EQ(options.discovery.ids, AdapterIds::serial);
        EXPECT_TRUE(options.discovery.failure_is_fatal);
        EXPECT_EQ(options.discovery.quoting, ghn::ConfigLayerQuoting::none);
    }

    CapturedLog log;
    MemoryConfig config;
};

TEST_F(ServiceOptionsTest, UnreadOnesChangeNothing) {
    expect_nothing_changed(ServiceOptions{});
}

TEST_F(ServiceOptionsTest, AbsentOnesChangeNothingAndSayNothing) {
    expect_nothing_changed(read());
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ServiceOptionsTest, DownloadDirectoryIsAnAbsolutePath) {
    set("download_dir", "/tmp/zephran");
    EXPECT_EQ(read().download_dir, "/tmp/zephran");

    set("download_dir", "/overlay/down-loads_1.d/");
    EXPECT_EQ(read().download_dir, "/overlay/down-loads_1.d");

    set("download_dir", "/d//");
    EXPECT_EQ(read().download_dir, "/d");
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ServiceOptionsTest, DownloadDirectoryThatIsNoPlainPathIsAbsent) {
    for (const char* const value : {"tmp", "/", "//", "/tmp/a b", "/tmp/$(reboot)", "/tmp/../etc",
                                    "/tmp/..", "/tmp/a\nb", "/tmp/'"}) {
        set("download_dir", value);
        EXPECT_EQ(read().download_dir, std::nullopt) << value;
        EXPECT_THAT(log.text(), HasSubstr("event=bad_option option=download_dir value=")) << value;
        EXPECT_THAT(log.text(), HasSubstr("expected=an absolute path of letters, digits")) << value;
    }
}

TEST_F(ServiceOptionsTest, ValuesOfTheUnconfiguredDaemonCanBeWrittenDown) {
    set("chunk_order", "server");
    set("log_repeats", "1");
    set("tool_quoting", "0");
    set("bootloader_label", "");
    set("adapter_ids", "serial");
    set("discovery_errors", "fatal");
    set("tool_limit", "");
    set("strict_records", "0");
    set("strict_resume", "0");
    set("upgrade_handover", "exit10");
    set("log_secrets", "1");

    expect_nothing_changed(read());
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ServiceOptionsTest, OtherValuesAreTakenAsTheyAre) {
    set("chunk_order", "name");
    set("log_repeats", "0");
    set("bootloader_label", "u-boot env");
    set("adapter_ids", "prefixed");
    set("discovery_errors", "log");
    set("strict_records", "1");
    set("strict_resume", "1");
    set("upgrade_handover", "any");

    const ServiceOptions options = read();

    EXPECT_EQ(options.agent.chunk_order, ChunkOrder::name);
    EXPECT_FALSE(options.agent.log_repeats);
    EXPECT_EQ(options.agent.installation.bootloader_label, "u-boot env");
    EXPECT_EQ(options.discovery.ids, AdapterIds::prefixed);
    EXPECT_FALSE(options.discovery.failure_is_fatal);
    EXPECT_TRUE(options.agent.installation.strict_records);
    EXPECT_TRUE(options.agent.installation.strict_resume);
    EXPECT_EQ(options.agent.installation.upgrade_handover, UpgradeHandover::any);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ServiceOptionsTest, QuotingHoldsForInstallationsAndDiscovery) {
    set("tool_quoting", "1");

    EXPECT_EQ(read().agent.installation.quoting, ghn::ConfigLayerQuoting::shell);
    EXPECT_EQ(read().discovery.quoting, ghn::ConfigLayerQuoting::shell);
}

TEST_F(ServiceOptionsTest, LimitOfToolsHoldsForInstallationsAndDiscovery) {
    set("tool_limit", "1800");

    EXPECT_EQ(read().agent.installation.tool_limit, std::chrono::seconds{1800});
    EXPECT_EQ(read().discovery.tool_limit, std::chrono::seconds{1800});
}

TEST_F(ServiceOptionsTest, SecretsAreHiddenFromInstallationsAndTransfers) {
    set("log_secrets", "0");

    EXPECT_FALSE(read().agent.installation.log_secrets);
    EXPECT_FALSE(read().log_secrets);
}

TEST_F(ServiceOptionsTest, NoOptionIsReadTwice) {
    read();

    const auto reads = config.reads();
    EXPECT_EQ(std::set<std::string>(reads.begin(), reads.end()).size(), reads.size());
}

struct BadOption {
    const char* name;
    const char* value;
    const char* expected;
};

class BadServiceOption : public ServiceOptionsTest,
                         public ::testing::WithParamInterface<BadOption> {};

TEST_P(BadServiceOption, CountsAsAbsentAfterOneLine) {
    set(GetParam().name, GetParam().value);

    expect_nothing_changed(read());

    EXPECT_EQ(logged_after("WARNING", log.text()).size(), 1U);
    EXPECT_THAT(log.text(),
                HasSubstr(std::string{"event=bad_option option="} + GetParam().name +
                          " value=" + GetParam().value + " expected=" + GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Each, BadServiceOption,
    ::testing::Values(BadOption{"chunk_order", "1", "one of server, name"},
                      BadOption{"log_repeats", "none", "1, on, true"},
                      BadOption{"tool_limit", "0", "a number from 1 to 86400"},
                      BadOption{"strict_records", "2", "1, on, true"},
                      BadOption{"strict_resume", "2", "1, on, true"},
                      BadOption{"upgrade_handover", "1", "one of exit10, any"},
                      BadOption{"log_secrets", "no!", "1, on, true"},
                      BadOption{"tool_quoting", "shell", "1, on, true"},
                      BadOption{"adapter_ids", "mac", "one of serial, prefixed"},
                      BadOption{"discovery_errors", "0", "one of fatal, log"}),
    [](const ::testing::TestParamInfo<BadOption>& bad) { return std::string{bad.param.name}; });

}  // namespace
}  // namespace zephran
