// The pixel formats of image samples as GStreamer raw video, and how each is stored.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zelt::cli {

/// How frames of one sample format become GStreamer raw video and a Matroska track.
struct StoredFormat {
    /// GStreamer's name of the sample's pixel layout ("YUY2").
    std::string gst_format;
    /// The raw format written to the video file: the same, or a layout Matroska takes that
    /// holds exactly the same samples (NV12's interleaved chroma rearranged into I420's
    /// planes, nothing rounded).
    std::string stored_format;
};

/// The format of the FourCC code of an image header (names from the lowest byte up: "YUY2",
/// "RGB"); nothing for a format that cannot be stored losslessly as raw video in Matroska
/// (RGBA, the Bayer layouts, Y411).
std::optional<StoredFormat> storedFormatOf(std::uint32_t fourcc);

/// The FourCC name of a code, lowest byte first, up to the first zero byte ("RGB").
std::string fourccName(std::uint32_t fourcc);

}  // namespace zelt::cli
