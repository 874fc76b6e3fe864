// The header in front of every image sample, as the host reads it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace zelt::host {

/// The 12 bytes that precede the pixels of every image sample a camera delivers: pixel-format
/// code, width and height in pixels, each an unsigned 32-bit little-endian number. The host
/// keeps its own definition of this wire format; it never includes a plug-in's headers.
struct ImageDataHeader {
    std::uint32_t format = 0;  // FourCC: name characters from the lowest byte up
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    friend bool operator==(const ImageDataHeader& a, const ImageDataHeader& b) noexcept {
        return a.format == b.format && a.width == b.width && a.height == b.height;
    }
    friend bool operator!=(const ImageDataHeader& a, const ImageDataHeader& b) noexcept {
        return !(a == b);
    }
};

/// Size of the header on the wire.
inline constexpr std::size_t kImageDataHeaderSize = 12;

/// Reads the header from the first 12 bytes of a sample; nothing when `size` is smaller
/// (such as a frame counter's 4-byte sample). Alignment of `data` does not matter.
std::optional<ImageDataHeader> parseImageDataHeader(const void* data, std::size_t size) noexcept;

/// Writes `header` as 12 little-endian bytes to `out`.
void writeImageDataHeader(const ImageDataHeader& header, void* out) noexcept;

/// The four characters of a FourCC code, lowest byte first ("YUY2"); bytes outside printable
/// ASCII are written as '?'.
std::string formatCodeText(std::uint32_t code);

}  // namespace zelt::host
