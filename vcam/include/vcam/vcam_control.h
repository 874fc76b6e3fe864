// Header-only C++ helpers that drive the virtual cameras from a test, in either registration
// route: they use the environment variable and the provider's action signals only, so a
// process that loads libgstzeltvcam.so through the registry needs nothing linked.
//
//   zelt::vcam::useDefaultCameras(2);                 // ZELT_VIRTUAL_CAMERAS=2
//   zelt::vcam::CameraDescription camera;
//   camera.name = "Desk camera";
//   camera.device_path = "/dev/video9";
//   camera.caps = {"video/x-raw, format=YUY2, width=64, height=48, framerate=100/1, "
//                  "pixel-aspect-ratio=1/1"};
//   zelt::vcam::ProviderControl control;               // the process's provider
//   control.addCamera(camera);                        // device-added while started
//   control.removeCamera("Desk camera");              // device-removed while started
//   control.reset();
//
// The environment is read at each probe and start of the provider: set it before starting a
// device monitor (or before asking a stopped monitor for its devices).
#pragma once

#include <glib.h>
#include <gst/gst.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "gst_support/gst_ptr.h"
#include "vcam/vcam.h"

namespace zelt::vcam {

/// One camera as the JSON format describes it (docs/virtual-cameras.md).
struct CameraDescription {
    std::string name;               ///< display name (required)
    std::optional<std::string> id;  ///< what removeCamera names; the name when absent
    bool media_foundation = false;  ///< device type name "GstMFDevice" instead of the default
    /// GObject type name of the device (overrides media_foundation); absent: the default.
    std::optional<std::string> device_type;
    std::optional<std::string> device_class;  ///< class text; absent: "Video/Source"
    /// The properties structure as a JSON object text ("{\"device.api\": \"v4l2\"}") or
    /// "null" for none; absent: the provider's own.
    std::optional<std::string> properties_json;
    bool hiding_provider = false;            ///< offered by the provider that hides the main one
    std::optional<std::string> path;         ///< property "path"; absent: NULL
    std::optional<std::string> device_path;  ///< property "device-path"; absent: NULL
    /// Caps strings, one or more structures each (a string may hold several lines, as the
    /// device monitor prints them), kept as written; absent: the default camera's modes. An
    /// empty vector is a camera without modes.
    std::optional<std::vector<std::string>> caps;
    bool benchmark = false;
    bool fail_link = false;
    bool never_first_frame = false;
    std::int64_t error_after_frames = -1;  ///< -1: never

    /// The JSON object of this camera.
    std::string toJson() const;
};

/// A JSON string literal of `text`, quotes included.
inline std::string jsonQuote(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\t':
                out += "\\t";
                break;
            case '\r':
                out += "\\r";
                break;
            default:
                if (static_cast<unsigned char>(c) < 0x20) {
                    char escaped[8];
                    std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
                    out += escaped;
                } else {
                    out += c;
                }
        }
    }
    return out + "\"";
}

inline std::string CameraDescription::toJson() const {
    std::string json = "{\"name\": " + jsonQuote(name);
    if (id) json += ", \"id\": " + jsonQuote(*id);
    if (device_type) {
        json += ", \"device_type\": " + jsonQuote(*device_type);
    } else {
        json += std::string(", \"device_type\": ") +
                (media_foundation ? "\"" ZELT_VCAM_MF_DEVICE_TYPE_NAME "\"" : "\"default\"");
    }
    if (device_class) json += ", \"class\": " + jsonQuote(*device_class);
    if (properties_json) json += ", \"properties\": " + *properties_json;
    if (hiding_provider) json += ", \"provider\": \"hiding\"";
    if (path) json += ", \"path\": " + jsonQuote(*path);
    if (device_path) json += ", \"device_path\": " + jsonQuote(*device_path);
    if (caps) {
        json += ", \"caps\": [";
        for (size_t i = 0; i < caps->size(); ++i) {
            json += (i == 0 ? "" : ", ") + jsonQuote((*caps)[i]);
        }
        json += "]";
    }
    if (benchmark) json += ", \"benchmark\": true";
    if (fail_link) json += ", \"fail_link\": true";
    if (never_first_frame) json += ", \"never_first_frame\": true";
    if (error_after_frames >= 0) {
        json += ", \"error_after_frames\": " + std::to_string(error_after_frames);
    }
    return json + "}";
}

