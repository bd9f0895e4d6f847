#include "frame.h"

#include <gtest/gtest.h>

#include "bytes.h"

namespace zephran::ubusd {

namespace {

const std::string recorded_status =
    bytes("00010002 7bb8faf7 00000014 01000008 00000003 03000008 7bb8faf7");

TEST(Encode, WritesRecordedFrames) {
    EXPECT_EQ(encode({MessageType::hello, 0, 0x65f45aca, ""}), bytes("00000000 65f45aca 00000004"));
    EXPECT_EQ(
        encode({MessageType::status, 2, 0x7bb8faf7, bytes("01000008 00000003 03000008 7bb8faf7")}),
        recorded_status);
}

TEST(FrameAssembler, GivesAFrameWithItsLastByteAndNotBefore) {
    FrameAssembler assembler;

    for (std::size_t index = 0; index + 1 < recorded_status.size(); ++index) {
        assembler.append(recorded_status.substr(index, 1));
        ASSERT_FALSE(assembler.next()) << "after byte " << index;
    }
    assembler.append(recorded_status.substr(recorded_status.size() - 1));
    const std::optional<Frame> frame = assembler.next();

    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->type, MessageType::status);
    EXPECT_EQ(frame->sequence, 2);
    EXPECT_EQ(frame->peer, 0x7bb8faf7U);
    EXPECT_EQ(frame->payload, bytes("01000008 00000003 03000008 7bb8faf7"));
    EXPECT_FALSE(assembler.next());
}

TEST(FrameAssembler, GivesFramesThatCameTogetherOneByOne) {
    FrameAssembler assembler;

    assembler.append(encode({MessageType::ping, 1, 0, "abcd"}) +
                     encode({MessageType::ping, 2, 0, ""}) + bytes("0003"));

    EXPECT_EQ(assembler.next().value().payload, "abcd");
    EXPECT_EQ(assembler.next().value().sequence, 2);
    EXPECT_FALSE(assembler.next());
}

TEST(FrameAssembler, TypeIsKeptThoughUnknown) {
    FrameAssembler assembler;

    assembler.append(bytes("00ff0000 00000000 00000004"));

    EXPECT_EQ(assembler.next().value().type, static_cast<MessageType>(255));
}

TEST(FrameAssembler, VersionAndNumberOfTheOuterAttributeDoNotMatter) {
    FrameAssembler assembler;

    assembler.append(bytes("07030001 00000000 ff000004"));

    EXPECT_EQ(assembler.next().value().type, MessageType::ping);
}

TEST(FrameAssembler, LargestFrameIsTaken) {
    FrameAssembler assembler;
    const std::string payload(FrameAssembler::largest_length - 4, 'x');

    assembler.append(encode({MessageType::ping, 1, 0, payload}));

    EXPECT_EQ(assembler.next().value().payload, payload);
}

class WrongLengthTest : public testing::TestWithParam<std::size_t> {};

TEST_P(WrongLengthTest, IsAnErrorAsSoonAsItIsStated) {
    FrameAssembler assembler;
    std::string header = bytes("00030001 00000000 00000000");
    header[9] = static_cast<char>(GetParam() >> 16U);
    header[10] = static_cast<char>(GetParam() >> 8U);
    header[11] = static_cast<char>(GetParam());

    assembler.append(header);

    try {
        static_cast<void>(assembler.next());
        FAIL() << "the length was accepted";
    } catch (const FramingError& error) {
        EXPECT_EQ(error.length, GetParam());
    }
}

INSTANTIATE_TEST_SUITE_P(Lengths, WrongLengthTest,
                         testing::Values(0, 3, FrameAssembler::largest_length + 1, 0xffffff));

}  // namespace

}  // namespace zephran::ubusd
