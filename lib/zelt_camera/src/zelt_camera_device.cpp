#include "zelt_camera_device.h"

#include "gst_support/gst_ptr.h"

namespace zelt_camera {

std::optional<std::string> device_string_property(GstDevice* device, const char* name) {
    if (g_object_class_find_property(G_OBJECT_GET_CLASS(device), name) == nullptr) return {};
    gchar* value = nullptr;
    g_object_get(device, name, &value, nullptr);
    const gst_support::GCharPtr owned(value);
    if (!owned) return {};
    return std::string(owned.get());
}

std::string get_device_path(GstDevice* device) {
    if (auto path = device_string_property(device, "path")) return *path;
    return device_string_property(device, "device-path").value_or(std::string());
}

std::string device_provider_name(GstDevice* device) {
    // A started provider parents the devices it announces.
    const gst_support::ObjectPtr<GstObject> parent(gst_object_get_parent(GST_OBJECT(device)));
    if (!parent || !GST_IS_DEVICE_PROVIDER(parent.get())) return {};
    GstDeviceProviderFactory* factory =
        gst_device_provider_get_factory(GST_DEVICE_PROVIDER(parent.get()));
    return factory != nullptr ? GST_OBJECT_NAME(factory) : std::string();
}

std::pair<std::string, std::string> make_device_key(const std::string& path) {
    const auto hash = path.rfind('#');
    if (hash == std::string::npos) return {path, {}};
    return {path.substr(0, hash), path.substr(hash + 1)};
}

}  // namespace zelt_camera
