#include "frame_pattern.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace zelt::vcam {
namespace {

constexpr guint8 kDark = 40;
constexpr guint8 kBright = 200;
constexpr guint8 kNeutralChroma = 128;
constexpr unsigned kBandWidth = 16;     // pixels per band
constexpr unsigned kDriftPerFrame = 4;  // pixels the bands move per frame

// Luma of the pattern along one diagonal: entry k is the value of every pixel with x + y == k.
std::vector<guint8> diagonal_luma(unsigned width, unsigned height, std::uint64_t frame_number) {
    std::vector<guint8> luma(static_cast<size_t>(width) + height);
    const std::uint64_t shift = frame_number * kDriftPerFrame;
    for (size_t k = 0; k < luma.size(); ++k) {
        // Subtracting the shift moves the bands towards larger x as frames go by.
        const std::uint64_t position = k + (~shift + 1);  // k - shift, modulo 2^64
        luma[k] = ((position / kBandWidth) % 2 == 0) ? kBright : kDark;
    }
    return luma;
}

guint8* plane_row(GstVideoFrame* frame, guint plane, guint row) {
    return static_cast<guint8*>(GST_VIDEO_FRAME_PLANE_DATA(frame, plane)) +
           static_cast<gsize>(row) * GST_VIDEO_FRAME_PLANE_STRIDE(frame, plane);
}

// Rows of a plane: the height of the first component that lives in it.
guint plane_rows(GstVideoFrame* frame, guint plane) {
    for (guint component = 0; component < GST_VIDEO_FRAME_N_COMPONENTS(frame); ++component) {
        if (GST_VIDEO_FORMAT_INFO_PLANE(frame->info.finfo, component) == plane) {
            return GST_VIDEO_FRAME_COMP_HEIGHT(frame, component);
        }
    }
    return GST_VIDEO_FRAME_HEIGHT(frame);
}

void fill_plane(GstVideoFrame* frame, guint plane, guint8 value) {
    const guint rows = plane_rows(frame, plane);
    const gint stride = GST_VIDEO_FRAME_PLANE_STRIDE(frame, plane);
    for (guint row = 0; row < rows; ++row) {
        std::memset(plane_row(frame, plane, row), value, static_cast<size_t>(stride));
    }
}

// One luma byte per pixel, `step` bytes apart, starting at byte `first` of each row; the other
// bytes of the row get `other`.
void paint_interleaved(GstVideoFrame* frame, const std::vector<guint8>& luma, guint step,
                       guint first, guint8 other) {
    const guint width = GST_VIDEO_FRAME_WIDTH(frame);
    const guint height = GST_VIDEO_FRAME_HEIGHT(frame);
    const gint stride = GST_VIDEO_FRAME_PLANE_STRIDE(frame, 0);
    for (guint y = 0; y < height; ++y) {
        guint8* row = plane_row(frame, 0, y);
        std::memset(row, other, static_cast<size_t>(stride));
        for (guint x = 0; x < width; ++x) row[x * step + first] = luma[x + y];
    }
}

// The same value in every byte of a pixel (grey in RGB-like formats).
void paint_packed_grey(GstVideoFrame* frame, const std::vector<guint8>& luma, guint bytes) {
    const guint width = GST_VIDEO_FRAME_WIDTH(frame);
    const guint height = GST_VIDEO_FRAME_HEIGHT(frame);
    for (guint y = 0; y < height; ++y) {
        guint8* row = plane_row(frame, 0, y);
        for (guint x = 0; x < width; ++x) std::memset(row + x * bytes, luma[x + y], bytes);
    }
}

void paint_luma_plane(GstVideoFrame* frame, const std::vector<guint8>& luma) {
    const guint width = GST_VIDEO_FRAME_WIDTH(frame);
    const guint height = GST_VIDEO_FRAME_HEIGHT(frame);
    for (guint y = 0; y < height; ++y) std::memcpy(plane_row(frame, 0, y), &luma[y], width);
}

}  // namespace

