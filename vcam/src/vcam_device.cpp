#include "vcam_device.h"

#include <mutex>

#include "debug.h"
#include "vcam/vcam.h"

struct ZeltVcamDevicePrivate {
    zelt::vcam::CameraSpecPtr camera;
    gst_support::GCharPtr path;
    gst_support::GCharPtr device_path;
};

namespace {

enum { PROP_0, PROP_PATH, PROP_DEVICE_PATH };

// Name of the structure that gst_device_get_properties() returns, after the provider.
constexpr const char* kPropertiesName = "zeltvcamdeviceprovider";

GstElement* create_element(GstDevice* device, const gchar* name) {
    const zelt::vcam::CameraSpecPtr camera = zelt::vcam::device_spec(device);
    if (!camera) return nullptr;
    GstElement* element = gst_element_factory_make(ZELT_VCAM_ELEMENT_NAME, name);
    if (element == nullptr) {
        GST_ERROR_OBJECT(device, "no element factory '%s'", ZELT_VCAM_ELEMENT_NAME);
        return nullptr;
    }
    const std::string unplug_text = zelt::vcam::unplug_device_text(*camera);
    g_object_set(element, "camera-caps", camera->caps.get(), "device-path", unplug_text.c_str(),
                 "benchmark", static_cast<gboolean>(camera->benchmark), "fail-link",
                 static_cast<gboolean>(camera->fail_link), "error-after-frames",
                 static_cast<gint64>(camera->error_after_frames), "never-first-frame",
                 static_cast<gboolean>(camera->never_first_frame), nullptr);
    return element;
}

gst_support::StructurePtr default_properties(const zelt::vcam::VirtualCamera& camera) {
    gst_support::StructurePtr properties(
        gst_structure_new(kPropertiesName, "device.api", G_TYPE_STRING, "zelt-vcam", "zelt-vcam.id",
                          G_TYPE_STRING, camera.id.c_str(), nullptr));
    GstStructure* fields = properties.get();
    if (camera.path)
        gst_structure_set(fields, "path", G_TYPE_STRING, camera.path->c_str(), nullptr);
    if (camera.device_path) {
        gst_structure_set(fields, "device-path", G_TYPE_STRING, camera.device_path->c_str(),
                          nullptr);
    }
    if (camera.benchmark) {
        gst_structure_set(fields, "zelt-vcam.benchmark", G_TYPE_BOOLEAN, TRUE, nullptr);
    }
    if (camera.fail_link) {
        gst_structure_set(fields, "zelt-vcam.fail-link", G_TYPE_BOOLEAN, TRUE, nullptr);
    }
    if (camera.never_first_frame) {
        gst_structure_set(fields, "zelt-vcam.never-first-frame", G_TYPE_BOOLEAN, TRUE, nullptr);
    }
    if (camera.error_after_frames >= 0) {
        gst_structure_set(fields, "zelt-vcam.error-after-frames", G_TYPE_INT64,
                          static_cast<gint64>(camera.error_after_frames), nullptr);
    }
    return properties;
}

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    ZeltVcamDevicePrivate* priv = ZELT_VCAM_DEVICE(object)->priv;
    switch (id) {
        case PROP_PATH:
            priv->path.reset(g_value_dup_string(value));
            break;
        case PROP_DEVICE_PATH:
            priv->device_path.reset(g_value_dup_string(value));
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    ZeltVcamDevicePrivate* priv = ZELT_VCAM_DEVICE(object)->priv;
    switch (id) {
        case PROP_PATH:
            g_value_set_string(value, priv->path.get());
            break;
        case PROP_DEVICE_PATH:
            g_value_set_string(value, priv->device_path.get());
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

}  // namespace

G_DEFINE_TYPE(ZeltVcamDevice, zelt_vcam_device, GST_TYPE_DEVICE)

static void zelt_vcam_device_finalize(GObject* object) {
    delete ZELT_VCAM_DEVICE(object)->priv;
    G_OBJECT_CLASS(zelt_vcam_device_parent_class)->finalize(object);
}

static void zelt_vcam_device_class_init(ZeltVcamDeviceClass* klass) {
    GObjectClass* object_class = G_OBJECT_CLASS(klass);
    object_class->set_property = set_property;
    object_class->get_property = get_property;
    object_class->finalize = zelt_vcam_device_finalize;
    GST_DEVICE_CLASS(klass)->create_element = create_element;

    // Real providers differ: v4l2's devices have "device-path", others "path". Both are
    // here; a camera described without one answers NULL for it.
    g_object_class_install_property(
        object_class, PROP_PATH,
        g_param_spec_string("path", "Path", "Path of the camera, NULL when it has none", nullptr,
                            static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT_ONLY |
                                                     G_PARAM_STATIC_STRINGS)));
    g_object_class_install_property(
        object_class, PROP_DEVICE_PATH,
        g_param_spec_string("device-path", "Device path",
                            "Device path of the camera, NULL when it has none", nullptr,
                            static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_CONSTRUCT_ONLY |
                                                     G_PARAM_STATIC_STRINGS)));
}

