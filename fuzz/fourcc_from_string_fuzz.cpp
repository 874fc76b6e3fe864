// Fuzz target of the FourCC half of the pixel formats: a format name from any bytes, and the
// code, table row and image size of any four bytes.
//
// fourcc_from_string may only refuse with std::invalid_argument; a name it accepts is one of
// the table's names in other letter case, so its code has a table row and its own name reads
// back to the same code. The other functions are fed the same bytes: to_fourcc_name never
// throws, pixel_format_info refuses with std::invalid_argument only, and image_payload_bytes
// wraps instead of overflowing (UBSan watches the arithmetic).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>

#include "zelt_camera_caps.h"

namespace {

std::uint32_t read_u32(const std::uint8_t* data, std::size_t size, std::size_t offset) {
    std::uint32_t value = 0;
    if (size >= offset + 4) std::memcpy(&value, data + offset, 4);
    return value;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string name(reinterpret_cast<const char*>(data), size);

    std::uint32_t code = 0;
    bool accepted = false;
    try {
        code = zelt_camera::fourcc_from_string(name);
        accepted = true;
    } catch (const std::invalid_argument&) {
    }
    if (accepted) {
        // Outside any try: a refusal here is a bug, not a rejection.
        zelt_camera::pixel_format_info(code);
        const std::string own_name = zelt_camera::fourcc_to_string(code);
        if (own_name.size() != name.size() || zelt_camera::fourcc_from_string(own_name) != code)
            std::abort();
    }

    // The GStreamer-name mapping takes any text.
    const std::string mapped = zelt_camera::to_fourcc_name(name);
    if (mapped.empty() != name.empty()) std::abort();

    // Any four bytes as a code; the next eight as width and height of a frame.
    const std::uint32_t raw_code = read_u32(data, size, 0);
    const std::string raw_name = zelt_camera::fourcc_to_string(raw_code);
    if (raw_name.size() > 4) std::abort();
    try {
        const zelt_camera::PixelFormatInfo& info = zelt_camera::pixel_format_info(raw_code);
        const auto width = static_cast<std::int32_t>(read_u32(data, size, 4));
        const auto height = static_cast<std::int32_t>(read_u32(data, size, 8));
        zelt_camera::image_payload_bytes(info, width, height);
    } catch (const std::invalid_argument&) {
    }
    return 0;
}
