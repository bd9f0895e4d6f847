// SPDX-License-Identifier: Apache-2.0
#include "installer/installer_factory.h"

#include <functional>

#include <gtest/gtest.h>

#include "installer/hawkbit_installer.h"
#include "support/captured_log.h"
#include "support/make_chunk.h"

namespace zephran {

namespace {

using Chunks = std::vector<InstallerFactory::Chunk>;

/// Stores the context it was created with and does nothing else.
class IdleInstaller : public HawkbitInstaller {
public:
    explicit IdleInstaller(const InstallerContext& given_context) : context{given_context} {}

    InstallerContext context;

protected:
    void start_installation() override {}
    bool installation_has_finished() override { return true; }
    void cancel_installation() override {}
    bool cancellation_has_finished() override { return true; }
};

std::unique_ptr<HawkbitInstaller> create_idle(const InstallerContext& context) {
    return std::make_unique<IdleInstaller>(context);
}

/// Registers part types for one test and removes their installers afterwards.
class InstallerFactoryTest : public testing::Test {
protected:
    InstallerFactoryTest() {
        InstallerFactory::register_installer("first", 1, create_idle);
        InstallerFactory::register_installer("os", 10, create_idle);
        InstallerFactory::register_installer("script", 15, create_idle);
        InstallerFactory::register_installer("opkg", 60, create_idle);
        InstallerFactory::register_installer("empty", 70, {});
    }
    ~InstallerFactoryTest() override {
        for (const char* const part : {"first", "os", "script", "opkg", "empty"}) {
            InstallerFactory::disable_installer(part);
        }
    }