static void zelt_vcam_device_init(ZeltVcamDevice* self) { self->priv = new ZeltVcamDevicePrivate; }

GType zelt_vcam_mf_device_get_type(void) {
    static gsize type_id = 0;
    if (g_once_init_enter(&type_id)) {
        g_once_init_leave(&type_id, zelt::vcam::device_type_named(ZELT_VCAM_MF_DEVICE_TYPE_NAME));
    }
    return static_cast<GType>(type_id);
}

namespace zelt::vcam {

GType device_type_named(const std::string& name) {
    if (name.empty() || name == ZELT_VCAM_DEVICE_TYPE_NAME) return ZELT_TYPE_VCAM_DEVICE;
    // Types are registered once per process; the lock keeps two providers from racing.
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    GType type = g_type_from_name(name.c_str());
    if (type == 0) {
        return g_type_register_static_simple(
            ZELT_TYPE_VCAM_DEVICE, g_intern_string(name.c_str()), sizeof(ZeltVcamDeviceClass),
            nullptr, sizeof(ZeltVcamDevice), nullptr, static_cast<GTypeFlags>(0));
    }
    if (g_type_is_a(type, ZELT_TYPE_VCAM_DEVICE)) return type;
    // The real provider of that name is loaded in this process and owns the name.
    GST_WARNING("type %s exists already; the virtual camera uses %s instead", name.c_str(),
                ZELT_VCAM_DEVICE_TYPE_NAME);
    return ZELT_TYPE_VCAM_DEVICE;
}

GstDevice* make_device(const CameraSpecPtr& camera) {
    const GType type = device_type_named(camera->device_type);
    // What gst_device_get_properties() reports: what the description gives, else the
    // provider's own with the paths only when the description gives them and the faults
    // only when they are on.
    gst_support::StructurePtr properties;
    if (!camera->default_properties) {
        if (camera->properties) properties.reset(gst_structure_copy(camera->properties.get()));
    } else {
        properties = default_properties(*camera);
    }
    // The device copies the properties structure and takes a reference to the caps.
    gpointer object =
        g_object_new(type, "display-name", camera->name.c_str(), "caps", camera->caps.get(),
                     "device-class", camera->device_class.c_str(), "properties", properties.get(),
                     "path", camera->path ? camera->path->c_str() : nullptr, "device-path",
                     camera->device_path ? camera->device_path->c_str() : nullptr, nullptr);
    ZELT_VCAM_DEVICE(object)->priv->camera = camera;
    return GST_DEVICE(object);
}

CameraSpecPtr device_spec(GstDevice* device) {
    if (!ZELT_IS_VCAM_DEVICE(device)) return nullptr;
    return ZELT_VCAM_DEVICE(device)->priv->camera;
}

}  // namespace zelt::vcam
