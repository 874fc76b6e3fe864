#include "zelt_host/image_data_header.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace zelt::host::test {
namespace {

TEST(ImageDataHeaderTest, ParsesFormatWidthHeightLittleEndian) {
    // "GREY", 640, 480, behind one byte so that the header is not aligned.
    const std::uint8_t bytes[] = {0xFF, 'G',  'R',  'E',  'Y',  0x80, 0x02,
                                  0x00, 0x00, 0xE0, 0x01, 0x00, 0x00};
    const auto header = parseImageDataHeader(bytes + 1, 12);
    ASSERT_TRUE(header.has_value());
    EXPECT_EQ(header->format, 0x59455247u);
    EXPECT_EQ(header->width, 640u);
    EXPECT_EQ(header->height, 480u);
}

TEST(ImageDataHeaderTest, NeedsTwelveBytes) {
    const std::uint8_t bytes[12] = {};
    EXPECT_FALSE(parseImageDataHeader(bytes, 11).has_value());
    EXPECT_FALSE(parseImageDataHeader(nullptr, 12).has_value());
    EXPECT_TRUE(parseImageDataHeader(bytes, 12).has_value());
    EXPECT_EQ(kImageDataHeaderSize, 12u);
}

TEST(ImageDataHeaderTest, WritesTwelveLittleEndianBytes) {
    std::vector<std::uint8_t> bytes(13, 0xAA);
    writeImageDataHeader(ImageDataHeader{0x32595559, 1920, 1080}, bytes.data());
    EXPECT_EQ(bytes, (std::vector<std::uint8_t>{'Y', 'U', 'Y', '2', 0x80, 0x07, 0x00, 0x00, 0x38,
                                                0x04, 0x00, 0x00, 0xAA}));
    EXPECT_EQ(parseImageDataHeader(bytes.data(), 12), (ImageDataHeader{0x32595559, 1920, 1080}));
}

TEST(ImageDataHeaderTest, FormatCodeTextReadsFromTheLowestByte) {
    EXPECT_EQ(formatCodeText(0x32595559), "YUY2");
    EXPECT_EQ(formatCodeText(0x59455247), "GREY");
    EXPECT_EQ(formatCodeText(0x00474A4D), "MJG?");
    EXPECT_EQ(formatCodeText(0), "????");
}

}  // namespace
}  // namespace zelt::host::test
