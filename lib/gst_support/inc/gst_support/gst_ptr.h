// Typed owners of GLib and GStreamer references.
//
// Each kind of reference is released by its own function: GstObject types (elements, pads,
// buses, devices, clocks, monitors) with gst_object_unref, mini objects (caps, samples,
// buffers, messages) with gst_mini_object_unref, boxed structures with gst_structure_free,
// strings with g_free, errors with g_error_free. An owner holds exactly one reference.
#pragma once

#include <glib.h>
#include <gst/gst.h>

#include <memory>

namespace gst_support {

struct ObjectUnref {
    void operator()(gpointer object) const noexcept { gst_object_unref(object); }
};
struct MiniObjectUnref {
    void operator()(gpointer object) const noexcept {
        gst_mini_object_unref(GST_MINI_OBJECT_CAST(object));
    }
};
struct StructureFree {
    void operator()(GstStructure* structure) const noexcept { gst_structure_free(structure); }
};
struct GFree {
    void operator()(gpointer memory) const noexcept { g_free(memory); }
};
struct GErrorFree {
    void operator()(GError* error) const noexcept { g_error_free(error); }
};
struct GObjectUnref {
    void operator()(gpointer object) const noexcept { g_object_unref(object); }
};

/// Owner of one reference to a GstObject (or derived) instance.
template <typename T>
using ObjectPtr = std::unique_ptr<T, ObjectUnref>;
/// Owner of one reference to a GstMiniObject (or derived) instance.
template <typename T>
using MiniObjectPtr = std::unique_ptr<T, MiniObjectUnref>;

using ElementPtr = ObjectPtr<GstElement>;
using PipelinePtr = ObjectPtr<GstElement>;
using BusPtr = ObjectPtr<GstBus>;
using ClockPtr = ObjectPtr<GstClock>;
using DevicePtr = ObjectPtr<GstDevice>;
using DeviceMonitorPtr = ObjectPtr<GstDeviceMonitor>;
using PadPtr = ObjectPtr<GstPad>;
using CapsPtr = MiniObjectPtr<GstCaps>;
using SamplePtr = MiniObjectPtr<GstSample>;
using BufferPtr = MiniObjectPtr<GstBuffer>;
using MessagePtr = MiniObjectPtr<GstMessage>;
using StructurePtr = std::unique_ptr<GstStructure, StructureFree>;
using GCharPtr = std::unique_ptr<gchar, GFree>;
using GErrorPtr = std::unique_ptr<GError, GErrorFree>;

/// Takes a new reference to `object` and owns it. (transfer none in, full out)
template <typename T>
ObjectPtr<T> refObject(T* object) noexcept {
    if (object != nullptr) gst_object_ref(object);
    return ObjectPtr<T>(object);
}

/// Sinks a floating reference (as from gst_element_factory_make) and owns it, so that the
/// owner keeps its reference when a bin takes the object. (transfer floating in, full out)
template <typename T>
ObjectPtr<T> sinkObject(T* object) noexcept {
    if (object != nullptr) gst_object_ref_sink(object);
    return ObjectPtr<T>(object);
}

}  // namespace gst_support
