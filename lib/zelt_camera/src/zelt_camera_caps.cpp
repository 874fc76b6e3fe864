#include "zelt_camera_caps.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <cstddef>
#include <locale>
#include <map>
#include <numeric>
#include <stdexcept>

#include "uni/assertion_report.h"
#include "zelt_camera_caps_grammar.h"

namespace zelt_camera {
namespace {

constexpr const char* kSource = "lib/zelt_camera/src/zelt_camera_caps";

// Messages of the text form.
constexpr const char* kParseExpression = "grammar.parse(first, last, caps)";
constexpr const char* kParseReport = "Could not parse %s";
constexpr const char* kParseError = "Could not parse ";
constexpr const char* kSingularDenominator = "bad rational: non-zero singular denominator";
constexpr const char* kNumeratorOverflow = "frame rate numerator out of range";

// Messages of the pixel formats.
constexpr const char* kFourccEmpty = "fourcc is empty";
constexpr const char* kFourccTooLong = "fourcc is too long: ";
constexpr const char* kFourccInvalid = "fourcc invalid: ";
constexpr const char* kUnsupportedFourcc = "Unsupported FourCC format";

constexpr std::size_t kMaxFourccLength = 4;

// The code of a name of up to four characters, first character in the lowest byte.
template <std::size_t N>
constexpr std::uint32_t fourcc(const char (&name)[N]) {
    static_assert(N >= 2 && N <= kMaxFourccLength + 1, "a FourCC name has 1 to 4 characters");
    std::uint32_t code = 0;
    for (std::size_t i = 0; i + 1 < N; ++i)
        code |= static_cast<std::uint32_t>(static_cast<unsigned char>(name[i])) << (8 * i);
    return code;
}

struct PixelFormatRow {
    std::uint32_t code;
    PixelFormatInfo info;
};

// The formats the plug-in can deliver, in ascending code order. The table is closed: "YV12",
// "UYVY" and "GRAY8" have no row ("UYVY" and "GRAY8" reach it through kFormatAliases).
// It is constant-initialised, so it exists before any code runs and is read without locks.
constexpr std::array<PixelFormatRow, 15> kPixelFormats{{
    {fourcc("RGB"), {24, 1, 0, 1, 1}},
    {fourcc("BGR"), {24, 1, 0, 1, 1}},
    {fourcc("Y800"), {8, 1, 1, 1, 1}},
    {fourcc("I420"), {12, 0, 1, 2, 2}},
    {fourcc("Y411"), {12, 1, 1, 2, 1}},
    {fourcc("NV21"), {12, 1, 1, 2, 2}},
    {fourcc("YU12"), {12, 0, 1, 2, 2}},
    {fourcc("NV12"), {12, 1, 1, 2, 2}},
    {fourcc("Y422"), {16, 1, 1, 2, 1}},
    {fourcc("YUY2"), {16, 1, 1, 2, 1}},
    {fourcc("RGBA"), {32, 1, 0, 1, 1}},
    {fourcc("RGGB"), {8, 0, 0, 2, 2}},
    {fourcc("GRBG"), {8, 0, 0, 2, 2}},
    {fourcc("GBRG"), {8, 0, 0, 2, 2}},
    {fourcc("BGGR"), {8, 0, 0, 2, 2}},
}};

constexpr bool ascendingCodes() {
    for (std::size_t i = 1; i < kPixelFormats.size(); ++i)
        if (kPixelFormats[i - 1].code >= kPixelFormats[i].code) return false;
    return true;
}
static_assert(ascendingCodes(), "the pixel formats are looked up by binary search on the code");

// GStreamer format names whose FourCC name differs. Built on first use (the runtime's
// thread-safe initialisation of a local static), read-only afterwards.
const std::map<std::string, std::string>& formatAliases() {
    static const std::map<std::string, std::string> aliases{
        {"UYVY", "Y422"},
        {"GRAY8", "Y800"},
    };
    return aliases;
}

// Appends the decimal text of `value`.
void appendDecimal(std::string& out, int value) {
    char digits[16];
    const auto result = std::to_chars(std::begin(digits), std::end(digits), value);
    out.append(digits, result.ptr);
}

}  // namespace

boost::rational<int> make_framerate(int numerator, int denominator) {
    // Boost normalizes every pair without INT_MIN safely, and throws for a zero denominator.
    if (denominator == 0 || (numerator != INT_MIN && denominator != INT_MIN))
        return boost::rational<int>(numerator, denominator);

    std::int64_t num = numerator;
    std::int64_t den = denominator;
    const std::int64_t divisor = std::gcd(num, den);
    num /= divisor;
    den /= divisor;
    if (den < 0) {
        num = -num;
        den = -den;
    }
    if (den > INT_MAX) throw boost::bad_rational(kSingularDenominator);
    if (num > INT_MAX) throw std::overflow_error(kNumeratorOverflow);
    return boost::rational<int>(static_cast<int>(num), static_cast<int>(den));
}

std::string caps_to_string(const Caps& caps) {
    std::string text;
    // The longest text, "-2147483648 x -2147483648 @ -2147483648/2147483647 fps", has 54.
    text.reserve(56);
    appendDecimal(text, caps.width);
    text.append(" x ");
    appendDecimal(text, caps.height);
    text.append(" @ ");
    appendDecimal(text, caps.framerate.numerator());
    if (caps.framerate.denominator() != 1) {
        text.push_back('/');
        appendDecimal(text, caps.framerate.denominator());
    }
    text.append(" fps");
    return text;
}

Caps parse_caps(const std::string& text) {
    // The attribute starts as a default Caps (0, 0, 1/1, 1.0, ""); the grammar fills width,
    // height and framerate, so a parsed record always carries 1.0 and "".
    Caps caps;
    const char* first = text.data();
    const char* const last = first + text.size();
    const CapsGrammar grammar;
    // A match is enough: whatever follows "fps" and its trailing white space is ignored, so
    // "640x480@30fps trailing" is 640 x 480 @ 30. This leniency is deliberate.
    if (grammar.parse(first, last, caps)) return caps;

    uni::reportAssertion(kParseExpression, kSource, __LINE__, kParseReport, text.c_str());
    throw std::runtime_error(kParseError + text);
}

std::string to_fourcc_name(const std::string& gst_format) {
    const auto& aliases = formatAliases();
    const auto alias = aliases.find(gst_format);
    return alias != aliases.end() ? alias->second : gst_format;
}

std::uint32_t fourcc_from_string(const std::string& name) {
    if (name.empty()) throw std::invalid_argument(kFourccEmpty);
    if (name.size() > kMaxFourccLength) throw std::invalid_argument(kFourccTooLong + name);

    const std::locale locale;  // the global locale at the time of the call
    const auto& ctype = std::use_facet<std::ctype<char>>(locale);
    const auto sameLetters = [&ctype](char a, char b) {
        return ctype.toupper(a) == ctype.toupper(b);
    };
    for (const PixelFormatRow& row : kPixelFormats) {
        const std::string row_name = fourcc_to_string(row.code);
        if (row_name.size() == name.size() &&
            std::equal(row_name.begin(), row_name.end(), name.begin(), sameLetters))
            return row.code;
    }
    throw std::invalid_argument(kFourccInvalid + name);
}

std::string fourcc_to_string(std::uint32_t fourcc) {
    std::string name;
    name.reserve(kMaxFourccLength);
    for (; (fourcc & 0xFFu) != 0; fourcc >>= 8) name.push_back(static_cast<char>(fourcc & 0xFFu));
    return name;
}

const PixelFormatInfo& pixel_format_info(std::uint32_t fourcc) {
    const auto row =
        std::lower_bound(kPixelFormats.begin(), kPixelFormats.end(), fourcc,
                         [](const PixelFormatRow& r, std::uint32_t code) { return r.code < code; });
    if (row == kPixelFormats.end() || row->code != fourcc)
        throw std::invalid_argument(kUnsupportedFourcc);
    return row->info;
}

std::int32_t image_payload_bytes(const PixelFormatInfo& info, std::int32_t width,
                                 std::int32_t height) {
    // Signed 32-bit multiplication that wraps instead of overflowing: the product is formed
    // modulo 2^32 in unsigned arithmetic (the same bits a two's-complement multiply gives) and
    // read back as a signed value. The division then truncates toward zero.
    const std::uint32_t bits = static_cast<std::uint32_t>(info.bits_per_pixel) *
                               static_cast<std::uint32_t>(height) *
                               static_cast<std::uint32_t>(width);
    const std::int32_t signed_bits =
        bits <= static_cast<std::uint32_t>(INT32_MAX)
            ? static_cast<std::int32_t>(bits)
            : static_cast<std::int32_t>(bits - 0x80000000u) + INT32_MIN;
    return signed_bits / 8;
}

}  // namespace zelt_camera
