// Fuzz target of the caps text parser.
//
// Any text may be rejected (std::runtime_error "Could not parse ...") or may carry a zero
// denominator (boost::bad_rational); neither may crash. A text that parses writes a text that
// parses back to the same size and rate. No assertion handler is installed, so the parser's
// "Could not parse" report returns and the parse goes on to throw.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>

#include "zelt_camera_caps.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::optional<zelt_camera::Caps> parsed;
    try {
        parsed = zelt_camera::parse_caps(text);
    } catch (const std::exception&) {
        return 0;
    }

    // Outside the try: a written text that does not read back is a bug, not a rejection.
    const zelt_camera::Caps again = zelt_camera::parse_caps(zelt_camera::caps_to_string(*parsed));
    if (again.width != parsed->width || again.height != parsed->height ||
        again.framerate != parsed->framerate || again.pixel_aspect_ratio != 1.0 ||
        !again.format.empty())
        std::abort();
    return 0;
}
