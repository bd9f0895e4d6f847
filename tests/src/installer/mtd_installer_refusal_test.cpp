// SPDX-License-Identifier: Apache-2.0
#include "mtd_installer_test.h"

namespace zephran::installer {
namespace {

TEST_F(MTDInstallerTest, ImageLargerThanThePartitionIsRefusedBeforeTheErase) {
    const std::string content = gateway.read("dev/mtd1");
    gateway.write("mtd/mtd1/size", std::to_string(image.size() - 1) + "\n");

    start();

    expect_failure("Image is larger than the partition");
    EXPECT_EQ(installer->error().error_details,
              "filename: " + device + "\nimage_size: 12\npartition_size: 11");
    EXPECT_EQ(tools.calls(), Lines{});
    EXPECT_EQ(gateway.read("dev/mtd1"), content);
}

TEST_F(MTDInstallerTest, PartitionWithoutRoomTakesNoImage) {
    gateway.write("mtd/mtd1/size", "0\n");

    start();

    expect_failure("Image is larger than the partition");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, FileLargerThanThePartitionIsRefusedWhateverSizeWasAnnounced) {
    platform.directory.write("boot.bin", image + "more");
    gateway.write("mtd/mtd1/size", std::to_string(image.size()) + "\n");

    start();

    expect_failure("Image is larger than the partition");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, AnnouncedSizeLargerThanThePartitionIsRefusedWhateverTheFileHas) {
    platform.directory.write("boot.bin", "short");
    gateway.write("mtd/mtd1/size", std::to_string(image.size() - 1) + "\n");

    start();

    expect_failure("Image is larger than the partition");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, ImageAsLargeAsThePartitionIsWritten) {
    gateway.write("mtd/mtd1/size", std::to_string(image.size()) + "\n");

    start();

    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command()}));
}

TEST_F(MTDInstallerTest, UnreadableSizeOfThePartitionLimitsNothing) {
    Lines expected;
    for (const char* const content : {"", "\n", "unknown\n", "5 blocks\n", "-1\n"}) {
        gateway.write("mtd/mtd1/size", content);
        gateway.write("dev/mtd1", "another loader");

        start();

        expected.insert(expected.end(), {erase_command(), write_command()});
        EXPECT_EQ(tools.calls(), expected) << content;
    }
}

TEST_F(MTDInstallerTest, PartitionWithAnotherLabelIsNotErased) {
    const std::string content = gateway.read("dev/mtd1");
    required_label = "u-boot";
    for (const char* const label : {"rootfs\n", "u-boot-env\n", "u-boo\n", "\nu-boot\n", ""}) {
        gateway.write("mtd/mtd1/name", label);

        start();

        expect_failure("Flash partition has another label than configured");
        EXPECT_EQ(tools.calls(), Lines{}) << label;
    }
    EXPECT_EQ(gateway.read("dev/mtd1"), content);
}

TEST_F(MTDInstallerTest, BothLabelsAreReported) {
    required_label = "u-boot";
    gateway.write("mtd/mtd1/name", "rootfs\n");

    start();

    EXPECT_EQ(installer->error().error_details,
              "filename: " + device + "\nexpected_label: u-boot\nfound_label: rootfs");
}

TEST_F(MTDInstallerTest, PartitionWhoseLabelCannotBeReadIsNotErased) {
    required_label = "u-boot";

    start();

    expect_failure("Flash partition has another label than configured");
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, PartitionWithTheRequiredLabelIsWritten) {
    required_label = "u-boot";
    gateway.write("mtd/mtd1/name", "u-boot\n");

    start();

    EXPECT_EQ(tools.calls(), (Lines{erase_command(), write_command()}));
}

TEST_F(MTDInstallerTest, EraseSizeIsTheUnchangedFirstLine) {
    gateway.write("mtd/mtd1/erasesize", "64k\nsecond line");

    start();

    const std::string with_size = "dd if=" + platform.temp_directory + "boot.bin of=" + device;
    EXPECT_EQ(executed(), (Lines{erase_command(), with_size + " bs=64k"}));
    installer->tick();
    EXPECT_TRUE(installer->is_finished());
}

TEST_F(MTDInstallerTest, MissingEraseSizeStopsItBeforeTheErase) {
    std::filesystem::remove(gateway.path("mtd/mtd1/erasesize"));

    start();

    expect_failure("Failed to open file for reading");
    EXPECT_EQ(installer->error().error_details, "filename: " + gateway.path("mtd/mtd1/erasesize"));
    EXPECT_EQ(tools.calls(), Lines{});
}

TEST_F(MTDInstallerTest, EmptyEraseSizeStopsItBeforeTheErase) {
    for (const char* const content : {"", "\n", "\n65536\n"}) {
        gateway.write("mtd/mtd1/erasesize", content);

        start();

        expect_failure("Failed to read from file");
        EXPECT_EQ(installer->error().error_details,
                  "filename: " + gateway.path("mtd/mtd1/erasesize"));
        EXPECT_EQ(tools.calls(), Lines{});
    }
}

TEST_F(MTDInstallerTest, UnreadableEraseSizeStopsItBeforeTheErase) {
    std::filesystem::remove(gateway.path("mtd/mtd1/erasesize"));
    std::filesystem::create_directory(gateway.path("mtd/mtd1/erasesize"));

    start();

    expect_failure("Failed to read from file");
    EXPECT_EQ(tools.calls(), Lines{});
}

}  // namespace
}  // namespace zephran::installer
