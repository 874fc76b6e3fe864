#include "vcam_provider.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "debug.h"
#include "gst_support/gst_ptr.h"
#include "vcam/vcam.h"
#include "vcam_device.h"
#include "virtual_camera.h"

using zelt::vcam::CameraList;
using zelt::vcam::CameraSpecPtr;

struct ZeltVcamDeviceProviderPrivate {
    // Guards everything below. Lock order: GStreamer's start lock of the provider, then this
    // mutex, then the provider's object lock (taken inside gst_device_provider_device_add).
    std::mutex mutex;
    CameraList added;                 // cameras added through "add-camera", in order
    std::set<std::string> withdrawn;  // ids that "remove-camera" took from the environment
    bool started = false;
    CameraList environment;  // the environment's cameras, read at start, while started
    // Devices announced with device-added while started, with their camera's serial.
    std::vector<std::pair<std::uint64_t, gst_support::DevicePtr>> announced;
    std::string last_error;
    // Which cameras of the descriptions this instance offers.
    zelt::vcam::ProviderRole role = zelt::vcam::ProviderRole::Main;
    bool hiding = false;  // the main provider is hidden now (hiding role only)
};

namespace {

enum { PROP_0, PROP_LAST_ERROR };

enum { SIGNAL_ADD_CAMERA, SIGNAL_REMOVE_CAMERA, SIGNAL_RESET, SIGNAL_COUNT };
guint signals[SIGNAL_COUNT];

ZeltVcamDeviceProviderPrivate* priv_of(gpointer self) {
    return ZELT_VCAM_DEVICE_PROVIDER(self)->priv;
}

// A description the user wrote is wrong: say so on stderr too, or a typing error in the
// variable would look like "no cameras".
void note_error(ZeltVcamDeviceProviderPrivate* priv, const std::string& error) {
    priv->last_error = error;
    GST_WARNING("%s", error.c_str());
    g_printerr("%s: %s\n", ZELT_VCAM_PLUGIN_NAME, error.c_str());
}

CameraList read_environment(ZeltVcamDeviceProviderPrivate* priv) {
    std::string error;
    CameraList cameras = zelt::vcam::cameras_from_environment(error);
    // Both providers read the one description; the main one says what is wrong with it.
    if (!error.empty()) {
        if (priv->role == zelt::vcam::ProviderRole::Main)
            note_error(priv, error);
        else
            priv->last_error = error;
    }
    return cameras;
}

// The cameras on offer: the environment's, less the withdrawn ids, then the added ones; of
// those, the ones described for this provider.
CameraList offered(const ZeltVcamDeviceProviderPrivate* priv, const CameraList& environment) {
    CameraList cameras;
    for (const CameraSpecPtr& camera : environment) {
        if (priv->withdrawn.count(camera->id) == 0 && camera->provider == priv->role)
            cameras.push_back(camera);
    }
    for (const CameraSpecPtr& camera : priv->added) {
        if (camera->provider == priv->role) cameras.push_back(camera);
    }
    return cameras;
}

// The hiding provider hides the main one while it offers a camera, as PipeWire's provider
// hides v4l2's once it has a node of a v4l2 device. Only on a change: a device monitor counts
// every "provider-hidden" it hears.
void update_hiding(GstDeviceProvider* provider, ZeltVcamDeviceProviderPrivate* priv,
                   bool offers_cameras) {
    if (priv->role != zelt::vcam::ProviderRole::Hiding || priv->hiding == offers_cameras) return;
    priv->hiding = offers_cameras;
    if (offers_cameras)
        gst_device_provider_hide_provider(provider, ZELT_VCAM_PROVIDER_NAME);
    else
        gst_device_provider_unhide_provider(provider, ZELT_VCAM_PROVIDER_NAME);
}

// While started: announce what changed since the last announcement. Called with the mutex.
void sync_locked(GstDeviceProvider* provider, ZeltVcamDeviceProviderPrivate* priv) {
    if (!priv->started) {
        if (priv->role == zelt::vcam::ProviderRole::Hiding)
            update_hiding(provider, priv, !offered(priv, read_environment(priv)).empty());
        return;
    }
    const CameraList wanted = offered(priv, priv->environment);
    update_hiding(provider, priv, !wanted.empty());
    auto is_wanted = [&wanted](std::uint64_t serial) {
        return std::any_of(wanted.begin(), wanted.end(), [serial](const CameraSpecPtr& camera) {
            return camera->serial == serial;
        });
    };
    for (auto it = priv->announced.begin(); it != priv->announced.end();) {
        if (is_wanted(it->first)) {
            ++it;
            continue;
        }
        gst_device_provider_device_remove(provider, it->second.get());
        it = priv->announced.erase(it);
    }
    for (const CameraSpecPtr& camera : wanted) {
        const bool known =
            std::any_of(priv->announced.begin(), priv->announced.end(),
                        [&camera](const auto& entry) { return entry.first == camera->serial; });
        if (known) continue;
        gst_support::DevicePtr device = gst_support::sinkObject(zelt::vcam::make_device(camera));
        gst_device_provider_device_add(provider, device.get());
        priv->announced.emplace_back(camera->serial, std::move(device));
    }
}

GList* probe(GstDeviceProvider* provider) {
    ZeltVcamDeviceProviderPrivate* priv = priv_of(provider);
    std::lock_guard<std::mutex> lock(priv->mutex);
    GList* devices = nullptr;
    const CameraList cameras = offered(priv, read_environment(priv));
    update_hiding(provider, priv, !cameras.empty());
    for (const CameraSpecPtr& camera : cameras) {
        devices = g_list_append(devices, zelt::vcam::make_device(camera));
    }
    return devices;
}

gboolean start(GstDeviceProvider* provider) {
    ZeltVcamDeviceProviderPrivate* priv = priv_of(provider);
    std::lock_guard<std::mutex> lock(priv->mutex);
    priv->started = true;
    priv->environment = read_environment(priv);
    sync_locked(provider, priv);
    return TRUE;
}

void stop(GstDeviceProvider* provider) {
    ZeltVcamDeviceProviderPrivate* priv = priv_of(provider);
    std::lock_guard<std::mutex> lock(priv->mutex);
    // GStreamer drops its own list of announced devices after this returns.
    priv->started = false;
    priv->announced.clear();
    priv->environment.clear();
}

gboolean add_camera(ZeltVcamDeviceProvider* self, const gchar* json) {
    ZeltVcamDeviceProviderPrivate* priv = self->priv;
    CameraList cameras;
    std::string error;
    const bool parsed =
        json != nullptr && zelt::vcam::parse_cameras_json(json, true, cameras, error);
    std::lock_guard<std::mutex> lock(priv->mutex);
    if (!parsed) {
        note_error(priv, json == nullptr ? "no camera description" : error);
        return FALSE;
    }
    priv->added.insert(priv->added.end(), cameras.begin(), cameras.end());
    sync_locked(GST_DEVICE_PROVIDER(self), priv);
    return TRUE;
}

gboolean remove_camera(ZeltVcamDeviceProvider* self, const gchar* id) {
    ZeltVcamDeviceProviderPrivate* priv = self->priv;
    if (id == nullptr) return FALSE;
    std::lock_guard<std::mutex> lock(priv->mutex);
    const auto has_id = [id](const CameraSpecPtr& camera) { return camera->id == id; };
    const auto first_removed = std::remove_if(priv->added.begin(), priv->added.end(), has_id);
    bool found = first_removed != priv->added.end();
    priv->added.erase(first_removed, priv->added.end());
    if (priv->withdrawn.count(id) == 0) {
        const CameraList environment = priv->started ? priv->environment : read_environment(priv);
        found = found || std::any_of(environment.begin(), environment.end(),
                                     [&](const CameraSpecPtr& camera) {
                                         return has_id(camera) && camera->provider == priv->role;
                                     });
        priv->withdrawn.insert(id);
    }
    sync_locked(GST_DEVICE_PROVIDER(self), priv);
    return found;
}

void reset(ZeltVcamDeviceProvider* self) {
    ZeltVcamDeviceProviderPrivate* priv = self->priv;
    std::lock_guard<std::mutex> lock(priv->mutex);
    priv->added.clear();
    priv->withdrawn.clear();
    priv->last_error.clear();
    sync_locked(GST_DEVICE_PROVIDER(self), priv);
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    ZeltVcamDeviceProviderPrivate* priv = priv_of(object);
    switch (id) {
        case PROP_LAST_ERROR: {
            std::lock_guard<std::mutex> lock(priv->mutex);
            g_value_set_string(value, priv->last_error.c_str());
            break;
        }
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

}  // namespace

G_DEFINE_TYPE(ZeltVcamDeviceProvider, zelt_vcam_device_provider, GST_TYPE_DEVICE_PROVIDER)

static void zelt_vcam_device_provider_finalize(GObject* object) {
    delete ZELT_VCAM_DEVICE_PROVIDER(object)->priv;
    G_OBJECT_CLASS(zelt_vcam_device_provider_parent_class)->finalize(object);
}

static void zelt_vcam_device_provider_class_init(ZeltVcamDeviceProviderClass* klass) {
    GObjectClass* object_class = G_OBJECT_CLASS(klass);
    GstDeviceProviderClass* provider_class = GST_DEVICE_PROVIDER_CLASS(klass);
    object_class->get_property = get_property;
    object_class->finalize = zelt_vcam_device_provider_finalize;
    provider_class->probe = probe;
    provider_class->start = start;
    provider_class->stop = stop;
    klass->add_camera = add_camera;
    klass->remove_camera = remove_camera;
    klass->reset = reset;

    g_object_class_install_property(
        object_class, PROP_LAST_ERROR,
        g_param_spec_string(ZELT_VCAM_PROPERTY_LAST_ERROR, "Last error",
                            "Why the last camera description was refused (empty: none was)", "",
                            static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));

    const auto action = static_cast<GSignalFlags>(G_SIGNAL_RUN_LAST | G_SIGNAL_ACTION);
    signals[SIGNAL_ADD_CAMERA] =
        g_signal_new(ZELT_VCAM_SIGNAL_ADD_CAMERA, G_TYPE_FROM_CLASS(klass), action,
                     G_STRUCT_OFFSET(ZeltVcamDeviceProviderClass, add_camera), nullptr, nullptr,
                     nullptr, G_TYPE_BOOLEAN, 1, G_TYPE_STRING);
    signals[SIGNAL_REMOVE_CAMERA] =
        g_signal_new(ZELT_VCAM_SIGNAL_REMOVE_CAMERA, G_TYPE_FROM_CLASS(klass), action,
                     G_STRUCT_OFFSET(ZeltVcamDeviceProviderClass, remove_camera), nullptr, nullptr,
                     nullptr, G_TYPE_BOOLEAN, 1, G_TYPE_STRING);
    signals[SIGNAL_RESET] = g_signal_new(ZELT_VCAM_SIGNAL_RESET, G_TYPE_FROM_CLASS(klass), action,
                                         G_STRUCT_OFFSET(ZeltVcamDeviceProviderClass, reset),
                                         nullptr, nullptr, nullptr, G_TYPE_NONE, 0);

    gst_device_provider_class_set_static_metadata(
        provider_class, "Zelt virtual cameras", "Video/Source",
        "Virtual test cameras, offered only when " ZELT_VCAM_ENVIRONMENT_VARIABLE
        " or the in-process API enables them",
        "zelt-camera developers");
}

static void zelt_vcam_device_provider_init(ZeltVcamDeviceProvider* self) {
    self->priv = new ZeltVcamDeviceProviderPrivate;
}

// The hiding provider: the same provider for the cameras described with "provider":
// "hiding".
G_DEFINE_TYPE(ZeltVcamHidingProvider, zelt_vcam_hiding_provider, ZELT_TYPE_VCAM_DEVICE_PROVIDER)

static void zelt_vcam_hiding_provider_class_init(ZeltVcamHidingProviderClass* klass) {
    gst_device_provider_class_set_static_metadata(
        GST_DEVICE_PROVIDER_CLASS(klass), "Zelt virtual cameras, hiding", "Video/Source",
        "Virtual test cameras that stand in for a provider which hides another one (as PipeWire "
        "and libcamera hide v4l2); offered only when a description asks for them",
        "zelt-camera developers");
}

static void zelt_vcam_hiding_provider_init(ZeltVcamHidingProvider* self) {
    ZeltVcamDeviceProviderPrivate* priv = priv_of(self);
    priv->role = zelt::vcam::ProviderRole::Hiding;
    // A device monitor reads the hidden providers before it probes: hide from the start when
    // the environment already describes cameras of this provider.
    std::lock_guard<std::mutex> lock(priv->mutex);
    update_hiding(GST_DEVICE_PROVIDER(self), priv, !offered(priv, read_environment(priv)).empty());
}
