// SPDX-License-Identifier: Apache-2.0
#include "store/device_store.h"

#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/exception.h"
#include "ghn/ghn_config.h"
#include "support/captured_log.h"
#include "support/memory_config.h"
#include "support/simulated_tools.h"

namespace zephran {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr const char* automatic_update_key = "zephran.service.automatic_update";
constexpr const char* rebooted_key = "zephran.service.rebooted";
constexpr const char* unconfirmed_key = "zephran.device.previous_version_os_tmp";

class DeviceStoreTest : public testing::Test {
protected:
    /// The log lines without time, level and source location.
    [[nodiscard]] std::vector<std::string> lines() const {
        std::vector<std::string> found;
        for (const std::string& line : logged_after("device_store.cpp:", log.text())) {
            found.push_back(line.substr(line.find(' ') + 1));
        }
        return found;
    }

    CapturedLog log;
    MemoryConfig config;
    DeviceStore store{config};
    const DeviceStore::Caller caller{"somebody"};
};

TEST_F(DeviceStoreTest, ScheduleIsReadFromFourOptions) {
    config.values = {{"zephran.schedule.enabled", "1"},
                     {"zephran.schedule.daysofweek", "Monday"},
                     {"zephran.schedule.starttime", "08:00"},
                     {"zephran.schedule.stoptime", "17:00"}};

    EXPECT_TRUE(store.is_schedule_enabled());
    EXPECT_EQ(store.schedule_days(), "Monday");
    EXPECT_EQ(store.schedule_start_time(), "08:00");
    EXPECT_EQ(store.schedule_stop_time(), "17:00");
}

TEST_F(DeviceStoreTest, OnlyTheValueOneEnablesTheSchedule) {
    for (const char* const value : {"0", "", "true", "11", " 1"}) {
        config.values["zephran.schedule.enabled"] = value;

        EXPECT_FALSE(store.is_schedule_enabled()) << value;
    }
}

TEST_F(DeviceStoreTest, MissingOptionOfTheScheduleIsAnException) {
    EXPECT_THROW((void)store.is_schedule_enabled(), OptionNotFoundException);
    EXPECT_THROW((void)store.schedule_days(), OptionNotFoundException);
    EXPECT_THROW((void)store.schedule_start_time(), OptionNotFoundException);
    EXPECT_THROW((void)store.schedule_stop_time(), OptionNotFoundException);
}

TEST_F(DeviceStoreTest, WithdrawnInstallationLeavesNoRecord) {
    store.record_installation("bl", "3.4", "2024-03-01T12:00:00Z", caller);
    store.record_installation("zw", "6.71", "2024-03-02T12:00:00Z", caller);

    store.withdraw_installation("bl", caller);

    EXPECT_EQ(store.installed_version("bl"), "");
    EXPECT_EQ(store.installation_time("bl"), "");
    EXPECT_EQ(store.installed_version("zw"), "6.71");
    EXPECT_EQ(log.text(), "");
}

// A power cut between the two must not leave a version behind that is being overwritten.
TEST_F(DeviceStoreTest, VersionIsWithdrawnBeforeItsTime) {
    store.record_installation("bl", "3.4", "2024-03-01T12:00:00Z", caller);
    config.writes.clear();

    store.withdraw_installation("bl", caller);

    EXPECT_THAT(config.writes, ElementsAre(Pair("zephran.device.version_bl", ""),
                                           Pair("zephran.device.installation_time_bl", "")));
}

TEST_F(DeviceStoreTest, NothingIsWrittenToWithdrawWhatIsNotRecorded) {
    store.withdraw_installation("bl", caller);
    store.withdraw_installation("a.b", caller);

    EXPECT_THAT(config.writes, IsEmpty());
    EXPECT_EQ(log.text(), "");
}

TEST_F(DeviceStoreTest, BegunInstallationIsThatOfItsActionAndChunk) {
    EXPECT_FALSE(store.has_begun("7", "script:a:1"));

    EXPECT_TRUE(store.record_begin("7", "script:a:1", caller));

    EXPECT_EQ(config.values["zephran.device.begun_installation"], "7 script:a:1");
    EXPECT_TRUE(store.has_begun("7", "script:a:1"));
    EXPECT_FALSE(store.has_begun("8", "script:a:1"));
    EXPECT_FALSE(store.has_begun("7", "script:a:2"));
    EXPECT_TRUE(store.record_begin("7", "script:b:1", caller));
    EXPECT_FALSE(store.has_begun("7", "script:a:1"));
}

TEST_F(DeviceStoreTest, BegunInstallationIsForgottenWithItsAction) {
    static_cast<void>(store.record_begin("7", "script:a:1", caller));

    store.forget_begin("77", caller);
    store.forget_begin("", caller);
    EXPECT_TRUE(store.has_begun("7", "script:a:1"));
    store.forget_begin("7", caller);
    EXPECT_FALSE(store.has_begun("7", "script:a:1"));
    EXPECT_EQ(config.values.count("zephran.device.begun_installation"), 0U);
    config.writes.clear();
    store.forget_begin("7", caller);

    EXPECT_THAT(config.writes, IsEmpty());
}

TEST_F(DeviceStoreTest, BeginThatCannotBeReadBackIsNotRecorded) {
    config.lost_writes = 1;
    EXPECT_FALSE(store.record_begin("7", "script:a:1", caller));

    config.read_only = true;
    EXPECT_FALSE(store.record_begin("7", "script:a:1", caller));
}

TEST_F(DeviceStoreTest, OnlyTheValueZeroDisablesAutomaticUpdates) {
    for (const char* const value : {"1", "", "false", "00", " 0"}) {
        config.values[automatic_update_key] = value;
        EXPECT_TRUE(store.is_automatic_update_enabled(caller)) << value;
    }
    config.values[automatic_update_key] = "0";
    EXPECT_FALSE(store.is_automatic_update_enabled(caller));

    EXPECT_THAT(config.writes, IsEmpty());
    EXPECT_EQ(log.text(), "");
}

TEST_F(DeviceStoreTest, AutomaticUpdatesAreEnabledByDefaultAndTheDefaultIsStored) {
    EXPECT_TRUE(store.is_automatic_update_enabled({"somebody", "event"}));

    EXPECT_EQ(config.values[automatic_update_key], "1");
    EXPECT_THAT(lines(), ElementsAre("somebody: event=somebody message=missing config entry, "
                                     "setting default enabled"));
}

TEST_F(DeviceStoreTest, DefaultAppliesEvenIfItCannotBeStored) {
    config.read_only = true;

    EXPECT_TRUE(store.is_automatic_update_enabled({"somebody", "event"}));

    EXPECT_THAT(lines(), ElementsAre("somebody: event=somebody message=missing config entry, "
                                     "setting default enabled",
                                     "somebody: event=somebody message=could not store config "
                                     "entry key=zephran.service.automatic_update value=1"));
}

TEST_F(DeviceStoreTest, AutomaticUpdatesAreOffIfTheOptionCannotBeRead) {
    config.unreadable_keys = {automatic_update_key};

    EXPECT_FALSE(store.is_automatic_update_enabled({"somebody", "event"}));

    EXPECT_THAT(config.writes, IsEmpty());
    EXPECT_THAT(lines(), ElementsAre("somebody: event=somebody message=option cannot be read, "
                                     "automatic updates count as off package=zephran "
                                     "key=zephran.service.automatic_update"));
    EXPECT_THAT(log.text(), testing::ContainsRegex(" ERROR device_store\\.cpp:[0-9]+ somebody: "));
}

TEST_F(DeviceStoreTest, OtherOptionsThatCannotBeReadCountAsMissing) {
    config.unreadable_keys = {rebooted_key, unconfirmed_key, "zephran.device.version_os"};

    EXPECT_FALSE(store.take_reboot_mark(caller));
    EXPECT_FALSE(store.unconfirmed_previous_firmware().has_value());
    EXPECT_EQ(store.installed_version("os"), "");
    EXPECT_THAT(config.writes, IsEmpty());
}

TEST_F(DeviceStoreTest, RebootMarkIsSetAndCleared) {
    store.mark_rebooted(caller);
    EXPECT_EQ(config.values[rebooted_key], "1");

    store.clear_reboot_mark(caller);
    EXPECT_EQ(config.values[rebooted_key], "0");
    EXPECT_EQ(log.text(), "");
}

TEST_F(DeviceStoreTest, RebootMarkThatIsLostIsWrittenAgain) {
    config.lost_writes = 2;

    store.mark_rebooted(caller);

    EXPECT_EQ(config.values[rebooted_key], "1");
    EXPECT_EQ(config.writes.size(), 3U);
    EXPECT_EQ(log.text(), "");
}

TEST_F(DeviceStoreTest, ClearedRebootMarkThatComesBackIsClearedAgain) {
    config.values[rebooted_key] = "1";
    config.lost_writes = 2;

    store.clear_reboot_mark(caller);

    EXPECT_EQ(config.values[rebooted_key], "0");
    EXPECT_EQ(log.text(), "");
}

TEST_F(DeviceStoreTest, RebootMarkThatIsLostAgainAndAgainIsLogged) {
    config.lost_writes = 100;

    store.mark_rebooted(caller);

    EXPECT_EQ(config.writes.size(), 3U);
    EXPECT_THAT(lines(), ElementsAre("somebody: action=somebody message=could not store config "
                                     "entry key=zephran.service.rebooted value=1"));
}

TEST_F(DeviceStoreTest, RebootMarkThatCannotBeWrittenIsTriedOnce) {
    config.read_only = true;

    store.mark_rebooted(caller);

    EXPECT_EQ(config.writes.size(), 1U);
    EXPECT_THAT(lines(), ElementsAre("somebody: action=somebody message=could not store config "
                                     "entry key=zephran.service.rebooted value=1"));
}

TEST_F(DeviceStoreTest, RebootMarkIsTakenOnce) {
    store.mark_rebooted(caller);

    EXPECT_TRUE(store.take_reboot_mark(caller));
    EXPECT_FALSE(store.take_reboot_mark(caller));

    EXPECT_THAT(config.writes, ElementsAre(Pair(rebooted_key, "1"), Pair(rebooted_key, "0")));
}

TEST_F(DeviceStoreTest, OnlyTheValueOneIsARebootMark) {
    EXPECT_FALSE(store.take_reboot_mark(caller));
    for (const char* const value : {"true", "0", "11", "yes", ""}) {
        config.values[rebooted_key] = value;

        EXPECT_FALSE(store.take_reboot_mark(caller)) << value;
    }
    EXPECT_THAT(config.writes, IsEmpty());
}

TEST_F(DeviceStoreTest, RebootMarkIsTakenEvenIfItCannotBeCleared) {
    config.values[rebooted_key] = "1";
    config.read_only = true;

    EXPECT_TRUE(store.take_reboot_mark(caller));

    EXPECT_THAT(lines(), ElementsAre("somebody: action=somebody message=could not store config "
                                     "entry key=zephran.service.rebooted value=0"));
}

TEST_F(DeviceStoreTest, InstallationIsRecordedByPartType) {
    store.record_installation("opkg", "1.2", "2024-03-01T12:00:00Z", caller);

    EXPECT_THAT(config.writes,
                ElementsAre(Pair("zephran.device.version_opkg", "1.2"),
                            Pair("zephran.device.installation_time_opkg", "2024-03-01T12:00:00Z")));
    EXPECT_EQ(store.installed_version("opkg"), "1.2");
    EXPECT_EQ(store.installation_time("opkg"), "2024-03-01T12:00:00Z");
}

TEST_F(DeviceStoreTest, PartTypeWithoutARecordHasEmptyTexts) {
    EXPECT_EQ(store.installed_version("opkg"), "");
    EXPECT_EQ(store.installation_time("opkg"), "");
}

TEST_F(DeviceStoreTest, PartTypeThatCannotStandInAKeyHasNoRecord) {
    for (const std::string part : {"a.b", "a=b", "a-b", "a b", "a\n", "\xc3\xa4"}) {
        config.values["zephran.device.version_" + part] = "1";
        config.values["zephran.device.installation_time_" + part] = "2024-03-01T12:00:00Z";

        EXPECT_EQ(store.installed_version(part), "") << part;
        EXPECT_EQ(store.installation_time(part), "") << part;
    }
    config.values["zephran.device.version_Ab_09"] = "1";
    EXPECT_EQ(store.installed_version("Ab_09"), "1");
}

TEST_F(DeviceStoreTest, OnlyLettersDigitsAndUnderscoresStandInAKey) {
    const std::string plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
    for (int byte = 1; byte < 256; ++byte) {
        const auto character = static_cast<char>(byte);
        for (const std::string& part :
             {character + std::string{"x"}, "x" + std::string{character}}) {
            config.values["zephran.device.version_" + part] = "1";
            config.values["zephran.device.installation_time_" + part] = "then";
            const bool is_plain = plain.find(character) != std::string::npos;

            EXPECT_EQ(store.installed_version(part), is_plain ? "1" : "") << byte;
            EXPECT_EQ(store.installation_time(part), is_plain ? "then" : "") << byte;
        }
    }
}

TEST_F(DeviceStoreTest, PartTypeThatCannotStandInAKeyIsNotEvenAskedFor) {
    EXPECT_EQ(store.installed_version("os=1"), "");
    EXPECT_EQ(store.installation_time("os=1"), "");

    EXPECT_THAT(config.reads(), IsEmpty());
}

TEST_F(DeviceStoreTest, EveryRecordThatCannotBeStoredIsLogged) {
    config.read_only = true;

    store.record_installation("os", "2.1", "then", caller);

    EXPECT_THAT(lines(), ElementsAre("somebody: action=somebody message=could not store config "
                                     "entry key=zephran.device.version_os value=2.1",
                                     "somebody: action=somebody message=could not store config "
                                     "entry key=zephran.device.installation_time_os value=then"));
}

TEST_F(DeviceStoreTest, PreviousFirmwareIsUnconfirmedAtFirst) {
    EXPECT_FALSE(store.unconfirmed_previous_firmware().has_value());

    store.set_unconfirmed_previous_firmware("1.0", caller);
    EXPECT_EQ(store.unconfirmed_previous_firmware(), "1.0");
    store.set_previous_firmware("1.0", caller);
    store.remove_unconfirmed_previous_firmware(caller);

    EXPECT_FALSE(store.unconfirmed_previous_firmware().has_value());
    EXPECT_THAT(config.values, ElementsAre(Pair("zephran.device.previous_version_os", "1.0")));
    EXPECT_EQ(log.text(), "");
}

TEST_F(DeviceStoreTest, UnconfirmedFirmwareThatCannotBeRemovedIsLogged) {
    config.values[unconfirmed_key] = "1.0";
    config.read_only = true;

    store.remove_unconfirmed_previous_firmware(caller);

    EXPECT_THAT(lines(), ElementsAre("somebody: action=somebody message=could not delete config "
                                     "entry key=zephran.device.previous_version_os_tmp"));
}

TEST_F(DeviceStoreTest, FailedWritesAreWarnings) {
    config.read_only = true;

    store.mark_rebooted(caller);

    EXPECT_THAT(log.text(),
                testing::ContainsRegex(" WARNING device_store\\.cpp:[0-9]+ somebody: "));
}

TEST_F(DeviceStoreTest, PostponementIsKeptUntilItIsForgotten) {
    EXPECT_FALSE(store.postponement().has_value());

    store.set_postponement({"an id", 1'700'010'800}, {"somebody"});
    ASSERT_TRUE(store.postponement().has_value());
    EXPECT_EQ(store.postponement()->action_id, "an id");
    EXPECT_EQ(store.postponement()->until, 1'700'010'800);
    EXPECT_EQ(config.values["zephran.device.postponed_deployment"], "1700010800 an id");

    store.forget_postponement({"somebody"});
    EXPECT_FALSE(store.postponement().has_value());
    EXPECT_EQ(config.values.count("zephran.device.postponed_deployment"), 0U);
}

TEST_F(DeviceStoreTest, PowerlineOptionsAreReadOnEveryCall) {
    const ghn::GhnConfig ghn = store.ghn_config();
    EXPECT_EQ(ghn.get_interface(), "");
    EXPECT_EQ(ghn.get_password(), "");
    EXPECT_FALSE(ghn.get_controller_mac().is_valid());

    config.values = {{"ghn.ghn.interface", "br-lan"},
                     {"ghn.ghn.password", "common"},
                     {"nevra.baptization.LirnMacAddress", "02:00:00:00:00:01"}};
    EXPECT_EQ(ghn.get_interface(), "br-lan");
    EXPECT_EQ(ghn.get_password(), "common");
    EXPECT_EQ(ghn.get_controller_mac().str(), "02:00:00:00:00:01");

    config.values["nevra-private.baptization.PwdGhnConfig"] = "own";
    EXPECT_EQ(ghn.get_password(), "own");
}

TEST_F(DeviceStoreTest, WrongControllerAddressIsLoggedWithItsKey) {
    config.values["nevra.baptization.LirnMacAddress"] = "none";

    EXPECT_FALSE(store.ghn_config().get_controller_mac().is_valid());

    EXPECT_THAT(logged_after(" get_controller_mac: ", log.text()),
                ElementsAre("action=get_controller_mac message=not a MAC address "
                            "key=nevra.baptization.LirnMacAddress value=none"));
}

/// A store that is not UCI.
class EmptyConfig : public Config {
public:
    bool has_option(const std::string& /*key*/) override { return false; }
    std::string get_option(const std::string& key) override {
        ZEPHRAN_THROW(OptionNotFoundException{} << config_key_tag{key});
    }
    bool set_option(const std::string& /*key*/, const std::string& /*value*/) override {
        return true;
    }
    bool delete_option(const std::string& /*key*/) override { return false; }
};

TEST(DeviceStoreOfAnotherPlatform, MissingOptionsAreNoErrors) {
    EmptyConfig config;
    DeviceStore store{config};

    EXPECT_TRUE(store.is_automatic_update_enabled({"somebody"}));
    EXPECT_FALSE(store.take_reboot_mark({"somebody"}));
    EXPECT_EQ(store.installed_version("os"), "");
    EXPECT_FALSE(store.unconfirmed_previous_firmware().has_value());
    EXPECT_EQ(store.ghn_config().get_interface(), "");
}

}  // namespace
}  // namespace zephran