void paint_pattern(GstVideoFrame* frame, std::uint64_t frame_number) {
    const guint width = GST_VIDEO_FRAME_WIDTH(frame);
    const guint height = GST_VIDEO_FRAME_HEIGHT(frame);
    const std::vector<guint8> luma = diagonal_luma(width, height, frame_number);
    if (luma.empty()) return;
    switch (GST_VIDEO_FRAME_FORMAT(frame)) {
        case GST_VIDEO_FORMAT_GRAY8:
            paint_luma_plane(frame, luma);
            break;
        case GST_VIDEO_FORMAT_I420:
        case GST_VIDEO_FORMAT_YV12:
        case GST_VIDEO_FORMAT_NV12:
        case GST_VIDEO_FORMAT_NV21:
        case GST_VIDEO_FORMAT_Y42B:
        case GST_VIDEO_FORMAT_Y444:
            paint_luma_plane(frame, luma);
            for (guint plane = 1; plane < GST_VIDEO_FRAME_N_PLANES(frame); ++plane) {
                fill_plane(frame, plane, kNeutralChroma);
            }
            break;
        case GST_VIDEO_FORMAT_YUY2:
        case GST_VIDEO_FORMAT_YVYU:
            paint_interleaved(frame, luma, 2, 0, kNeutralChroma);
            break;
        case GST_VIDEO_FORMAT_UYVY:
        case GST_VIDEO_FORMAT_VYUY:
            paint_interleaved(frame, luma, 2, 1, kNeutralChroma);
            break;
        case GST_VIDEO_FORMAT_RGB:
        case GST_VIDEO_FORMAT_BGR:
            paint_packed_grey(frame, luma, 3);
            break;
        case GST_VIDEO_FORMAT_RGBx:
        case GST_VIDEO_FORMAT_BGRx:
        case GST_VIDEO_FORMAT_xRGB:
        case GST_VIDEO_FORMAT_xBGR:
        case GST_VIDEO_FORMAT_RGBA:
        case GST_VIDEO_FORMAT_BGRA:
        case GST_VIDEO_FORMAT_ARGB:
        case GST_VIDEO_FORMAT_ABGR:
            paint_packed_grey(frame, luma, 4);
            break;
        default:
            // Any other layout: the bands byte by byte in every plane, still visibly moving.
            for (guint plane = 0; plane < GST_VIDEO_FRAME_N_PLANES(frame); ++plane) {
                const gint stride = GST_VIDEO_FRAME_PLANE_STRIDE(frame, plane);
                const guint rows = plane_rows(frame, plane);
                for (guint y = 0; y < rows; ++y) {
                    guint8* row = plane_row(frame, plane, y);
                    for (gint x = 0; x < stride; ++x) row[x] = luma[(x + y) % luma.size()];
                }
            }
            break;
    }
}

void write_sequence_number(GstBuffer* buffer, const GstVideoInfo& info, std::uint64_t sequence) {
    guint8 bytes[kSequenceNumberBytes];
    for (gsize i = 0; i < kSequenceNumberBytes; ++i) {
        bytes[i] = static_cast<guint8>(sequence >> (8 * i));
    }
    const gsize offset = GST_VIDEO_INFO_PLANE_OFFSET(&info, 0);
    const gsize size = gst_buffer_get_size(buffer);
    if (offset >= size) return;
    gst_buffer_fill(buffer, offset, bytes, std::min(kSequenceNumberBytes, size - offset));
}

std::uint64_t read_sequence_number(GstBuffer* buffer, const GstVideoInfo& info) {
    guint8 bytes[kSequenceNumberBytes] = {};
    gst_buffer_extract(buffer, GST_VIDEO_INFO_PLANE_OFFSET(&info, 0), bytes, kSequenceNumberBytes);
    std::uint64_t sequence = 0;
    for (gsize i = 0; i < kSequenceNumberBytes; ++i) {
        sequence |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
    }
    return sequence;
}

}  // namespace zelt::vcam
