// SPDX-License-Identifier: Apache-2.0
#include "options/service_options.h"

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
        EXPECT_EQ(options.discovery.ids, AdapterIds::serial);
        EXPECT_TRUE(options.discovery.failure_is_fatal);
        EXPECT_EQ(options.discovery.quoting, ghn::ConfigLayerQuoting::none);
    }

    CapturedLog log;
    MemoryConfig config;
};

TEST_F(ServiceOptionsTest, AbsentOnesChangeNothingAndSayNothing) {
    expect_nothing_changed(read());
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ServiceOptionsTest, ValuesOfTheUnconfiguredDaemonCanBeWrittenDown) {
    set("chunk_order", "server");
    set("log_repeats", "1");
    set("tool_quoting", "0");
    set("bootloader_label", "");
    set("adapter_ids", "serial");
    set("discovery_errors", "fatal");

    expect_nothing_changed(read());
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ServiceOptionsTest, OtherValuesAreTakenAsTheyAre) {
    set("chunk_order", "name");
    set("log_repeats", "0");
    set("bootloader_label", "u-boot env");
    set("adapter_ids", "prefixed");
    set("discovery_errors", "log");

    const ServiceOptions options = read();

    EXPECT_EQ(options.agent.chunk_order, ChunkOrder::name);
    EXPECT_FALSE(options.agent.log_repeats);
    EXPECT_EQ(options.agent.installation.bootloader_label, "u-boot env");
    EXPECT_EQ(options.discovery.ids, AdapterIds::prefixed);
    EXPECT_FALSE(options.discovery.failure_is_fatal);
    EXPECT_THAT(log.text(), IsEmpty());
}

TEST_F(ServiceOptionsTest, QuotingHoldsForInstallationsAndDiscovery) {
    set("tool_quoting", "1");

    EXPECT_EQ(read().agent.installation.quoting, ghn::ConfigLayerQuoting::shell);
    EXPECT_EQ(read().discovery.quoting, ghn::ConfigLayerQuoting::shell);
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
                      BadOption{"tool_quoting", "shell", "1, on, true"},
                      BadOption{"adapter_ids", "mac", "one of serial, prefixed"},
                      BadOption{"discovery_errors", "0", "one of fatal, log"}),
    [](const ::testing::TestParamInfo<BadOption>& bad) { return std::string{bad.param.name}; });

}  // namespace
}  // namespace zephran
