#include "zelt_camera_caps_controller.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <utility>

#include "config_items/log.h"
#include "gst_support/gst_ptr.h"
#include "uni/assertion_report.h"
#include "zeltpu/log.h"

namespace zelt_camera {
namespace {

constexpr const char* kSource = "lib/zelt_camera/src/zelt_camera_caps_controller";

constexpr const char* kRawVideo = "video/x-raw";
constexpr const char* kWidthField = "width";
constexpr const char* kHeightField = "height";
constexpr const char* kFramerateField = "framerate";
constexpr const char* kPixelAspectRatioField = "pixel-aspect-ratio";
constexpr const char* kFormatField = "format";

constexpr const char* kCannotRetrieveValue = "Cannot retrieve value for ";
constexpr const char* kCannotRetrieveFramerate = "Cannot retrieve frame rate";
constexpr const char* kUnknownFramerateType = "Do not know how to extract frame rate";
constexpr const char* kEmptyFramerateList = "Found an empty list of frame rates";
constexpr const char* kCannotRetrievePixelAspectRatio = "Cannot retrieve pixel aspect ratio";
constexpr const char* kCannotRetrieveFormat = "Cannot retrieve image format";
constexpr const char* kCapsNotFound = "Caps not found";
constexpr const char* kCouldNotSetCaps = "Could not set new caps for string '";
constexpr const char* kErrorInsertingOption = "Error inserting option constraint: ";

// The width the default mode is chosen closest to.
constexpr std::int64_t kDefaultWidth = 640;

// The formats a camera channel accepts, in its order of preference.
constexpr std::array<const char*, 6> kCameraFormats{"I420", "YV12", "NV12", "YUY2", "RGB", "BGR"};

using Rate = boost::rational<int>;

int requiredInt(const GstStructure* structure, const char* field) {
    int value = 0;
    if (!gst_structure_get_int(structure, field, &value))
        throw std::invalid_argument(std::string(kCannotRetrieveValue) + field);
    return value;
}

// A single frame-rate value; only a fraction is one.
Rate fractionRate(const GValue* value) {
    if (!GST_VALUE_HOLDS_FRACTION(value)) throw std::runtime_error(kUnknownFramerateType);
    return make_framerate(gst_value_get_fraction_numerator(value),
                          gst_value_get_fraction_denominator(value));
}

// The highest rate the "framerate" field offers: of a list the largest element (the first
// of equal ones, and never less than 0/1), of a range its maximum.
Rate highestRate(const GstStructure* structure) {
    const GValue* value = gst_structure_get_value(structure, kFramerateField);
    if (value == nullptr) throw std::runtime_error(kCannotRetrieveFramerate);

    if (GST_VALUE_HOLDS_LIST(value)) {
        const guint size = gst_value_list_get_size(value);
        if (size == 0) {
            UNI_LOG(unilogger_zelt_plugin_camera, ULS_WARNING) << kEmptyFramerateList;
            return Rate(0, 1);
        }
        Rate highest(0, 1);
        for (guint i = 0; i < size; ++i) {
            const Rate rate = fractionRate(gst_value_list_get_value(value, i));
            if (rate > highest) highest = rate;
        }
        return highest;
    }
    if (GST_VALUE_HOLDS_FRACTION_RANGE(value))
        return fractionRate(gst_value_get_fraction_range_max(value));
    return fractionRate(value);
}

double pixelAspectRatio(const GstStructure* structure) {
    int numerator = 0;
    int denominator = 1;
    if (!gst_structure_get_fraction(structure, kPixelAspectRatioField, &numerator, &denominator))
        throw std::runtime_error(kCannotRetrievePixelAspectRatio);
    double ratio = 0.0;
    gst_util_fraction_to_double(numerator, denominator, &ratio);
    return ratio;
}

std::string imageFormat(const GstStructure* structure) {
    const gchar* format = gst_structure_get_string(structure, kFormatField);
    if (format == nullptr) throw std::runtime_error(kCannotRetrieveFormat);
    return format;
}

// Modes equal in everything but the format: only the first of them is offered.
bool sameMode(const Caps& a, const Caps& b) {
    return a.width == b.width && a.height == b.height &&
           a.framerate.numerator() == b.framerate.numerator() &&
           a.framerate.denominator() == b.framerate.denominator() &&
           a.pixel_aspect_ratio == b.pixel_aspect_ratio;
}

std::size_t cameraFormatRank(const std::string& format) {
    const auto found = std::find(kCameraFormats.begin(), kCameraFormats.end(), format);
    return static_cast<std::size_t>(std::distance(kCameraFormats.begin(), found));
}

// floor(rate) for a normalized rate (positive denominator).
int floorOf(const Rate& rate) {
    const int quotient = rate.numerator() / rate.denominator();
    return rate.numerator() < 0 && rate.numerator() % rate.denominator() != 0 ? quotient - 1
                                                                              : quotient;
}

}  // namespace

CapsController::CapsController(const Filter& filter, const FormatLess& format_less,
                               const OnChange& on_change_callback)
    : m_filter(filter), m_format_less(format_less), m_on_change_callback(on_change_callback) {
    uni::check(static_cast<bool>(m_on_change_callback), "m_on_change_callback", kSource, __LINE__);
}

gboolean CapsController::readStructureCallback(GstCapsFeatures* /*features*/,
                                               GstStructure* structure, gpointer data) {
    if (!uni::check(data != nullptr, "data", kSource, __LINE__)) return TRUE;
    auto* controller = static_cast<CapsController*>(data);
    try {
        controller->readStructure(structure);
    } catch (...) {
        controller->m_walk_error = std::current_exception();
        return FALSE;
    }
    return TRUE;
}

void CapsController::readStructure(const GstStructure* structure) {
    if (!gst_structure_has_name(structure, kRawVideo)) return;

    Caps caps;
    // A missing size is of another kind than the faults below: it is not caught here and
    // ends the update.
    caps.width = requiredInt(structure, kWidthField);
    caps.height = requiredInt(structure, kHeightField);
    try {
        caps.framerate = highestRate(structure);
        caps.pixel_aspect_ratio = pixelAspectRatio(structure);
        caps.format = imageFormat(structure);
        m_caps.push_back(std::move(caps));
    } catch (const std::runtime_error& error) {
        UNI_LOG(unilogger_zelt_plugin_camera, ULS_ERROR) << error.what();
    }
}

void CapsController::update(GstDevice* device) {
    m_caps.clear();

    const gst_support::CapsPtr device_caps(gst_device_get_caps(device));  // transfer full
    if (device_caps) {
        m_walk_error = nullptr;
        gst_caps_foreach(device_caps.get(), &CapsController::readStructureCallback, this);
        if (m_walk_error) std::rethrow_exception(std::exchange(m_walk_error, nullptr));
    }

    m_caps.erase(std::remove_if(m_caps.begin(), m_caps.end(),
                                [this](const Caps& caps) { return !m_filter(caps); }),
                 m_caps.end());

    std::sort(m_caps.begin(), m_caps.end(), [this](const Caps& a, const Caps& b) {
        if (a.width != b.width) return a.width > b.width;
        if (a.height != b.height) return a.height > b.height;
        if (a.framerate != b.framerate) return a.framerate > b.framerate;
        if (a.pixel_aspect_ratio != b.pixel_aspect_ratio)
            return a.pixel_aspect_ratio > b.pixel_aspect_ratio;
        return m_format_less(a.format, b.format);
    });

    m_caps.erase(std::unique(m_caps.begin(), m_caps.end(), sameMode), m_caps.end());

    if (m_caps.empty()) return;
    // The default goes by its text through set_from_string, the same path and callback as a
    // user's choice; whether it is accepted is not examined.
    const auto distance = [](const Caps& caps) {
        const std::int64_t difference = static_cast<std::int64_t>(caps.width) - kDefaultWidth;
        return difference < 0 ? -difference : difference;
    };
    const auto closest = std::min_element(
        m_caps.begin(), m_caps.end(),
        [&distance](const Caps& a, const Caps& b) { return distance(a) < distance(b); });
    set_from_string(caps_to_string(*closest));
}

bool CapsController::set_from_string(const std::string& text) {
    try {
        const Caps parsed = parse_caps(text);
        // The size alone picks the mode: the first of that size in offer order, which has the
        // highest rate. The rate of the text is deliberately not compared.
        const auto found = std::find_if(m_caps.begin(), m_caps.end(), [&parsed](const Caps& caps) {
            return caps.width == parsed.width && caps.height == parsed.height;
        });
        if (found == m_caps.end()) throw std::runtime_error(kCapsNotFound);

        const Caps chosen = *found;
        if (!m_on_change_callback(chosen)) throw std::runtime_error(kCouldNotSetCaps + text + "'");
        m_current = chosen;
        return true;
    } catch (...) {
        m_current.reset();
        return false;
    }
}

std::optional<Caps> CapsController::current() const { return m_current; }

std::optional<std::string> CapsController::current_string() const {
    if (!m_current) return std::nullopt;
    return caps_to_string(*m_current);
}

config_items::ConstraintList CapsController::constraints() const {
    config_items::ConstraintList constraints;
    constraints.reserve(m_caps.size() + 1);
    // One option constraint holds one choice; the list of them is the list of choices.
    for (const Caps& caps : m_caps) {
        try {
            constraints.push_back(
                std::make_shared<config_items::OptionConstraint<config_items::StringConfigItem>>(
                    config_items::StringConfigItem(caps_to_string(caps))));
        } catch (const std::exception& error) {
            UNI_LOG(unilogger_CONFIG_ITEMS, ULS_ERROR) << kErrorInsertingOption << error.what();
        }
    }
    constraints.push_back(
        std::make_shared<channel_config::ConfigurableDuringAcquisitionConstraint>(false));
    return constraints;
}

bool camera_caps_filter(const Caps& caps) {
    const bool positive_rate = caps.framerate != Rate(0, 1) && floorOf(caps.framerate) >= 0;
    return positive_rate && cameraFormatRank(caps.format) < kCameraFormats.size();
}

bool camera_format_less(const std::string& a, const std::string& b) {
    return cameraFormatRank(a) < cameraFormatRank(b);
}

}  // namespace zelt_camera
