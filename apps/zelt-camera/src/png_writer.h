// A PNG picture of one frame, for a person to look at.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "video_writer.h"

namespace zelt::cli {

/// Writes the frame `pixels` (`size` bytes in the layout of `format`) as a PNG file at
/// `path`, converted to RGB by GStreamer (videoconvert ! pngenc, through
/// gst_video_convert_sample). Throws std::runtime_error when the conversion or the file fails.
void writePng(const std::string& path, const VideoFormat& format, const std::uint8_t* pixels,
              std::size_t size);

}  // namespace zelt::cli
