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

/// The pixels of an image sample start on this boundary (one cache line): the frame copy then
/// writes whole, aligned cache lines, as fast as into any aligned buffer.
constexpr std::size_t kPixelAlignment = 64;
/// Where the image header sits in its page-backed region: 52 bytes in, so that the pixels
/// behind the 12-byte header start at byte 64.
constexpr std::size_t kImageHeaderLead = kPixelAlignment - sizeof(image::ImageDataHeader);

/// A byte buffer in whole pages of its own. Allocated once per start of a camera; frames are
/// copied into it without any further allocation.
///
/// The buffer's bytes start `lead` bytes into the region (the region is that much larger):
/// the camera's image buffer keeps kImageHeaderLead there, so data() points at the header
/// and data() + 12 at a 64-byte boundary.
class PageBuffer {
public:
    explicit PageBuffer(std::size_t lead = kImageHeaderLead) noexcept : m_lead(lead) {}
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
    /// Bytes of the region in front of data().
    std::size_t lead() const noexcept { return m_lead; }

private:
    std::uint8_t* region() noexcept { return m_data - m_lead; }

    std::size_t m_lead;
    std::uint8_t* m_data = nullptr;
    std::size_t m_size = 0;
};

}  // namespace zelt_camera
