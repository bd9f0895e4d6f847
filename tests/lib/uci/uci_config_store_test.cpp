// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/redirected_uci.h"
#include "uci/exceptions.h"

namespace zephran {

namespace {

class UciConfigTest : public testing::Test {
protected:
    UciConfigTest() {
        directory.write("config/zephran",
                        "config service 'service'\n\toption log_level 'INFO'\n"
                        "\tlist server 'one'\n\nconfig device 'device'\n");
    }

    [[nodiscard]] UciConfig config(const std::string& overlay = {}) const {
        return UciConfig{overlay, uci.environment()};
    }
    [[nodiscard]] std::string file() const { return directory.read("config/zephran"); }

    RedirectedUci uci;
    TemporaryDirectory& directory = uci.directory;
};

TEST_F(UciConfigTest, LibraryIsAvailable) {
    EXPECT_TRUE(uci.library.available);
}

TEST_F(UciConfigTest, StringOptionIsFoundAndRead) {
    EXPECT_TRUE(config().has_option("zephran.service.log_level"));
    EXPECT_EQ(config().get_option("zephran.service.log_level"), "INFO");
}

TEST_F(UciConfigTest, AnythingElseIsNoOption) {
    for (const char* const key :
         {"absent.service.log_level", "zephran.absent.log_level", "zephran.service.absent",
          "zephran", "zephran.service", "zephran.service.server", "", "zephran.service.log-level",
          "zephran.ser vice.log_level"}) {
        EXPECT_FALSE(config().has_option(key)) << key;
        EXPECT_THROW((void)config().get_option(key), PackageNotFoundException) << key;
    }
}

// The library takes a NUL for the end of a text.
TEST_F(UciConfigTest, NulIsPartOfNoKeyAndNoValue) {
    using namespace std::string_literals;
    const std::string before = file();

    EXPECT_FALSE(config().set_option("zephran.service.log_level", "DEBUG\0"s));
    EXPECT_FALSE(config().set_option("zephran.service.log_level", "\0DEBUG"s));
    EXPECT_FALSE(config().set_option("zephran.service.log_level=DEBUG\0"s, ""));
    EXPECT_FALSE(config().has_option("zephran.service.log_level\0x"s));
    EXPECT_THROW((void)config().get_option("zephran.service.log_level\0x"s),
                 PackageNotFoundException);
    EXPECT_FALSE(config().delete_option("zephran.service.log_level\0x"s));
    EXPECT_EQ(config().get_option("zephran.service.log_level"), "INFO");
    EXPECT_EQ(file(), before);
}

TEST_F(UciConfigTest, FileWithSyntaxErrorHasNoOptions) {
    directory.write("config/zephran", "option without section\n");

    EXPECT_FALSE(config().has_option("zephran.service.log_level"));
    EXPECT_FALSE(config().set_option("zephran.service.log_level", "DEBUG"));
    EXPECT_FALSE(config().delete_option("zephran.service.log_level"));
    EXPECT_EQ(file(), "option without section\n");
}

/// Whether reading the option fails for another reason than that it is missing.
bool is_unreadable(UciConfig config, const std::string& key) {
    try {
        const std::string value = config.get_option(key);
        ADD_FAILURE() << key << " is " << value;
        return false;
    } catch (const PackageNotFoundException& error) {
        return error.unreadable;
    }
}

TEST_F(UciConfigTest, MissingOptionIsNotUnreadable) {
    for (const char* const key : {"absent.service.log_level", "zephran.absent.log_level",
                                  "zephran.service.absent", "zephran.service", "zephran"}) {
        EXPECT_FALSE(is_unreadable(config(), key)) << key;
    }
}

TEST_F(UciConfigTest, ListIsUnreadable) {
    EXPECT_TRUE(is_unreadable(config(), "zephran.service.server"));
}

TEST_F(UciConfigTest, OptionsOfAFileThatDoesNotParseAreUnreadable) {
    for (const char* const text : {"config service 'service'\n\toption log_level 'IN",
                                   "option without section\n", "\177ELF\x01\n"}) {
        directory.write("config/zephran", text);

        EXPECT_TRUE(is_unreadable(config(), "zephran.service.log_level")) << text;
    }
}

TEST_F(UciConfigTest, OptionsOfAFileThatCannotBeReadAreUnreadable) {
    constexpr uid_t somebody = 12345;
    const uid_t user = geteuid();
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
    ASSERT_EQ(chmod(directory.path("config/zephran").c_str(), 0), 0);
    if (seteuid(user == 0 ? somebody : user) != 0) {
        GTEST_SKIP() << "there is no other user in this namespace";
    }
    const bool unreadable = is_unreadable(config(), "zephran.service.log_level");
    ASSERT_EQ(seteuid(user), 0);

    EXPECT_TRUE(unreadable);
}

TEST_F(UciConfigTest, OptionsAreUnreadableWithoutMemoryForAContext) {
    uci.library.alloc_context = []() -> uci_context* { return nullptr; };

    EXPECT_TRUE(is_unreadable(config(), "zephran.service.log_level"));
    EXPECT_FALSE(config().has_option("zephran.service.log_level"));
    EXPECT_FALSE(config().set_option("zephran.service.log_level", "DEBUG"));
    EXPECT_FALSE(config().delete_option("zephran.service.log_level"));
}

TEST_F(UciConfigTest, OptionIsFoundByTheIndexOfItsSection) {
    EXPECT_EQ(config().get_option("zephran.@service[0].log_level"), "INFO");
}

TEST_F(UciConfigTest, StoredValueIsVisibleToAnotherProcess) {
    ASSERT_TRUE(config().set_option("zephran.device.version_os", "1.2=3 'rc'"));

    const pid_t reader = fork();
    ASSERT_GE(reader, 0);
    if (reader == 0) {
        const bool same = config().get_option("zephran.device.version_os") == "1.2=3 'rc'";
        _exit(same ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(reader, &status, 0), reader);

    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(UciConfigTest, StoredValueIsCommitted) {
    ASSERT_TRUE(config().set_option("zephran.service.rebooted", "1"));

    std::filesystem::remove_all(uci.savedir);

    EXPECT_EQ(config().get_option("zephran.service.rebooted"), "1");
}

TEST_F(UciConfigTest, UnchangedValueIsNotWritten) {
    const std::string before = file();

    EXPECT_TRUE(config().set_option("zephran.service.log_level", "INFO"));

    EXPECT_EQ(file(), before);
}

TEST_F(UciConfigTest, ValueInAMissingSectionIsNotStored) {
    const std::string before = file();

    EXPECT_FALSE(config().set_option("zephran.absent.value", "1"));

    EXPECT_EQ(file(), before);
}

TEST_F(UciConfigTest, FailedSetStillCommitsPendingChanges) {
    directory.write("saved/zephran", "zephran.service.log_level='pending'\n");

    EXPECT_FALSE(config().set_option("zephran.absent.value", "1"));

    EXPECT_NE(file().find("'pending'"), std::string::npos);
}

TEST_F(UciConfigTest, MissingPackageIsNotCreated) {
    EXPECT_FALSE(config().set_option("absent.service.value", "1"));
    EXPECT_FALSE(directory.has("config/absent"));
}

TEST_F(UciConfigTest, FailedSaveIsReported) {
    directory.write("saved", "a file where the directory belongs");

    EXPECT_FALSE(config().set_option("zephran.service.rebooted", "1"));
    EXPECT_FALSE(config().delete_option("zephran.service.log_level"));
    EXPECT_TRUE(config().has_option("zephran.service.log_level"));
}

TEST_F(UciConfigTest, DeletionIsSavedButNotCommitted) {
    const std::string before = file();

    ASSERT_TRUE(config().delete_option("zephran.service.log_level"));

    EXPECT_FALSE(config().has_option("zephran.service.log_level"));
    EXPECT_EQ(file(), before);
    std::filesystem::remove_all(uci.savedir);
    EXPECT_TRUE(config().has_option("zephran.service.log_level"));
}

TEST_F(UciConfigTest, DeletionIsPermanentAfterTheNextCommit) {
    ASSERT_TRUE(config().delete_option("zephran.service.log_level"));

    ASSERT_TRUE(config().set_option("zephran.service.rebooted", "0"));

    EXPECT_EQ(file().find("log_level"), std::string::npos);
}

TEST_F(UciConfigTest, MissingOptionIsNotDeleted) {
    EXPECT_FALSE(config().delete_option("zephran.service.absent"));
    EXPECT_FALSE(config().delete_option("absent.service.log_level"));
}

/// Counts the writes that are under way. Each waits a moment for another one to begin.
class WritesAtOnce {
public:
    static WritesAtOnce& current() {
        static WritesAtOnce writes;
        return writes;
    }

    void enter() {
        std::unique_lock<std::mutex> lock{mutex};
        ++inside;
        most = std::max(most, inside);
        changed.notify_all();
        changed.wait_for(lock, std::chrono::milliseconds{100}, [this] { return most > 1; });
    }
    void leave() {
        const std::lock_guard<std::mutex> lock{mutex};
        --inside;
    }

    int most = 0;
    UciLibrary real{LIBUCI_PATH};

private:
    std::mutex mutex;
    std::condition_variable changed;
    int inside = 0;
};

TEST_F(UciConfigTest, WritesOfTwoThreadsDoNotMeet) {
    uci.library.set = [](uci_context* context, uci_ptr* pointer) {
        WritesAtOnce::current().enter();
        return WritesAtOnce::current().real.set(context, pointer);
    };
    uci.library.commit = [](uci_context* context, uci_package** package, bool overwrite) {
        const int result = WritesAtOnce::current().real.commit(context, package, overwrite);
        WritesAtOnce::current().leave();
        return result;
    };
    uci.library.remove = [](uci_context* context, uci_ptr* pointer) {
        WritesAtOnce::current().enter();
        const int result = WritesAtOnce::current().real.remove(context, pointer);
        WritesAtOnce::current().leave();
        return result;
    };
    UciConfig one = config();
    UciConfig another = config();

    std::thread setter{[&one] { EXPECT_TRUE(one.set_option("zephran.device.first", "1")); }};
    std::thread second_setter{
        [&another] { EXPECT_TRUE(another.set_option("zephran.device.second", "2")); }};
    std::thread remover{[&one] { EXPECT_TRUE(one.delete_option("zephran.service.log_level")); }};
    setter.join();
    second_setter.join();
    remover.join();

    EXPECT_EQ(WritesAtOnce::current().most, 1);
    EXPECT_EQ(config().get_option("zephran.device.first"), "1");
    EXPECT_EQ(config().get_option("zephran.device.second"), "2");
    EXPECT_FALSE(config().has_option("zephran.service.log_level"));
}

class UciOverlay : public UciConfigTest {
protected:
    UciOverlay() {
        directory.write("state/zephran", "zephran.service.log_level='overlay'\n");
        chmod(state.c_str(), 0755);
    }

    [[nodiscard]] std::string log_level_over(const std::string& overlay) const {
        return config(overlay).get_option("zephran.service.log_level");
    }

    const std::string state = directory.path("state");
};

TEST_F(UciOverlay, OverridesTheStoredConfiguration) {
    EXPECT_EQ(log_level_over(state), "overlay");
    EXPECT_EQ(log_level_over(state + "/"), "overlay");
    EXPECT_EQ(log_level_over(""), "INFO");
}

TEST_F(UciOverlay, IsNotUsedIfOthersMayWriteToIt) {
    for (const mode_t mode : {0775U, 0757U, 01777U, 0777U}) {
        ASSERT_EQ(chmod(state.c_str(), mode), 0);

        EXPECT_EQ(log_level_over(state), "INFO") << std::oct << mode;
    }
}

TEST_F(UciOverlay, IsNotUsedIfItBelongsToAnotherUser) {
    constexpr uid_t another = 12345;
    if (chown(state.c_str(), another, static_cast<gid_t>(-1)) != 0) {
        GTEST_SKIP() << "needs the right to give a directory away";
    }

    EXPECT_EQ(log_level_over(state), "INFO");
}

TEST_F(UciOverlay, OfRootOrTheUserOfTheDaemonIsUsed) {
    constexpr uid_t root = 0;
    constexpr uid_t user_of_the_daemon = 12345;
    constexpr auto same_group = static_cast<gid_t>(-1);
    if (chown(state.c_str(), user_of_the_daemon, same_group) != 0) {
        GTEST_SKIP() << "needs the right to give a directory away";
    }
    ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);

    for (const uid_t owner : {root, user_of_the_daemon}) {
        ASSERT_EQ(chown(state.c_str(), owner, same_group), 0);
        ASSERT_EQ(seteuid(user_of_the_daemon), 0);
        const std::string level = log_level_over(state);
        ASSERT_EQ(seteuid(root), 0);

        EXPECT_EQ(level, "overlay") << owner;
    }
}

TEST_F(UciOverlay, IsNotReachedThroughALink) {
    std::filesystem::create_symlink(state, directory.path("link"));

    EXPECT_EQ(log_level_over(directory.path("link")), "INFO");
    EXPECT_EQ(log_level_over(directory.path("link/")), "INFO");
}

TEST_F(UciOverlay, ThatIsMissingOrNoDirectoryIsNotUsed) {
    EXPECT_EQ(log_level_over(directory.path("absent")), "INFO");
    EXPECT_EQ(log_level_over(state + "/zephran"), "INFO");
}

TEST_F(UciOverlay, ThatIsNotUsedIsNotCommitted) {
    ASSERT_EQ(chmod(state.c_str(), 0777), 0);

    EXPECT_TRUE(config(state).set_option("zephran.service.rebooted", "1"));

    EXPECT_EQ(file().find("overlay"), std::string::npos);
}

}  // namespace

}  // namespace zephran