/// The document {"cameras": [...]} of `cameras`.
inline std::string camerasDocument(const std::vector<CameraDescription>& cameras) {
    std::string json = "{\"cameras\": [";
    for (size_t i = 0; i < cameras.size(); ++i) {
        json += (i == 0 ? "\n  " : ",\n  ") + cameras[i].toJson();
    }
    return json + "\n]}\n";
}

/// ZELT_VIRTUAL_CAMERAS=count: that many default cameras.
inline void useDefaultCameras(unsigned count) {
    g_setenv(ZELT_VCAM_ENVIRONMENT_VARIABLE, std::to_string(count).c_str(), TRUE);
}

/// ZELT_VIRTUAL_CAMERAS=path: the cameras of that JSON file.
inline void useCameraFile(const std::string& path) {
    g_setenv(ZELT_VCAM_ENVIRONMENT_VARIABLE, path.c_str(), TRUE);
}

/// Writes the document of `cameras` to `path` and points ZELT_VIRTUAL_CAMERAS at it.
/// Throws std::runtime_error when the file cannot be written.
inline void useCameras(const std::string& path, const std::vector<CameraDescription>& cameras) {
    const std::string document = camerasDocument(cameras);
    GError* raw_error = nullptr;
    if (!g_file_set_contents(path.c_str(), document.c_str(), static_cast<gssize>(document.size()),
                             &raw_error)) {
        const gst_support::GErrorPtr error(raw_error);
        throw std::runtime_error("cannot write " + path + ": " + error->message);
    }
    useCameraFile(path);
}

/// Unsets ZELT_VIRTUAL_CAMERAS.
inline void clearEnvironmentCameras() { g_unsetenv(ZELT_VCAM_ENVIRONMENT_VARIABLE); }

/// One provider instance of this process (the main one unless `provider_name` names the
/// hiding one), reached through the registry, and its action signals. Requires gst_init and
/// the plug-in registered (either route). A camera is offered only by the provider its
/// description names: add a `hiding_provider` camera through the hiding provider's control.
class ProviderControl {
public:
    /// Throws std::runtime_error when no such provider factory is registered.
    explicit ProviderControl(const char* provider_name = ZELT_VCAM_PROVIDER_NAME)
        : m_provider(gst_device_provider_factory_get_by_name(provider_name)) {
        if (!m_provider) {
            throw std::runtime_error(std::string("no device provider '") + provider_name +
                                     "': is the plug-in on GST_PLUGIN_PATH or registered?");
        }
    }
    ProviderControl(const ProviderControl&) = delete;
    ProviderControl& operator=(const ProviderControl&) = delete;

    /// The provider. (transfer none)
    GstDeviceProvider* provider() const { return m_provider.get(); }

    /// Offers `camera` until removed or reset. False when the description is refused.
    bool addCamera(const CameraDescription& camera) { return addJson(camera.toJson()); }

    /// Offers the cameras of a JSON camera object or {"cameras": [...]} document.
    bool addJson(const std::string& json) {
        gboolean added = FALSE;
        g_signal_emit_by_name(m_provider.get(), ZELT_VCAM_SIGNAL_ADD_CAMERA, json.c_str(), &added);
        return added != FALSE;
    }

    /// Withdraws every camera with this id (added or from the environment).
    bool removeCamera(const std::string& id) {
        gboolean removed = FALSE;
        g_signal_emit_by_name(m_provider.get(), ZELT_VCAM_SIGNAL_REMOVE_CAMERA, id.c_str(),
                              &removed);
        return removed != FALSE;
    }

    /// Forgets the added cameras and the withdrawn ids.
    void reset() { g_signal_emit_by_name(m_provider.get(), ZELT_VCAM_SIGNAL_RESET); }

    /// Why the last description was refused; empty when none was.
    std::string lastError() const {
        gchar* raw_text = nullptr;
        g_object_get(m_provider.get(), ZELT_VCAM_PROPERTY_LAST_ERROR, &raw_text, nullptr);
        const gst_support::GCharPtr text(raw_text);
        return text ? text.get() : "";
    }

private:
    gst_support::ObjectPtr<GstDeviceProvider> m_provider;
};

}  // namespace zelt::vcam
