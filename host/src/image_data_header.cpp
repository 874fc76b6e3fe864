#include "zelt_host/image_data_header.h"

namespace zelt::host {
namespace {

std::uint32_t readLittleEndian32(const unsigned char* bytes) noexcept {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

void writeLittleEndian32(std::uint32_t value, unsigned char* bytes) noexcept {
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(value >> (8 * i));
}

}  // namespace

std::optional<ImageDataHeader> parseImageDataHeader(const void* data, std::size_t size) noexcept {
    if (data == nullptr || size < kImageDataHeaderSize) return std::nullopt;
    const auto* bytes = static_cast<const unsigned char*>(data);
    ImageDataHeader header;
    header.format = readLittleEndian32(bytes);
    header.width = readLittleEndian32(bytes + 4);
    header.height = readLittleEndian32(bytes + 8);
    return header;
}

void writeImageDataHeader(const ImageDataHeader& header, void* out) noexcept {
    auto* bytes = static_cast<unsigned char*>(out);
    writeLittleEndian32(header.format, bytes);
    writeLittleEndian32(header.width, bytes + 4);
    writeLittleEndian32(header.height, bytes + 8);
}

std::string formatCodeText(std::uint32_t code) {
    std::string text(4, '?');
    for (int i = 0; i < 4; ++i) {
        const auto c = static_cast<unsigned char>(code >> (8 * i));
        if (c >= 0x20 && c < 0x7F) text[static_cast<std::size_t>(i)] = static_cast<char>(c);
    }
    return text;
}

}  // namespace zelt::host
