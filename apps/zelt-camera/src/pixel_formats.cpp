#include "pixel_formats.h"

namespace zelt::cli {
namespace {

struct FormatRow {
    const char* fourcc;
    const char* gst_format;
    const char* stored_format;
};

// The raw formats matroskamux accepts are YUY2, I420, YV12, UYVY, AYUV, GRAY8, BGR and RGB.
// The camera's "Y422" and "Y800" are GStreamer's UYVY and GRAY8; "YU12" is I420 by another
// name. RGBA would need AYUV (a lossy colour conversion) and the Bayer layouts and Y411 have
// no raw Matroska form at all, so those are refused rather than stored approximately.
constexpr FormatRow kFormats[] = {
    {"YUY2", "YUY2", "YUY2"}, {"I420", "I420", "I420"},   {"YU12", "I420", "I420"},
    {"Y422", "UYVY", "UYVY"}, {"Y800", "GRAY8", "GRAY8"}, {"RGB", "RGB", "RGB"},
    {"BGR", "BGR", "BGR"},    {"NV12", "NV12", "I420"},   {"NV21", "NV21", "I420"},
};

}  // namespace

std::string fourccName(std::uint32_t fourcc) {
    std::string name;
    for (int i = 0; i < 4; ++i) {
        const char c = static_cast<char>((fourcc >> (8 * i)) & 0xFF);
        if (c == '\0') break;
        name += c;
    }
    return name;
}

std::optional<StoredFormat> storedFormatOf(std::uint32_t fourcc) {
    const std::string name = fourccName(fourcc);
    for (const FormatRow& row : kFormats) {
        if (name == row.fourcc) return StoredFormat{row.gst_format, row.stored_format};
    }
    return std::nullopt;
}

}  // namespace zelt::cli
