// The camera's image buffer: header and pixels of one frame in page-backed memory.
#pragma once

#include <cstddef>
#include <cstdint>

namespace image {

/// The wire header in front of every image sample: 12 bytes, little-endian, packed.
struct ImageDataHeader {
    std::uint32_t format;  ///< FourCC code of the pixel format
    std::uint32_t width;   ///< pixels
    std::uint32_t height;  ///< pixels
};
static_assert(sizeof(ImageDataHeader) == 12, "the image header is 12 bytes on the wire");

}  // namespace image

namespace zelt_camera {

/// A byte buffer in whole pages of its own. Allocated once per start of a camera; frames are
/// copied into it without any further allocation.
class PageBuffer {
public:
    PageBuffer() = default;
    PageBuffer(const PageBuffer&) = delete;
    PageBuffer& operator=(const PageBuffer&) = delete;
    ~PageBuffer() { release(); }

    /// Makes the buffer `size` bytes, zero-filled. The same size again reuses the region
    /// (decommit and commit at the same address). On failure the buffer is empty.
    void resize(std::size_t size) noexcept;
    /// Frees the region; nothing happens when empty.
    void release() noexcept;

    bool empty() const noexcept { return m_data == nullptr; }
    std::uint8_t* data() noexcept { return m_data; }
    const std::uint8_t* data() const noexcept { return m_data; }
    std::size_t size() const noexcept { return m_size; }

private:
    std::uint8_t* m_data = nullptr;
    std::size_t m_size = 0;
};

}  // namespace zelt_camera
