// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/redirected_uci.h"
#include "uci/exceptions.h"

namespace zephran {

namespace {

using testing::ElementsAre;

/// The library, with a note of what is called. The library takes plain functions, which have
/// nowhere else to find it.
struct ObservedLibrary {
    static ObservedLibrary& current() {
        static ObservedLibrary library;
        return library;
    }

    /// @returns the result of a step, or an error if this one is to fail
    int step(const std::string& name, int result) {
        steps.push_back(name);
        return name == failing_step ? failure : result;
    }

    static constexpr int failure = 6;
    UciLibrary real{LIBUCI_PATH};
    std::string failing_step;
    std::vector<std::string> steps;
    int contexts = 0;
};

class UciConfigCalls : public testing::Test {
protected:
    UciConfigCalls() {
        observed = {};
        uci.directory.write("config/zephran", "config service 'service'\n\toption level 'INFO'\n");
        uci.library.alloc_context = [] {
            ++ObservedLibrary::current().contexts;
            return ObservedLibrary::current().real.alloc_context();
        };
        uci.library.free_context = [](uci_context* context) {
            --ObservedLibrary::current().contexts;
            ObservedLibrary::current().real.free_context(context);
        };
        observe_writes();
    }

    void observe_writes() {
        uci.library.set = [](uci_context* context, uci_ptr* pointer) {
            auto& library = ObservedLibrary::current();
            return library.step("set", library.real.set(context, pointer));
        };
        uci.library.save = [](uci_context* context, uci_package* package) {
            auto& library = ObservedLibrary::current();
            return library.step("save", library.real.save(context, package));
        };
        uci.library.commit = [](uci_context* context, uci_package** package, bool overwrite) {
            auto& library = ObservedLibrary::current();
            return library.step(overwrite ? "overwrite" : "commit",
                                library.real.commit(context, package, overwrite));
        };
    }

    [[nodiscard]] UciConfig config() const { return UciConfig{"", uci.environment()}; }

    RedirectedUci uci;
    ObservedLibrary& observed = ObservedLibrary::current();
};

TEST_F(UciConfigCalls, WriteTakesThreeStepsAndOverwritesNothingOfOthers) {
    EXPECT_TRUE(config().set_option("zephran.service.level", "DEBUG"));

    EXPECT_THAT(observed.steps, ElementsAre("set", "save", "commit"));
}

TEST_F(UciConfigCalls, EachStepOfAWriteIsTakenWhicheverFails) {
    for (const char* const step : {"set", "save", "commit"}) {
        observed.steps.clear();
        observed.failing_step = step;

        EXPECT_FALSE(config().set_option("zephran.service.level", "DEBUG")) << step;

        EXPECT_THAT(observed.steps, ElementsAre("set", "save", "commit")) << step;
    }
}

TEST_F(UciConfigCalls, EachOperationGivesItsContextBack) {
    EXPECT_TRUE(config().has_option("zephran.service.level"));
    EXPECT_EQ(config().get_option("zephran.service.level"), "INFO");
    EXPECT_THROW((void)config().get_option("zephran.service.absent"), PackageNotFoundException);
    EXPECT_THROW((void)config().get_option("absent.service.level"), PackageNotFoundException);
    EXPECT_TRUE(config().set_option("zephran.service.level", "DEBUG"));
    EXPECT_FALSE(config().set_option("absent.service.level", "DEBUG"));
    EXPECT_TRUE(config().delete_option("zephran.service.level"));
    EXPECT_FALSE(config().delete_option("absent.service.level"));

    EXPECT_EQ(observed.contexts, 0);
}

}  // namespace

}  // namespace zephran
