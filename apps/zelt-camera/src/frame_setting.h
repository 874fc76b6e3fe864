// Frame settings as the tool reads them: "640 x 480 @ 30 fps", "1920 x 1080 @ 30000/1001 fps".
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zelt::cli {

/// One frame setting: size and rate (a reduced fraction with a positive denominator).
struct FrameSetting {
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t rate_numerator = 0;
    std::int64_t rate_denominator = 1;

    friend bool operator==(const FrameSetting& a, const FrameSetting& b) noexcept {
        return a.width == b.width && a.height == b.height && a.rate_numerator == b.rate_numerator &&
               a.rate_denominator == b.rate_denominator;
    }
};

/// Reads "W x H @ N[/D] fps": blanks anywhere between the parts, none inside "N/D", "x" "@"
/// and "fps" as written (lower case), nothing after "fps" but blanks. The rate is reduced
/// ("60/2" is 30). Nothing when the text is not of this form or the denominator is 0.
std::optional<FrameSetting> parseFrameSetting(const std::string& text);

/// The text form "640 x 480 @ 30 fps" (the "/D" only when D is not 1).
std::string frameSettingText(const FrameSetting& setting);

/// The entry of `offered` (the texts a camera offers) that names the same size and rate as
/// `wanted`, returned as the camera writes it; nothing when `wanted` does not parse or no
/// entry matches. Unlike the camera, which picks a mode by its size alone, the tool insists
/// on the rate too, so that "640 x 480 @ 15 fps" never silently records at 30.
std::optional<std::string> findOfferedSetting(const std::vector<std::string>& offered,
                                              const std::string& wanted);

}  // namespace zelt::cli