    /// Names of the chunks in their new order.
    static std::vector<std::string> order(const Chunks& chunks,
                                          ChunkOrder among_equals = ChunkOrder::server) {
        std::vector<std::string> names;
        for (const auto& chunk : InstallerFactory::reorder_chunks(chunks, among_equals)) {
            names.push_back(chunk.name());
        }
        return names;
    }
    static InstallerFactory::Chunk chunk(const std::string& part, const std::string& name) {
        return make_chunk(part, {"artifact"}, name);
    }
};

TEST_F(InstallerFactoryTest, CreatesTheInstallerOfThePartWithItsContext) {
    InstallerContext context;
    context.bootloader_mtd = "mtd7";

    const auto installer = InstallerFactory::create_installer("os", context);

    const auto* const idle = dynamic_cast<IdleInstaller*>(installer.get());
    ASSERT_NE(idle, nullptr);
    EXPECT_EQ(idle->context.bootloader_mtd, "mtd7");
}

TEST_F(InstallerFactoryTest, UnknownPartIsUnsupported) {
    try {
        (void)InstallerFactory::create_installer("foo", {});
        FAIL() << "created an installer";
    } catch (const UnsupportedPartException& error) {
        EXPECT_STREQ(error.what(), "Unsupported part in deployment");
        ASSERT_NE(boost::get_error_info<part_tag>(error), nullptr);
        EXPECT_EQ(*boost::get_error_info<part_tag>(error), "foo");
    }
}

TEST_F(InstallerFactoryTest, PartCannotHaveTwoInstallers) {
    try {
        InstallerFactory::register_installer("os", 99, create_idle);
        FAIL() << "registered a second installer";
    } catch (const DuplicatePartInstallerException& error) {
        EXPECT_STREQ(error.what(), "A part type may only use one installer");
    }
    EXPECT_EQ(order({chunk("opkg", "late"), chunk("os", "early")}),
              (std::vector<std::string>{"early", "late"}));
}

TEST_F(InstallerFactoryTest, EmptyFactoryFunctionCannotBeCalled) {
    EXPECT_THROW((void)InstallerFactory::create_installer("empty", {}), std::bad_function_call);
}

TEST_F(InstallerFactoryTest, ChunksAreOrderedByPriority) {
    EXPECT_EQ(order({chunk("opkg", "a"), chunk("os", "b"), chunk("script", "c")}),
              (std::vector<std::string>{"b", "c", "a"}));
}

TEST_F(InstallerFactoryTest, ChunksOfOnePartKeepTheirOrder) {
    EXPECT_EQ(order({chunk("opkg", "z"), chunk("os", "b"), chunk("opkg", "a")}),
              (std::vector<std::string>{"b", "z", "a"}));
}

TEST_F(InstallerFactoryTest, ChunksOfOnePartKeepTheirOrderWhateverTheirVersions) {
    const auto newer = make_chunk("opkg", {"artifact"}, "tool", "2.0");
    const auto older = make_chunk("opkg", {"artifact"}, "tool", "1.0");

    const Chunks ordered = InstallerFactory::reorder_chunks({newer, older}, ChunkOrder::server);

    EXPECT_EQ(ordered.at(0).version(), "2.0");
    EXPECT_EQ(ordered.at(1).version(), "1.0");
}

TEST_F(InstallerFactoryTest, ChunksOfOnePriorityCanBeOrderedByName) {
    EXPECT_EQ(order({chunk("opkg", "b"), chunk("os", "z"), chunk("opkg", "a"), chunk("opkg", "B")},
                    ChunkOrder::name),
              (std::vector<std::string>{"z", "B", "a", "b"}));
}

TEST_F(InstallerFactoryTest, ChunksOfOneNameAreOrderedByVersion) {
    const auto newer = make_chunk("opkg", {"artifact"}, "tool", "2.0");
    const auto older = make_chunk("opkg", {"artifact"}, "tool", "1.0");

    const Chunks ordered = InstallerFactory::reorder_chunks({newer, older}, ChunkOrder::name);

    EXPECT_EQ(ordered.at(0).version(), "1.0");
    EXPECT_EQ(ordered.at(1).version(), "2.0");
}

TEST_F(InstallerFactoryTest, ChunkOfAnUnknownPartComesFirst) {
    EXPECT_EQ(order({chunk("os", "a"), chunk("foo", "b")}), (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(order({chunk("first", "a"), chunk("foo", "b")}),
              (std::vector<std::string>{"b", "a"}));
}

TEST_F(InstallerFactoryTest, NoChunksStayNoChunks) {
    EXPECT_TRUE(InstallerFactory::reorder_chunks({}).empty());
}

TEST_F(InstallerFactoryTest, ReorderedChunksAreComplete) {
    const Chunks chunks{make_chunk("opkg", {"one.ipk", "two.ipk"}, "tools", "2.1")};

    const Chunks ordered = InstallerFactory::reorder_chunks(chunks);

    ASSERT_EQ(ordered.size(), 1U);
    EXPECT_EQ(ordered[0].part(), "opkg");
    EXPECT_EQ(ordered[0].name(), "tools");
    EXPECT_EQ(ordered[0].version(), "2.1");
    ASSERT_EQ(ordered[0].artifacts().size(), 2U);
    EXPECT_EQ(ordered[0].artifacts()[1].filename(), "two.ipk");
}

TEST_F(InstallerFactoryTest, DisabledInstallerKeepsItsPlaceInTheOrder) {
    InstallerFactory::disable_installer("opkg");

    EXPECT_THROW((void)InstallerFactory::create_installer("opkg", {}), UnsupportedPartException);
    EXPECT_EQ(order({chunk("opkg", "a"), chunk("os", "b")}), (std::vector<std::string>{"b", "a"}));
    const CapturedLog log;
    InstallerFactory::report();
    EXPECT_EQ(log.text().find("part=opkg"), std::string::npos) << log.text();
}

TEST_F(InstallerFactoryTest, DisablingAnUnknownPartDoesNothing) {
    InstallerFactory::disable_installer("foo");

    EXPECT_NE(InstallerFactory::create_installer("os", {}), nullptr);
}

TEST_F(InstallerFactoryTest, ReportListsTheInstallersByPartName) {
    const CapturedLog log;

    InstallerFactory::report();

    const auto first = log.text().find("report: action=factory_report part=opkg priority=60\n");
    const auto second = log.text().find("report: action=factory_report part=os priority=10\n");
    ASSERT_NE(first, std::string::npos) << log.text();
    ASSERT_NE(second, std::string::npos) << log.text();
    EXPECT_LT(first, second);
    EXPECT_NE(log.text().find(" INFO installer_factory.cpp:"), std::string::npos) << log.text();
}

}  // namespace

}  // namespace zephran
