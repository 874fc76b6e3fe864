// The caps text form and its grammar, pixel formats and FourCC codes.
#include "zelt_camera_caps.h"

#include <gtest/gtest.h>

#include <cctype>
#include <climits>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "test_assertions.h"
#include "uni/assertion_report.h"

namespace zelt_camera {
namespace {

using Rate = boost::rational<int>;

constexpr const char* kCapsSource = "lib/zelt_camera/src/zelt_camera_caps";

// Records the assertion reports of each test.
class RecordsAssertions : public ::testing::Test {
protected:
    std::vector<test::AssertionReport> reports() const { return m_assertions.reports(); }

private:
    test::RecordingAssertions m_assertions;
};

Caps makeCaps(int width, int height, Rate rate) {
    Caps caps;
    caps.width = width;
    caps.height = height;
    caps.framerate = rate;
    return caps;
}

// The message of the exception `call` throws as E; "" when it throws nothing.
template <typename E>
std::string messageOf(const std::function<void()>& call) {
    try {
        call();
    } catch (const E& error) {
        return error.what();
    }
    return "";
}

std::string readableName(std::string text) {
    std::string name;
    for (const char c : text) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name.empty() ? "empty" : name;
}

// ---------------------------------------------------------------------------------------
// Writing.

TEST(CapsToString, WholeRateIsWrittenWithoutDenominator) {
    EXPECT_EQ(caps_to_string(makeCaps(640, 480, Rate(30, 1))), "640 x 480 @ 30 fps");
}

TEST(CapsToString, FractionalRateIsWrittenWithSlashAndNoBlanks) {
    EXPECT_EQ(caps_to_string(makeCaps(1920, 1080, Rate(30000, 1001))),
              "1920 x 1080 @ 30000/1001 fps");
    EXPECT_EQ(caps_to_string(makeCaps(320, 240, Rate(15, 2))), "320 x 240 @ 15/2 fps");
}

TEST(CapsToString, NegativeNumbersCarryAMinusAndNothingElseIsAdded) {
    EXPECT_EQ(caps_to_string(makeCaps(-640, 0, Rate(-30, 1))), "-640 x 0 @ -30 fps");
    EXPECT_EQ(caps_to_string(makeCaps(INT_MIN, INT_MAX, Rate(INT_MIN, INT_MAX))),
              "-2147483648 x 2147483647 @ -2147483648/2147483647 fps");
}

TEST(CapsToString, PixelAspectRatioAndFormatTakeNoPart) {
    Caps caps = makeCaps(640, 480, Rate(30, 1));
    caps.pixel_aspect_ratio = 4.0 / 3.0;
    caps.format = "YUY2";
    EXPECT_EQ(caps_to_string(caps), "640 x 480 @ 30 fps");
}

TEST(Caps, FreshRecordHoldsTheGrammarDefaults) {
    const Caps caps;
    EXPECT_EQ(caps.width, 0);
    EXPECT_EQ(caps.height, 0);
    EXPECT_EQ(caps.framerate, Rate(1, 1));
    EXPECT_EQ(caps.pixel_aspect_ratio, 1.0);
    EXPECT_EQ(caps.format, "");
}

// ---------------------------------------------------------------------------------------
// Parsing: accepted texts.

struct Accepted {
    const char* text;
    int width;
    int height;
    int numerator;
    int denominator;
};

class ParseCapsAccepts : public RecordsAssertions,
                         public ::testing::WithParamInterface<Accepted> {};

TEST_P(ParseCapsAccepts, TextGivesItsValuesWithDefaultAspectAndFormat) {
    const Accepted& expected = GetParam();
    const Caps caps = parse_caps(expected.text);
    EXPECT_EQ(caps.width, expected.width);
    EXPECT_EQ(caps.height, expected.height);
    EXPECT_EQ(caps.framerate.numerator(), expected.numerator);
    EXPECT_EQ(caps.framerate.denominator(), expected.denominator);
    EXPECT_EQ(caps.pixel_aspect_ratio, 1.0);
    EXPECT_EQ(caps.format, "");
    EXPECT_TRUE(reports().empty());
}

const Accepted kAccepted[] = {
    {"640x480@30fps", 640, 480, 30, 1},
    {"640 x 480 @ 30 fps", 640, 480, 30, 1},
    {"  640x480 @30/1fps  ", 640, 480, 30, 1},
    {"+640x0480@30fps", 640, 480, 30, 1},
    {"640x480@60/2 fps", 640, 480, 30, 1},
    {"640x480@30/-1fps", 640, 480, -30, 1},
    {"-640x480@30fps", -640, 480, 30, 1},
    {"640x480@30fpsXYZ", 640, 480, 30, 1},
    {"640x480@30fps trailing", 640, 480, 30, 1},
    {"640x480@ 30/1 fps", 640, 480, 30, 1},
    {"1920 x 1080 @ 30000/1001 fps", 1920, 1080, 30000, 1001},
    {"320 x 240 @ 15/2 fps", 320, 240, 15, 2},
    {"640x480@0/5fps", 640, 480, 0, 1},
    {"640x480@-4/-6fps", 640, 480, 2, 3},
    {"\t640\nx\v480\f@\r30 fps \t\n", 640, 480, 30, 1},
    {"640x480@30fps\x80", 640, 480, 30, 1},
    {"-2147483648x2147483647@-2147483648fps", INT_MIN, INT_MAX, INT_MIN, 1},
    {"640x480@-2147483648/-2fps", 640, 480, 1073741824, 1},
    {"640x480@-2147483648/-2147483648fps", 640, 480, 1, 1},
    {"640x480@-2147483648/3fps", 640, 480, INT_MIN, 3},
};

INSTANTIATE_TEST_SUITE_P(Examples, ParseCapsAccepts, ::testing::ValuesIn(kAccepted),
                         [](const ::testing::TestParamInfo<Accepted>& info) {
                             return std::to_string(info.index) + "_" +
                                    readableName(info.param.text);
                         });

// ---------------------------------------------------------------------------------------
// Parsing: rejected texts.

class ParseCapsRejects : public RecordsAssertions,
                         public ::testing::WithParamInterface<const char*> {};

TEST_P(ParseCapsRejects, TextThrowsCouldNotParseAfterReportingIt) {
    const std::string text = GetParam();
    EXPECT_EQ(messageOf<std::runtime_error>([&] { parse_caps(text); }), "Could not parse " + text);
    const auto reported = reports();
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ(reported[0].message, "Could not parse " + text);
    EXPECT_EQ(reported[0].source, kCapsSource);
    EXPECT_GT(reported[0].line, 0);
    EXPECT_FALSE(reported[0].expression.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Examples, ParseCapsRejects,
    ::testing::Values("640X480@30fps", "640x480@30 / 1fps", "640x480@30", "640x480@fps",
                      "640*480@30fps", "", "640x480@30/ 1fps", "640x480@30 /1fps", " ",
                      " \t\n\v\f\r", "640x480@30FPS", "640x480@30Fps", "6 40x480@30fps",
                      "640x480@3 0fps", "640x48 0@30fps", "2147483648x480@30fps",
                      "640x-2147483649@30fps", "640x480@2147483648fps", "640x480@30/2147483648fps",
                      "640x480@-2147483648/-1fps", "640x480@-2147483648/-3fps", "640x480@30/fps",
                      "640x480@/30fps", "x480@30fps", "640x480 30fps", "640x480@30f ps",
                      "++640x480@30fps", "640\x80x480@30fps"),
    [](const ::testing::TestParamInfo<const char*>& info) {
        return std::to_string(info.index) + "_" + readableName(info.param);
    });

TEST_F(RecordsAssertions, TextWithEmbeddedZeroIsRejectedAndReportedUpToTheZero) {
    const std::string text("640\0x480@30fps", 14);
    EXPECT_EQ(messageOf<std::runtime_error>([&] { parse_caps(text); }), "Could not parse 640");
    const auto reported = reports();
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ(reported[0].message, "Could not parse 640");
}

TEST_F(RecordsAssertions, LongTextIsReportedCutToTheReportBuffer) {
    const std::string text(400, 'x');
    EXPECT_EQ(messageOf<std::runtime_error>([&] { parse_caps(text); }), "Could not parse " + text);
    const auto reported = reports();
    ASSERT_EQ(reported.size(), 1u);
    EXPECT_EQ(reported[0].message, ("Could not parse " + text).substr(0, 255));
}

TEST_F(RecordsAssertions, ParseWithoutHandlerStillThrowsCouldNotParse) {
    uni::setAssertionHandler(nullptr);
    EXPECT_EQ(messageOf<std::runtime_error>([] { parse_caps("640x480"); }),
              "Could not parse 640x480");
}

// ---------------------------------------------------------------------------------------
// Parsing: the rational's own errors.

TEST_F(RecordsAssertions, ZeroDenominatorEscapesAsBadRationalNotCouldNotParse) {
    EXPECT_EQ(messageOf<boost::bad_rational>([] { parse_caps("640x480@30/0fps"); }),
              "bad rational: zero denominator");
    EXPECT_TRUE(reports().empty());
}

TEST_F(RecordsAssertions, ZeroDenominatorIsAStdDomainError) {
    EXPECT_EQ(messageOf<std::domain_error>([] { parse_caps("640 x 480 @ 0/0 fps"); }),
              "bad rational: zero denominator");
}

TEST_F(RecordsAssertions, DenominatorNormalizedToTwoToThe31ThrowsSingularDenominator) {
    EXPECT_EQ(messageOf<boost::bad_rational>([] { parse_caps("640x480@1/-2147483648fps"); }),
              "bad rational: non-zero singular denominator");
    EXPECT_EQ(messageOf<boost::bad_rational>([] { parse_caps("640x480@-1/-2147483648fps"); }),
              "bad rational: non-zero singular denominator");
    EXPECT_TRUE(reports().empty());
}

TEST(MakeFramerate, NormalizesLikeBoostRational) {
    EXPECT_EQ(make_framerate(60, 2), Rate(30, 1));
    EXPECT_EQ(make_framerate(30, -1), Rate(-30, 1));
    EXPECT_EQ(make_framerate(0, -7).denominator(), 1);
    EXPECT_EQ(make_framerate(30000, 1001), Rate(30000, 1001));
}

TEST(MakeFramerate, PairsWithIntMinAreNormalizedWithoutOverflow) {
    EXPECT_EQ(make_framerate(INT_MIN, INT_MIN), Rate(1, 1));
    EXPECT_EQ(make_framerate(INT_MIN, -2), Rate(1 << 30, 1));
    EXPECT_EQ(make_framerate(INT_MIN, 1), Rate(INT_MIN, 1));
    EXPECT_EQ(make_framerate(0, INT_MIN), Rate(0, 1));
    EXPECT_EQ(make_framerate(2, INT_MIN), Rate(-1, 1 << 30));
    EXPECT_THROW(make_framerate(INT_MIN, -1), std::overflow_error);
    EXPECT_EQ(messageOf<boost::bad_rational>([] { make_framerate(INT_MIN, 0); }),
              "bad rational: zero denominator");
    EXPECT_EQ(messageOf<boost::bad_rational>([] { make_framerate(3, INT_MIN); }),
              "bad rational: non-zero singular denominator");
}

// ---------------------------------------------------------------------------------------
// Parsing: white space and the two directions together.

TEST_F(RecordsAssertions, SpacedAndCompactTextsGiveTheSameRecordAndWriteTheSame) {
    const Caps spaced = parse_caps("640 x 480 @ 30 fps");
    const Caps compact = parse_caps("640x480@30fps");
    EXPECT_EQ(spaced.width, compact.width);
    EXPECT_EQ(spaced.height, compact.height);
    EXPECT_EQ(spaced.framerate, compact.framerate);
    EXPECT_EQ(caps_to_string(spaced), "640 x 480 @ 30 fps");
    EXPECT_EQ(caps_to_string(compact), "640 x 480 @ 30 fps");
}

TEST_F(RecordsAssertions, WhiteSpaceIsExactlyBytesNineToThirteenAndBlank) {
    for (int byte = 0; byte < 256; ++byte) {
        SCOPED_TRACE(byte);
        // A sign or a digit in front of a number makes another valid text.
        if (std::isdigit(byte) || byte == '+' || byte == '-') continue;
        const bool space = (byte >= 9 && byte <= 13) || byte == 32;
        const std::string gap(1, static_cast<char>(byte));
        for (const std::string& text :
             {gap + "640x480@30fps", "640" + gap + "x480@30fps", "640x" + gap + "480@30fps",
              "640x480" + gap + "@30fps", "640x480@" + gap + "30fps", "640x480@30" + gap + "fps",
              "640x480@30/1" + gap + "fps"}) {
            bool accepted = true;
            try {
                parse_caps(text);
            } catch (const std::runtime_error&) {
                accepted = false;
            }
            EXPECT_EQ(accepted, space) << text;
        }
        // Inside a rational nothing is skipped.
        for (const std::string& text : {"640x480@30" + gap + "/1fps", "640x480@30/" + gap + "1fps"})
            EXPECT_THROW(parse_caps(text), std::runtime_error) << text;
    }
}

TEST_F(RecordsAssertions, WhiteSpaceAfterFpsIsSkippedAndAnythingAfterIsIgnored) {
    for (const char* text : {"640x480@30fps \t\r\n", "640x480@30fps   fps", "640x480@30fps@@"}) {
        const Caps caps = parse_caps(text);
        EXPECT_EQ(caps.width, 640) << text;
        EXPECT_EQ(caps.framerate, Rate(30, 1)) << text;
    }
}

TEST_F(RecordsAssertions, WritingThenParsingKeepsSizeAndRate) {
    const std::vector<Caps> records{makeCaps(640, 480, Rate(30, 1)),
                                    makeCaps(1920, 1080, Rate(30000, 1001)),
                                    makeCaps(320, 240, Rate(15, 2)),
                                    makeCaps(-640, -1, Rate(-7, 3)),
                                    makeCaps(0, 0, Rate(0, 1)),
                                    makeCaps(INT_MIN, INT_MAX, Rate(INT_MIN, 1)),
                                    makeCaps(INT_MAX, INT_MIN, Rate(INT_MAX, INT_MAX - 1)),
                                    makeCaps(7, 9, Rate(1, INT_MAX))};
    for (Caps record : records) {
        record.pixel_aspect_ratio = 2.0;
        record.format = "NV12";
        const std::string text = caps_to_string(record);
        const Caps parsed = parse_caps(text);
        EXPECT_EQ(parsed.width, record.width) << text;
        EXPECT_EQ(parsed.height, record.height) << text;
        EXPECT_EQ(parsed.framerate, record.framerate) << text;
        EXPECT_EQ(parsed.pixel_aspect_ratio, 1.0) << text;
        EXPECT_EQ(parsed.format, "") << text;
    }
    EXPECT_TRUE(reports().empty());
}

// ---------------------------------------------------------------------------------------
// Pixel formats.

struct Row {
    const char* name;
    std::uint32_t code;
    int bits_per_pixel;
    int attribute_1;
    int attribute_2;
    std::uint32_t attribute_3;
    std::uint32_t attribute_4;
};

class PixelFormatTable : public ::testing::TestWithParam<Row> {};

TEST_P(PixelFormatTable, RowHasItsCodeNameAndFields) {
    const Row& row = GetParam();
    EXPECT_EQ(fourcc_from_string(row.name), row.code);
    EXPECT_EQ(fourcc_to_string(row.code), row.name);
    const PixelFormatInfo& info = pixel_format_info(row.code);
    EXPECT_EQ(info.bits_per_pixel, row.bits_per_pixel);
    EXPECT_EQ(info.attribute_1, row.attribute_1);
    EXPECT_EQ(info.attribute_2, row.attribute_2);
    EXPECT_EQ(info.attribute_3, row.attribute_3);
    EXPECT_EQ(info.attribute_4, row.attribute_4);
    // A reference into the one constant table.
    EXPECT_EQ(&info, &pixel_format_info(row.code));
}

const Row kRows[] = {
    {"RGB", 0x00424752, 24, 1, 0, 1, 1},  {"BGR", 0x00524742, 24, 1, 0, 1, 1},
    {"RGBA", 0x41424752, 32, 1, 0, 1, 1}, {"Y800", 0x30303859, 8, 1, 1, 1, 1},
    {"Y411", 0x31313459, 12, 1, 1, 2, 1}, {"Y422", 0x32323459, 16, 1, 1, 2, 1},
    {"YUY2", 0x32595559, 16, 1, 1, 2, 1}, {"NV12", 0x3231564E, 12, 1, 1, 2, 2},
    {"NV21", 0x3132564E, 12, 1, 1, 2, 2}, {"I420", 0x30323449, 12, 0, 1, 2, 2},
    {"YU12", 0x32315559, 12, 0, 1, 2, 2}, {"GBRG", 0x47524247, 8, 0, 0, 2, 2},
    {"GRBG", 0x47425247, 8, 0, 0, 2, 2},  {"RGGB", 0x42474752, 8, 0, 0, 2, 2},
    {"BGGR", 0x52474742, 8, 0, 0, 2, 2},
};

INSTANTIATE_TEST_SUITE_P(AllFifteen, PixelFormatTable, ::testing::ValuesIn(kRows),
                         [](const ::testing::TestParamInfo<Row>& info) {
                             return std::string(info.param.name);
                         });

TEST(FourccFromString, NameIsComparedCaseInsensitively) {
    EXPECT_EQ(fourcc_from_string("yuy2"), 0x32595559u);
    EXPECT_EQ(fourcc_from_string("Yuy2"), 0x32595559u);
    EXPECT_EQ(fourcc_from_string("YUY2"), 0x32595559u);
    EXPECT_EQ(fourcc_from_string("rgb"), 0x00424752u);
    EXPECT_EQ(fourcc_from_string("nV21"), 0x3132564Eu);
}

TEST(FourccFromString, TrailingBlankMakesTheNameInvalid) {
    EXPECT_EQ(messageOf<std::invalid_argument>([] { fourcc_from_string("RGB "); }),
              "fourcc invalid: RGB ");
}

TEST(FourccFromString, EmptyNameThrowsFourccIsEmpty) {
    EXPECT_EQ(messageOf<std::invalid_argument>([] { fourcc_from_string(""); }), "fourcc is empty");
}

TEST(FourccFromString, FiveCharactersThrowTooLongWithTheName) {
    EXPECT_EQ(messageOf<std::invalid_argument>([] { fourcc_from_string("RGBAX"); }),
              "fourcc is too long: RGBAX");
    EXPECT_EQ(messageOf<std::invalid_argument>([] { fourcc_from_string("GRAY8"); }),
              "fourcc is too long: GRAY8");
}

TEST(FourccFromString, UnknownNameThrowsInvalidWithTheNameAsPassed) {
    EXPECT_EQ(messageOf<std::invalid_argument>([] { fourcc_from_string("yv12"); }),
              "fourcc invalid: yv12");
    EXPECT_EQ(messageOf<std::invalid_argument>([] { fourcc_from_string("UYVY"); }),
              "fourcc invalid: UYVY");
    EXPECT_EQ(messageOf<std::invalid_argument>([] { fourcc_from_string("RG"); }),
              "fourcc invalid: RG");
    // Four bytes, so not too long, and of another length than "RGB" (what() ends at the zero).
    EXPECT_EQ(messageOf<std::invalid_argument>([] { fourcc_from_string(std::string("RGB\0", 4)); }),
              "fourcc invalid: RGB");
}

TEST(FourccFromString, ErrorsAreLogicErrors) {
    EXPECT_THROW(fourcc_from_string(""), std::logic_error);
    EXPECT_THROW(fourcc_from_string("ABCDE"), std::logic_error);
    EXPECT_THROW(fourcc_from_string("ABCD"), std::logic_error);
}

TEST(FourccToString, NameStopsAtTheFirstZeroByte) {
    EXPECT_EQ(fourcc_to_string(0x00424752), "RGB");
    EXPECT_EQ(fourcc_to_string(0x32595559), "YUY2");
    EXPECT_EQ(fourcc_to_string(0), "");
    EXPECT_EQ(fourcc_to_string(0x41420043), "C");
}

TEST(ToFourccName, UyvyBecomesY422WithSixteenBitsPerPixel) {
    EXPECT_EQ(to_fourcc_name("UYVY"), "Y422");
    EXPECT_EQ(pixel_format_info(fourcc_from_string(to_fourcc_name("UYVY"))).bits_per_pixel, 16);
}

TEST(ToFourccName, Gray8BecomesY800WithEightBitsPerPixel) {
    EXPECT_EQ(to_fourcc_name("GRAY8"), "Y800");
    EXPECT_EQ(pixel_format_info(fourcc_from_string(to_fourcc_name("GRAY8"))).bits_per_pixel, 8);
}

TEST(ToFourccName, OtherNamesPassUnchanged) {
    EXPECT_EQ(to_fourcc_name("NV12"), "NV12");
    EXPECT_EQ(to_fourcc_name("YUY2"), "YUY2");
    EXPECT_EQ(to_fourcc_name(""), "");
    EXPECT_EQ(to_fourcc_name("uyvy"), "uyvy");  // the alias keys match case-sensitively
    EXPECT_EQ(to_fourcc_name("GRAY8 "), "GRAY8 ");
}

TEST(ToFourccName, Yv12PassesUnchangedAndThenIsNoValidFourcc) {
    const std::string name = to_fourcc_name("YV12");
    EXPECT_EQ(name, "YV12");
    EXPECT_EQ(messageOf<std::invalid_argument>([&] { fourcc_from_string(name); }),
              "fourcc invalid: YV12");
}

TEST(ToFourccName, AliasTableIsSafeToBuildFromManyThreads) {
    std::vector<std::thread> threads;
    std::vector<std::string> names(8);
    for (std::size_t i = 0; i < names.size(); ++i)
        threads.emplace_back([&names, i] { names[i] = to_fourcc_name(i % 2 ? "UYVY" : "GRAY8"); });
    for (auto& thread : threads) thread.join();
    for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(names[i], i % 2 ? "Y422" : "Y800");
}

TEST(PixelFormatInfo, CodeZeroIsUnsupported) {
    EXPECT_EQ(messageOf<std::invalid_argument>([] { pixel_format_info(0); }),
              "Unsupported FourCC format");
}

TEST(PixelFormatInfo, CodesOutsideTheTableAreUnsupported) {
    for (const std::uint32_t code : {0x32315659u /* YV12 */, 0x59565955u /* UYVY */, 0x00000001u,
                                     0x00424751u, 0x00424753u, 0xFFFFFFFFu, 0x52474743u}) {
        EXPECT_EQ(messageOf<std::invalid_argument>([code] { pixel_format_info(code); }),
                  "Unsupported FourCC format")
            << std::hex << code;
    }
}

TEST(ImagePayloadBytes, ExamplesOfTheSizeRule) {
    EXPECT_EQ(image_payload_bytes(pixel_format_info(fourcc_from_string("YUY2")), 640, 480), 614400);
    EXPECT_EQ(image_payload_bytes(pixel_format_info(fourcc_from_string("I420")), 640, 480), 460800);
    EXPECT_EQ(image_payload_bytes(pixel_format_info(fourcc_from_string("RGB")), 1920, 1080),
              6220800);
}

TEST(ImagePayloadBytes, DivisionTruncatesTowardZero) {
    const PixelFormatInfo& i420 = pixel_format_info(fourcc_from_string("I420"));
    EXPECT_EQ(image_payload_bytes(i420, 1, 1), 1);    // 12 bits
    EXPECT_EQ(image_payload_bytes(i420, -1, 1), -1);  // -12 bits
    EXPECT_EQ(image_payload_bytes(i420, 3, 1), 4);    // 36 bits
}

TEST(ImagePayloadBytes, ProductBeyondThirtyTwoBitsWraps) {
    const PixelFormatInfo& rgb = pixel_format_info(fourcc_from_string("RGB"));
    // 24 * 10000 * 10000 = 2,400,000,000 bits wraps to -1,894,967,296.
    EXPECT_EQ(image_payload_bytes(rgb, 10000, 10000), -236870912);
    const PixelFormatInfo& rgba = pixel_format_info(fourcc_from_string("RGBA"));
    // 32 * 65536 * 65536 = 2^37 wraps to 0.
    EXPECT_EQ(image_payload_bytes(rgba, 65536, 65536), 0);
    // 32 * 2^31-1 * 2^31-1 wraps to 32 (mod 2^32).
    EXPECT_EQ(image_payload_bytes(rgba, INT_MAX, INT_MAX), 4);
    EXPECT_EQ(image_payload_bytes(rgba, INT_MIN, INT_MIN), 0);
}

}  // namespace
}  // namespace zelt_camera
