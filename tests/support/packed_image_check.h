// What a virtual camera's frame must look like when it reaches the host: the camera's pattern
// (vcam/src/frame_pattern.h) with its rows packed plane after plane, cut to the image size.
// For tests that check every row of a delivered image, whatever padding GStreamer gave it.
#pragma once

#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "frame_pattern.h"
#include "zelt_host/recording_sample_sink.h"

namespace zelt_test {

/// The pixel bytes of frame `sequence` of a virtual camera of `format` and size, rows packed
/// (each row as many bytes as its pixels take, no padding), cut to `image_bytes`.
inline std::vector<std::uint8_t> expected_packed_image(GstVideoFormat format, int width, int height,
                                                       std::uint64_t sequence,
                                                       std::size_t image_bytes) {
    GstVideoInfo info;
    gst_video_info_set_format(&info, format, width, height);
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    gst_buffer_memset(buffer, 0, 0, GST_VIDEO_INFO_SIZE(&info));
    GstVideoFrame frame;
    std::vector<std::uint8_t> packed;
    if (gst_video_frame_map(&frame, &info, buffer, GST_MAP_WRITE)) {
        zelt::vcam::paint_pattern(&frame, sequence);
        gst_video_frame_unmap(&frame);
        zelt::vcam::write_sequence_number(buffer, info, sequence);
        gst_video_frame_map(&frame, &info, buffer, GST_MAP_READ);
        for (guint plane = 0; plane < GST_VIDEO_FRAME_N_PLANES(&frame); ++plane) {
            // The first component stored in the plane tells its rows: count and pixel bytes.
            guint component = 0;
            while (GST_VIDEO_FRAME_COMP_PLANE(&frame, component) != plane) ++component;
            const auto* data =
                static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, plane));
            const gint stride = GST_VIDEO_FRAME_PLANE_STRIDE(&frame, plane);
            const gint row_bytes = GST_VIDEO_FRAME_COMP_WIDTH(&frame, component) *
                                   GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, component);
            for (gint row = 0; row < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, component); ++row) {
                packed.insert(packed.end(), data + row * stride, data + row * stride + row_bytes);
            }
        }
        gst_video_frame_unmap(&frame);
    }
    gst_buffer_unref(buffer);
    packed.resize(image_bytes);
    return packed;
}

/// "" when `image` equals `expected` row by row; else which rows differ (plane, row, first
/// wrong byte), at most a few of them. Rows are those of the packed layout of `format`.
inline std::string wrong_rows(const std::vector<std::uint8_t>& image,
                              const std::vector<std::uint8_t>& expected, GstVideoFormat format,
                              int width, int height) {
    if (image.size() != expected.size()) {
        return "image of " + std::to_string(image.size()) + " bytes, expected " +
               std::to_string(expected.size());
    }
    GstVideoInfo info;
    gst_video_info_set_format(&info, format, width, height);
    std::string wrong;
    int reported = 0;
    std::size_t at = 0;
    for (guint plane = 0; plane < GST_VIDEO_INFO_N_PLANES(&info); ++plane) {
        guint component = 0;
        while (GST_VIDEO_INFO_COMP_PLANE(&info, component) != plane) ++component;
        const std::size_t row_bytes =
            static_cast<std::size_t>(GST_VIDEO_INFO_COMP_WIDTH(&info, component) *
                                     GST_VIDEO_INFO_COMP_PSTRIDE(&info, component));
        for (gint row = 0; row < GST_VIDEO_INFO_COMP_HEIGHT(&info, component); ++row) {
            if (at >= image.size()) return wrong;
            const std::size_t bytes = std::min(row_bytes, image.size() - at);
            const auto mismatch = std::mismatch(image.begin() + at, image.begin() + at + bytes,
                                                expected.begin() + at);
            if (mismatch.first != image.begin() + at + bytes && reported++ < 4) {
                wrong += "plane " + std::to_string(plane) + " row " + std::to_string(row) +
                         " byte " + std::to_string(mismatch.first - (image.begin() + at)) + " is " +
                         std::to_string(*mismatch.first) + ", expected " +
                         std::to_string(*mismatch.second) + "; ";
            }
            at += bytes;
        }
    }
    return wrong;
}

/// A frame size whose rows GStreamer pads, and the image the host must get for it.
struct PaddedMode {
    const char* format;  // GStreamer's name, in the camera's caps
    GstVideoFormat video_format;
    int width;
    int height;
    std::uint32_t fourcc;     // in the image header
    std::size_t image_bytes;  // bits per pixel x width x height / 8
};

/// The caps text of a virtual camera offering `mode` at 100 fps.
inline std::string padded_mode_caps(const PaddedMode& mode) {
    return std::string("video/x-raw, format=") + mode.format +
           ", width=" + std::to_string(mode.width) + ", height=" + std::to_string(mode.height) +
           ", framerate=100/1, pixel-aspect-ratio=1/1";
}

/// I420 66x48: rows of 68 and 36 bytes in GStreamer's frame.
inline constexpr PaddedMode kI420SixtySixByFortyEight{
    "I420", GST_VIDEO_FORMAT_I420, 66, 48, 0x30323449, 4752};
/// RGB 63x48: rows of 192 bytes in GStreamer's frame.
inline constexpr PaddedMode kRgbSixtyThreeByFortyEight{"RGB", GST_VIDEO_FORMAT_RGB, 63,
                                                       48,    0x00424752,           9072};
/// NV12 64x49: the odd height gives the chroma plane a padding row before it and a half row
/// more than the image holds.
inline constexpr PaddedMode kNv12OfOddHeight{"NV12", GST_VIDEO_FORMAT_NV12, 64, 49, 0x3231564E,
                                             4704};

/// Checks one delivered sample (recorded with keep_bytes) of `mode`: size, header, and every
/// row of its image against the camera's pattern for the frame number in its first bytes.
inline void expect_packed_sample(const zelt::host::RecordedSample& sample, const PaddedMode& mode) {
    ASSERT_EQ(sample.size, mode.image_bytes + 12);
    ASSERT_EQ(sample.bytes.size(), sample.size);
    ASSERT_TRUE(sample.header.has_value());
    EXPECT_EQ(sample.header->format, mode.fourcc);
    EXPECT_EQ(sample.header->width, static_cast<std::uint32_t>(mode.width));
    EXPECT_EQ(sample.header->height, static_cast<std::uint32_t>(mode.height));
    std::uint64_t sequence = 0;
    for (std::size_t i = 0; i < zelt::vcam::kSequenceNumberBytes; ++i)
        sequence |= static_cast<std::uint64_t>(sample.bytes[12 + i]) << (8 * i);
    const std::vector<std::uint8_t> image(sample.bytes.begin() + 12, sample.bytes.end());
    const auto expected = expected_packed_image(mode.video_format, mode.width, mode.height,
                                                sequence, mode.image_bytes);
    EXPECT_EQ(wrong_rows(image, expected, mode.video_format, mode.width, mode.height), "")
        << "frame " << sequence;
}

}  // namespace zelt_test
