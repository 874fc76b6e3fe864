#include "zelt_camera_frame_copy.h"

#include <algorithm>
#include <cstring>

namespace zelt_camera {
namespace {

// Packed rows: every plane starts where the previous one ends, and no row has padding (a
// plane of one row may have any stride).
bool rows_packed(const std::array<PlaneRows, FrameLayout::kMaxPlanes>& rows, unsigned planes) {
    std::size_t offset = 0;
    for (unsigned p = 0; p < planes; ++p) {
        const PlaneRows& plane = rows[p];
        if (plane.offset != offset) return false;
        if (plane.rows > 1 && plane.stride != plane.row_bytes) return false;
        offset += plane.row_bytes * plane.rows;
    }
    return true;
}

}  // namespace

FrameLayout::FrameLayout(const GstVideoInfo& info) {
    const GstVideoFormatInfo* format = info.finfo;
    if (format == nullptr || GST_VIDEO_INFO_WIDTH(&info) <= 0 || GST_VIDEO_INFO_HEIGHT(&info) <= 0)
        return;
    const unsigned planes = GST_VIDEO_INFO_N_PLANES(&info);
    if (planes == 0 || planes > kMaxPlanes) return;

    std::size_t packed_size = 0;
    for (unsigned p = 0; p < planes; ++p) {
        // A plane's rows are as wide as the first component stored in it: the luma of YUY2
        // (two bytes a pixel), the interleaved chroma pairs of NV12, all of RGB's three.
        int component = -1;
        for (unsigned c = 0; c < GST_VIDEO_INFO_N_COMPONENTS(&info); ++c) {
            if (GST_VIDEO_INFO_COMP_PLANE(&info, c) == p) {
                component = static_cast<int>(c);
                break;
            }
        }
        if (component < 0) return;
        const int pixel_stride = GST_VIDEO_INFO_COMP_PSTRIDE(&info, component);
        const int width = GST_VIDEO_INFO_COMP_WIDTH(&info, component);
        const int rows = GST_VIDEO_INFO_COMP_HEIGHT(&info, component);
        const int stride = GST_VIDEO_INFO_PLANE_STRIDE(&info, p);
        if (pixel_stride <= 0 || width <= 0 || rows <= 0 || stride <= 0) return;
        PlaneRows& plane = m_rows[p];
        plane.offset = GST_VIDEO_INFO_PLANE_OFFSET(&info, p);
        plane.stride = static_cast<std::size_t>(stride);
        plane.row_bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(pixel_stride);
        plane.rows = static_cast<std::size_t>(rows);
        if (plane.row_bytes > plane.stride) return;
        packed_size += plane.row_bytes * plane.rows;
    }
    m_planes = planes;
    m_packed_size = packed_size;
    m_packed = rows_packed(m_rows, m_planes);
    m_width = static_cast<std::uint32_t>(GST_VIDEO_INFO_WIDTH(&info));
    m_height = static_cast<std::uint32_t>(GST_VIDEO_INFO_HEIGHT(&info));
}

FrameRows::FrameRows(GstBuffer* buffer, const FrameLayout& layout) noexcept
    : m_buffer(buffer), m_layout(layout), m_packed(layout.packed()) {
    if (!layout.empty()) {
        if (const GstVideoMeta* meta = gst_buffer_get_video_meta(buffer)) useVideoMeta(*meta);
    }
    m_size = m_packed ? gst_buffer_get_size(buffer) : layout.packedSize();
}

__attribute__((noinline)) void FrameRows::useVideoMeta(const GstVideoMeta& meta) noexcept {
    if (meta.n_planes != m_layout.planes() || meta.width != m_layout.width() ||
        meta.height != m_layout.height())
        return;  // another frame's description: the negotiated layout holds
    for (unsigned p = 0; p < m_layout.planes(); ++p) {
        // A stride that cannot hold a row: the negotiated layout is the better guess.
        if (meta.stride[p] < static_cast<gint>(m_layout.plane(p).row_bytes)) return;
    }
    m_meta = &meta;
    std::array<PlaneRows, FrameLayout::kMaxPlanes> rows{};
    for (unsigned p = 0; p < m_layout.planes(); ++p) rows[p] = plane(p);
    m_packed = rows_packed(rows, m_layout.planes());
    // Packed rows go over in one call whatever their source; only padded ones need the
    // meta's offsets and strides.
    if (m_packed) m_meta = nullptr;
}

PlaneRows FrameRows::plane(unsigned index) const noexcept {
    PlaneRows rows = m_layout.plane(index);
    if (m_meta != nullptr) {
        rows.offset = m_meta->offset[index];
        rows.stride = static_cast<std::size_t>(m_meta->stride[index]);
    }
    return rows;
}

std::size_t FrameRows::copyTo(std::uint8_t* destination, std::size_t capacity) const noexcept {
    if (m_packed) {
        // Rows packed already: the whole frame in one call.
        return gst_buffer_extract(m_buffer, 0, destination, std::min(m_size, capacity));
    }
    GstMapInfo map;
    if (!gst_buffer_map(m_buffer, &map, GST_MAP_READ)) return 0;
    std::size_t written = 0;
    for (unsigned p = 0; p < m_layout.planes() && written < capacity; ++p) {
        const PlaneRows plane_rows = plane(p);
        for (std::size_t row = 0; row < plane_rows.rows && written < capacity; ++row) {
            const std::size_t from = plane_rows.offset + row * plane_rows.stride;
            if (from >= map.size) {
                gst_buffer_unmap(m_buffer, &map);
                return written;  // a frame shorter than its layout: what it holds
            }
            const std::size_t bytes =
                std::min({plane_rows.row_bytes, map.size - from, capacity - written});
            std::memcpy(destination + written, map.data + from, bytes);
            written += bytes;
        }
    }
    gst_buffer_unmap(m_buffer, &map);
    return written;
}

}  // namespace zelt_camera
