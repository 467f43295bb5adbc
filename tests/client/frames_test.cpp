// SPDX-License-Identifier: Apache-2.0
#include "client/frames/FrameInput.h"
#include "client/frames/Measurement.h"
#include "client/frames/RawFrame.h"

#include "support/Files.h"

namespace vek::test {

class ClientFrames : public CFileTest {
protected:
    std::vector<std::uint8_t> Read(const client::SFrameChoice& choice, unsigned format) {
        mWarnings.clear();
        return client::readFrame(choice, *transferFormat(format), 2, 2,
                                 [this](const std::string& warning) { mWarnings.push_back(warning); });
    }

    std::vector<std::string> mWarnings;
};

TEST_F(ClientFrames, WarningsGoToTheCaller) {
    const std::string path = Write("in.raw", {1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(Read({.path = path, .offset = 1}, VEK_TRANSFER_RAW8), (std::vector<std::uint8_t>{2, 3, 4, 5}));
    EXPECT_EQ(mWarnings, std::vector<std::string>{path + ": holds 2 frames of 4 bytes; frame 0 is taken"});
    EXPECT_EQ(Read({.path = path, .offset = 1, .frame = 1}, VEK_TRANSFER_RAW8),
              (std::vector<std::uint8_t>{6, 7, 8, 9}));
    EXPECT_EQ(mWarnings, std::vector<std::string>{});
    const std::string words = Write("words.raw", littleEndian({1024, 1024, 1024, 1024}));
    Read({.path = words}, VEK_TRANSFER_RAW10);
    EXPECT_EQ(mWarnings, std::vector<std::string>{words + ": 4 of 4 samples are above 1023, the largest of raw10: the "
                                                          "format may be another"});
}

TEST_F(ClientFrames, OtherKindsOfFilesAreAnErrorOfTheirOwn) {
    const std::string path = Write("in.raw", {'P', 'K', 3, 4});
    EXPECT_THROW(Read({.path = path}, VEK_TRANSFER_RAW8), client::COtherKind);
    EXPECT_EQ(Read({.path = path, .force = true}, VEK_TRANSFER_RAW8).size(), 4U);
    EXPECT_THROW(Read({.path = Path("none")}, VEK_TRANSFER_RAW8), client::CFailure);
}

TEST_F(ClientFrames, SizesAndDepths) {
    EXPECT_EQ(client::frameBytes(*transferFormat(VEK_TRANSFER_RAW10_PACKED), 5, 3), 21U);
    EXPECT_EQ(client::libraryDepth(*transferFormat(VEK_TRANSFER_RAW16)), 12);
    EXPECT_EQ(client::libraryDepth(*transferFormat(VEK_TRANSFER_RAW10)), 10);
    EXPECT_EQ(client::libraryDepth(*transferFormat(VEK_TRANSFER_RAW10_PACKED)), 8);
    EXPECT_EQ(client::libraryDepth(*chainFormat(VEK_CHAIN_CSI2_RAW10)), 10);
    EXPECT_EQ(client::libraryDepth(*chainFormat(VEK_CHAIN_CSI2_RAW14)), 12);
    const client::SRawFrame frame = client::rawFrame(
        littleEndian({0x3FFF, 0xFFFF, 0x10}), *transferFormat(VEK_TRANSFER_MONO14), 3, 1, VEK_COLOR_ARRAY_MONO, 12);
    // The one behind the image is the left neighbour of the last.
    EXPECT_EQ(std::get<std::vector<std::uint16_t>>(frame.samples),
              (std::vector<std::uint16_t>{0xFFF, 0xFFF, 0x4, 0xFFF}));
}

TEST_F(ClientFrames, PartOfARegion) {
    const auto part = client::partInside({2, 1, 9, 9}, 4, 3);
    ASSERT_TRUE(part);
    EXPECT_EQ(part->width, 2U);
    EXPECT_EQ(part->height, 2U);
    EXPECT_FALSE(client::partInside({4, 0, 1, 1}, 4, 3));
    EXPECT_FALSE(client::partInside({0, 3, 1, 1}, 4, 3));
}

} // namespace vek::test
