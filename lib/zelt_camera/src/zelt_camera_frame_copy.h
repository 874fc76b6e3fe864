// The one copy of a frame: from a GStreamer buffer into the image buffer, rows packed.
#pragma once

#include <gst/gst.h>
#include <gst/video/video.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelt_camera {

/// Where the rows of one plane lie in a GStreamer frame and how many of their bytes are pixels.
struct PlaneRows {
    std::size_t offset = 0;     ///< of the plane's first row, from the start of the buffer
    std::size_t stride = 0;     ///< from one row to the next in the buffer
    std::size_t row_bytes = 0;  ///< pixel bytes of one row: what a packed row holds
    std::size_t rows = 0;
};

/// The rows of the negotiated frames, learnt once when the camera prerolls.
///
/// GStreamer lays rows out on 4-byte strides (I420 66x48: a 68-byte luma stride and 36-byte
/// chroma strides), while the host reads an image as packed rows plane after plane. A layout
/// whose rows are already packed is copied in one call; any other is copied row by row.
class FrameLayout {
public:
    static constexpr std::size_t kMaxPlanes = GST_VIDEO_MAX_PLANES;

    /// No layout: frames are copied as they are, from their first byte.
    FrameLayout() = default;
    /// The layout of frames of `info`. A format whose rows this cannot tell (no pixel stride,
    /// as in tiled or bit-packed layouts) gives no layout.
    explicit FrameLayout(const GstVideoInfo& info);

    bool empty() const noexcept { return m_planes == 0; }
    unsigned planes() const noexcept { return m_planes; }
    const PlaneRows& plane(unsigned index) const noexcept { return m_rows[index]; }
    /// The bytes of one frame once its rows are packed.
    std::size_t packedSize() const noexcept { return m_packed_size; }
    /// Whether the negotiated rows are packed already: planes back to back from byte 0, no
    /// padding behind any row.
    bool packed() const noexcept { return m_packed; }

    std::uint32_t width() const noexcept { return m_width; }
    std::uint32_t height() const noexcept { return m_height; }

private:
    // What every frame reads first, ahead of the rows that only padded frames read.
    unsigned m_planes = 0;
    bool m_packed = true;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    std::size_t m_packed_size = 0;
    std::array<PlaneRows, kMaxPlanes> m_rows{};
};

/// One frame's rows: the buffer's own offsets and strides when it carries a GstVideoMeta that
/// fits the layout, else those of the negotiated layout.
class FrameRows {
public:
    /// (buffer: transfer none; it must outlive this object)
    FrameRows(GstBuffer* buffer, const FrameLayout& layout) noexcept;

    /// The frame's pixel bytes: once packed for a frame with padded rows, the whole buffer
    /// for one whose rows are packed already (and for a frame without layout).
    std::size_t size() const noexcept { return m_size; }
    /// Whether the frame goes over in one call.
    bool packed() const noexcept { return m_packed; }

    /// Copies the frame's pixels into `destination`, rows packed, plane after plane, in one
    /// pass; never more than `capacity` bytes, and never from beyond the end of the buffer.
    /// Returns the bytes written. Allocates nothing (the buffer is mapped for reading).
    std::size_t copyTo(std::uint8_t* destination, std::size_t capacity) const noexcept;

private:
    /// Takes the rows of `meta` when they fit the layout and are not packed; padded frames
    /// that describe their own rows are rare, so this stays out of the common frame's code.
    void useVideoMeta(const GstVideoMeta& meta) noexcept;
    /// The rows of plane `index`: the video meta's offset and stride when the frame uses it,
    /// the layout's otherwise.
    PlaneRows plane(unsigned index) const noexcept;

    GstBuffer* m_buffer;
    const FrameLayout& m_layout;
    // The buffer's video meta when its rows are the ones to copy; null for the negotiated
    // layout (the common frame, which then needs nothing more worked out).
    const GstVideoMeta* m_meta = nullptr;
    std::size_t m_size = 0;
    bool m_packed = true;
};

}  // namespace zelt_camera
