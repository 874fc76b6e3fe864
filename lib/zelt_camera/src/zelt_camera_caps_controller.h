// The frame-setting choices of one camera.
//
// A CapsController reads the video modes a GStreamer device offers, keeps those its owner
// accepts, in a fixed order and without duplicates, offers their texts ("640 x 480 @ 30 fps")
// as the allowed values of the channel's frame-setting option, picks a default, and turns
// the text the user chooses back into a Caps that it hands to its owner.
#pragma once

#include <gst/gst.h>

#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "config_items/config_item_constraints.h"
#include "zelt_camera_caps.h"

namespace zelt_camera {

class CapsController {
public:
    /// Keeps a mode when it answers true.
    using Filter = std::function<bool(const Caps&)>;
    /// Strict order of format names: the last sort key, so that of several formats of one
    /// mode the first in this order is offered.
    using FormatLess = std::function<bool(const std::string&, const std::string&)>;
    /// Told of every newly chosen mode; answers false to refuse it.
    using OnChange = std::function<bool(const Caps&)>;

    /// Stores copies of the three functions. An empty `on_change_callback` is reported as the
    /// assertion "m_on_change_callback"; every later choice then fails.
    CapsController(const Filter& filter, const FormatLess& format_less,
                   const OnChange& on_change_callback);
    CapsController(const CapsController&) = delete;
    CapsController& operator=(const CapsController&) = delete;

    /// Re-reads the modes of `device` (transfer none) and chooses the default: the mode whose
    /// width is closest to 640, the earlier one on a tie. A device structure without an
    /// integer "width" or "height" ends the update with std::invalid_argument("Cannot
    /// retrieve value for width"/"... height"); other faulty structures are logged and
    /// skipped. When no mode is left the current choice stays as it was.
    void update(GstDevice* device);

    /// Chooses the first offered mode of the text's width and height (the text's rate is
    /// not compared: the mode of that size with the highest rate wins) and hands it to the
    /// change callback. Returns false, and forgets the current choice, when the text does not
    /// parse, no mode has that size, or the callback refuses or throws.
    bool set_from_string(const std::string& text);

    /// The chosen mode, if any.
    std::optional<Caps> current() const;
    /// The text of the chosen mode, if any.
    std::optional<std::string> current_string() const;

    /// The constraints of the frame-setting option: one OptionConstraint<StringConfigItem>
    /// per offered mode, holding its text, in offer order (a list of option constraints is
    /// the list of choices), then ConfigurableDuringAcquisitionConstraint(false).
    config_items::ConstraintList constraints() const;

    /// The offered modes, in offer order.
    const std::vector<Caps>& offered() const noexcept { return m_caps; }

    /// The per-structure step of the walk over a device's caps (a GstCapsForeachFunc; `data`
    /// is the CapsController). Always answers TRUE, except when an error has to leave the
    /// walk: it is then kept for update() to rethrow, and the walk is stopped, since no
    /// exception may cross GStreamer's frames. A null `data` is reported as the assertion
    /// "data".
    static gboolean readStructureCallback(GstCapsFeatures* features, GstStructure* structure,
                                          gpointer data);

private:
    void readStructure(const GstStructure* structure);

    Filter m_filter;
    FormatLess m_format_less;
    OnChange m_on_change_callback;
    std::vector<Caps> m_caps;
    std::optional<Caps> m_current;
    // An error that ends the walk over the device's caps, carried past gst_caps_foreach.
    std::exception_ptr m_walk_error;
};

/// The camera channel's filter: a positive frame rate (computed as "rate is not 0/1 and the
/// floor of the rate is at least 0") and a format among "I420", "YV12", "NV12", "YUY2",
/// "RGB", "BGR".
bool camera_caps_filter(const Caps& caps);

/// The camera channel's format order: the rank in "I420", "YV12", "NV12", "YUY2", "RGB",
/// "BGR"; names outside that list rank after all of them.
bool camera_format_less(const std::string& a, const std::string& b);

}  // namespace zelt_camera
