// Which of a camera's caps structures the source element can produce.
#include <gst/video/video.h>

#include "vcam_src.h"

namespace zelt::vcam {
namespace {

bool is_known_format(const GValue* value) {
    if (!G_VALUE_HOLDS_STRING(value) || g_value_get_string(value) == nullptr) return false;
    const GstVideoFormat format = gst_video_format_from_string(g_value_get_string(value));
    return format != GST_VIDEO_FORMAT_UNKNOWN && format != GST_VIDEO_FORMAT_ENCODED;
}

bool has_known_formats(const GstStructure* structure) {
    const GValue* value = gst_structure_get_value(structure, "format");
    if (value == nullptr) return false;
    if (GST_VALUE_HOLDS_LIST(value)) {
        const guint size = gst_value_list_get_size(value);
        if (size == 0) return false;
        for (guint i = 0; i < size; ++i) {
            if (!is_known_format(gst_value_list_get_value(value, i))) return false;
        }
        return true;
    }
    return is_known_format(value);
}

bool is_positive_int(const GValue* value) {
    return G_VALUE_HOLDS_INT(value) && g_value_get_int(value) > 0;
}

bool has_size(const GstStructure* structure, const char* field) {
    const GValue* value = gst_structure_get_value(structure, field);
    if (value == nullptr) return false;
    if (GST_VALUE_HOLDS_INT_RANGE(value)) return gst_value_get_int_range_max(value) > 0;
    if (GST_VALUE_HOLDS_LIST(value)) {
        const guint size = gst_value_list_get_size(value);
        if (size == 0) return false;
        for (guint i = 0; i < size; ++i) {
            if (!is_positive_int(gst_value_list_get_value(value, i))) return false;
        }
        return true;
    }
    return is_positive_int(value);
}

bool is_positive_fraction(const GValue* value) {
    return GST_VALUE_HOLDS_FRACTION(value) && gst_value_get_fraction_numerator(value) > 0 &&
           gst_value_get_fraction_denominator(value) > 0;
}

// A rate the element can pace by: 0/1 (variable rate) and empty lists are not.
bool has_usable_rate(const GstStructure* structure) {
    const GValue* value = gst_structure_get_value(structure, "framerate");
    if (value == nullptr) return false;
    if (GST_VALUE_HOLDS_FRACTION_RANGE(value)) {
        return is_positive_fraction(gst_value_get_fraction_range_max(value));
    }
    if (GST_VALUE_HOLDS_LIST(value)) {
        const guint size = gst_value_list_get_size(value);
        if (size == 0) return false;
        for (guint i = 0; i < size; ++i) {
            if (!is_positive_fraction(gst_value_list_get_value(value, i))) return false;
        }
        return true;
    }
    return is_positive_fraction(value);
}

}  // namespace

GstCaps* producible_caps(const GstCaps* camera_caps) {
    GstCaps* producible = gst_caps_new_empty();
    if (camera_caps == nullptr || gst_caps_is_any(camera_caps)) return producible;
    for (guint i = 0; i < gst_caps_get_size(camera_caps); ++i) {
        const GstStructure* structure = gst_caps_get_structure(camera_caps, i);
        if (!gst_structure_has_name(structure, "video/x-raw")) continue;
        if (!has_known_formats(structure) || !has_size(structure, "width") ||
            !has_size(structure, "height") || !has_usable_rate(structure)) {
            continue;
        }
        gst_caps_append_structure(producible, gst_structure_copy(structure));
    }
    return producible;
}

}  // namespace zelt::vcam
