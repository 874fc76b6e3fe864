// Video modes and pixel formats.
//
// A video mode (`Caps`) has a text form, "W x H @ N[/D] fps", that the user sees, the channel
// stores and the host hands back; caps_to_string writes it and parse_caps reads it. The
// pixel-format half maps GStreamer raw-video format names to FourCC codes, looks up the
// closed table of formats the plug-in can deliver, and sizes one frame's image payload.
//
// Errors are thrown as standard exceptions (std::invalid_argument for FourCC names and codes,
// std::runtime_error for a text that does not parse, boost::bad_rational for a frame rate
// with a zero denominator); the callers turn them into false results or log them.
#pragma once

#include <boost/rational.hpp>
#include <cstdint>
#include <string>

namespace zelt_camera {

/// One video mode. Only width, height and framerate take part in the text form;
/// pixel_aspect_ratio and format come from the device's caps and are looked up again there
/// when a text is read back, so a parsed record always carries 1.0 and "".
struct Caps {
    std::int32_t width = 0;
    std::int32_t height = 0;
    /// Frames per second, always normalized (see make_framerate).
    boost::rational<int> framerate{1, 1};
    double pixel_aspect_ratio = 1.0;
    /// GStreamer raw-video format name ("YUY2"); may be empty.
    std::string format;
};

/// The normalized rate numerator/denominator, as boost::rational<int> constructs it:
/// divided by the greatest common divisor, positive denominator, 0/d as 0/1. A zero
/// denominator throws boost::bad_rational ("bad rational: zero denominator").
///
/// boost::rational<int> itself overflows (undefined behaviour, a division trap on x86) when
/// a part is INT_MIN; such pairs are normalized in 64 bits here instead. A normalized
/// denominator that does not fit into an int throws boost::bad_rational("bad rational:
/// non-zero singular denominator"), which is what Boost throws for the pairs it handles;
/// a normalized numerator that does not fit throws std::overflow_error (the parser turns
/// that into "no match", like any other number out of the 32-bit range).
boost::rational<int> make_framerate(int numerator, int denominator);

/// "W x H @ N fps", or "W x H @ N/D fps" when the denominator is not 1.
std::string caps_to_string(const Caps& caps);

/// Reads "W x H @ N[/D] fps" (blanks optional between the items, text after "fps" ignored).
/// Throws std::runtime_error("Could not parse " + text) after reporting the assertion
/// "Could not parse %s" when the text does not match; a zero denominator escapes as
/// boost::bad_rational("bad rational: zero denominator").
Caps parse_caps(const std::string& text);

/// One row of the pixel-format table. The four attributes are carried for the host and not
/// read by the plug-in.
struct PixelFormatInfo {
    std::uint8_t bits_per_pixel;  ///< average over the whole image, all planes
    std::uint8_t attribute_1;     ///< 0 or 1
    std::uint8_t attribute_2;     ///< 0 or 1
    std::uint32_t attribute_3;    ///< 1 or 2
    std::uint32_t attribute_4;    ///< 1 or 2
};

/// The FourCC name for a GStreamer format name: "UYVY" -> "Y422", "GRAY8" -> "Y800", any other
/// name unchanged.
std::string to_fourcc_name(const std::string& gst_format);

/// The code of a FourCC name, compared case-insensitively (upper case of the global locale)
/// against the table. Throws std::invalid_argument "fourcc is empty", "fourcc is too long: "
/// + name or "fourcc invalid: " + name.
std::uint32_t fourcc_from_string(const std::string& name);

/// The name of a code: its bytes from the lowest up to the first zero byte (at most four).
std::string fourcc_to_string(std::uint32_t fourcc);

/// The table row of a code (a reference into the constant table). Throws
/// std::invalid_argument("Unsupported FourCC format") for a code outside the table.
const PixelFormatInfo& pixel_format_info(std::uint32_t fourcc);

/// Bytes of one frame's pixels: (bits_per_pixel * height * width) / 8 in signed 32-bit
/// arithmetic. A product beyond the 32-bit range wraps modulo 2^32 (two's complement) before
/// the division, which truncates toward zero.
std::int32_t image_payload_bytes(const PixelFormatInfo& info, std::int32_t width,
                                 std::int32_t height);

}  // namespace zelt_camera
