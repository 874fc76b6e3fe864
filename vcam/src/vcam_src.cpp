#include "vcam_src.h"

#include <gst/video/gstvideopool.h>
#include <gst/video/video.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "debug.h"
#include "frame_pattern.h"
#include "gst_support/gst_ptr.h"
#include "virtual_camera.h"

namespace {

enum {
    PROP_0,
    PROP_CAMERA_CAPS,
    PROP_DEVICE_PATH,
    PROP_BENCHMARK,
    PROP_FAIL_LINK,
    PROP_ERROR_AFTER_FRAMES,
    PROP_NEVER_FIRST_FRAME
};

// The text of a real camera's read error when it is unplugged (GStreamer's own message for
// a resource read error), and the detail that names the device.
constexpr const char* kUnplugMessage = "Could not read from resource.";
constexpr const char* kUnplugDetail = "Device '%s' was disconnected";

// Marks a pool buffer whose pattern was painted once (benchmark mode paints each buffer of
// the pool only the first time it is used).
GQuark painted_quark() {
    static const GQuark quark = g_quark_from_static_string("zelt-vcam-painted");
    return quark;
}

struct Settings {
    gst_support::CapsPtr camera_caps;  // never null
    std::string device_path;
    bool benchmark = false;
    bool fail_link = false;
    bool never_first_frame = false;
    gint64 error_after_frames = -1;
};

}  // namespace

struct ZeltVcamSrcPrivate {
    // Properties, written by the application thread, read by the streaming thread at start.
    std::mutex settings_mutex;
    Settings settings;
    gst_support::CapsPtr producible;  // derived from settings.camera_caps

    // Streaming state: touched only by the streaming thread (and start/stop).
    Settings active;
    GstVideoInfo info{};
    bool have_info = false;
    GstClockTime frame_duration = GST_CLOCK_TIME_NONE;
    std::uint64_t sequence = 0;
    GstClockTime schedule_origin = GST_CLOCK_TIME_NONE;  // running time of the schedule's frame 0
    std::uint64_t scheduled_frames = 0;
    GstClockTime last_pts = GST_CLOCK_TIME_NONE;

    // Answer to latency queries, which arrive on other threads; NONE before caps are set.
    std::atomic<GstClockTime> min_latency{GST_CLOCK_TIME_NONE};
    // The latency that the pipeline configured (the latency event): a synchronising sink
    // renders a frame at its time stamp plus this.
    std::atomic<GstClockTime> pipeline_latency{0};

    // Interrupting a wait: unlock() sets `unlocking` and unschedules the clock entry.
    std::mutex wait_mutex;
    std::condition_variable wake;
    bool unlocking = false;
    GstClockID clock_id = nullptr;
};

G_DEFINE_TYPE(ZeltVcamSrc, zelt_vcam_src, GST_TYPE_PUSH_SRC)

namespace {

ZeltVcamSrcPrivate* priv_of(gpointer self) { return ZELT_VCAM_SRC(self)->priv; }

void set_camera_caps(ZeltVcamSrcPrivate* priv, const GstCaps* caps) {
    priv->settings.camera_caps.reset(caps != nullptr ? gst_caps_copy(caps)
                                                     : zelt::vcam::default_camera_caps());
    priv->producible.reset(zelt::vcam::producible_caps(priv->settings.camera_caps.get()));
}

void set_property(GObject* object, guint id, const GValue* value, GParamSpec* pspec) {
    ZeltVcamSrcPrivate* priv = priv_of(object);
    std::lock_guard<std::mutex> lock(priv->settings_mutex);
    switch (id) {
        case PROP_CAMERA_CAPS:
            set_camera_caps(priv, gst_value_get_caps(value));
            break;
        case PROP_DEVICE_PATH: {
            const gchar* text = g_value_get_string(value);
            priv->settings.device_path = text != nullptr ? text : "";
            break;
        }
        case PROP_BENCHMARK:
            priv->settings.benchmark = g_value_get_boolean(value) != FALSE;
            break;
        case PROP_FAIL_LINK:
            priv->settings.fail_link = g_value_get_boolean(value) != FALSE;
            break;
        case PROP_ERROR_AFTER_FRAMES:
            priv->settings.error_after_frames = g_value_get_int64(value);
            break;
        case PROP_NEVER_FIRST_FRAME:
            priv->settings.never_first_frame = g_value_get_boolean(value) != FALSE;
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

void get_property(GObject* object, guint id, GValue* value, GParamSpec* pspec) {
    ZeltVcamSrcPrivate* priv = priv_of(object);
    std::lock_guard<std::mutex> lock(priv->settings_mutex);
    switch (id) {
        case PROP_CAMERA_CAPS:
            gst_value_set_caps(value, priv->settings.camera_caps.get());
            break;
        case PROP_DEVICE_PATH:
            g_value_set_string(value, priv->settings.device_path.empty()
                                          ? nullptr
                                          : priv->settings.device_path.c_str());
            break;
        case PROP_BENCHMARK:
            g_value_set_boolean(value, priv->settings.benchmark);
            break;
        case PROP_FAIL_LINK:
            g_value_set_boolean(value, priv->settings.fail_link);
            break;
        case PROP_ERROR_AFTER_FRAMES:
            g_value_set_int64(value, priv->settings.error_after_frames);
            break;
        case PROP_NEVER_FIRST_FRAME:
            g_value_set_boolean(value, priv->settings.never_first_frame);
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    }
}

// A camera that fails to link offers no format at all: its caps query answers empty caps,
// so neither a raw appsink nor one that accepts anything can link to it.
GstCaps* get_caps(GstBaseSrc* src, GstCaps* filter) {
    ZeltVcamSrcPrivate* priv = priv_of(src);
    gst_support::CapsPtr caps;
    {
        std::lock_guard<std::mutex> lock(priv->settings_mutex);
        caps.reset(priv->settings.fail_link ? gst_caps_new_empty()
                                            : gst_caps_ref(priv->producible.get()));
    }
    if (filter != nullptr) {
        caps.reset(gst_caps_intersect_full(filter, caps.get(), GST_CAPS_INTERSECT_FIRST));
    }
    return caps.release();
}

// Like a real camera driver: the highest frame rate, then GStreamer's default fixation.
GstCaps* fixate(GstBaseSrc* src, GstCaps* caps) {
    caps = gst_caps_truncate(caps);
    caps = gst_caps_make_writable(caps);
    GstStructure* structure = gst_caps_get_structure(caps, 0);
    if (gst_structure_has_field(structure, "framerate")) {
        gst_structure_fixate_field_nearest_fraction(structure, "framerate", G_MAXINT, 1);
    }
    if (gst_structure_has_field(structure, "pixel-aspect-ratio")) {
        gst_structure_fixate_field_nearest_fraction(structure, "pixel-aspect-ratio", 1, 1);
    }
    return gst_caps_fixate(caps);
}

gboolean set_caps(GstBaseSrc* src, GstCaps* caps) {
    ZeltVcamSrcPrivate* priv = priv_of(src);
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, caps)) {
        GST_ERROR_OBJECT(src, "cannot produce %" GST_PTR_FORMAT, static_cast<void*>(caps));
        return FALSE;
    }
    priv->info = info;
    priv->have_info = true;
    priv->frame_duration = GST_VIDEO_INFO_FPS_N(&info) > 0
                               ? gst_util_uint64_scale_int(GST_SECOND, GST_VIDEO_INFO_FPS_D(&info),
                                                           GST_VIDEO_INFO_FPS_N(&info))
                               : GST_CLOCK_TIME_NONE;
    // A live frame is pushed when it is complete, one frame after its time stamp; a
    // benchmark frame is stamped when it is pushed.
    priv->min_latency.store(priv->active.benchmark ? 0 : priv->frame_duration);
    // A new rate starts a new schedule at the next frame.
    priv->schedule_origin = GST_CLOCK_TIME_NONE;
    priv->scheduled_frames = 0;
    return TRUE;
}

// Frames come from the element's own pool of kPoolBuffers buffers, allocated when the caps
// are set: a buffer is reused only after downstream released it, so no frame is written while
// anyone still reads it, and no frame allocates memory.
gboolean decide_allocation(GstBaseSrc* src, GstQuery* query) {
    GstCaps* caps = nullptr;
    gst_query_parse_allocation(query, &caps, nullptr);
    GstVideoInfo info;
    if (caps == nullptr || !gst_video_info_from_caps(&info, caps)) return FALSE;
    const guint size = static_cast<guint>(GST_VIDEO_INFO_SIZE(&info));
    gst_support::ObjectPtr<GstBufferPool> pool(gst_video_buffer_pool_new());
    GstStructure* config = gst_buffer_pool_get_config(pool.get());
    gst_buffer_pool_config_set_params(config, caps, size, zelt::vcam::kPoolBuffers,
                                      zelt::vcam::kPoolBuffers);
    if (!gst_buffer_pool_set_config(pool.get(), config)) return FALSE;
    if (gst_query_get_n_allocation_pools(query) > 0) {
        gst_query_set_nth_allocation_pool(query, 0, pool.get(), size, zelt::vcam::kPoolBuffers,
                                          zelt::vcam::kPoolBuffers);
    } else {
        gst_query_add_allocation_pool(query, pool.get(), size, zelt::vcam::kPoolBuffers,
                                      zelt::vcam::kPoolBuffers);
    }
    return GST_BASE_SRC_CLASS(zelt_vcam_src_parent_class)->decide_allocation(src, query);
}

gboolean query(GstBaseSrc* src, GstQuery* query) {
    ZeltVcamSrcPrivate* priv = priv_of(src);
    if (GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) {
        const GstClockTime min_latency = priv->min_latency.load();
        if (!GST_CLOCK_TIME_IS_VALID(min_latency)) return FALSE;
        gst_query_set_latency(query, TRUE, min_latency, GST_CLOCK_TIME_NONE);
        return TRUE;
    }
    return GST_BASE_SRC_CLASS(zelt_vcam_src_parent_class)->query(src, query);
}

gboolean event(GstBaseSrc* src, GstEvent* event) {
    if (GST_EVENT_TYPE(event) == GST_EVENT_LATENCY) {
        GstClockTime latency = 0;
        gst_event_parse_latency(event, &latency);
        priv_of(src)->pipeline_latency.store(GST_CLOCK_TIME_IS_VALID(latency) ? latency : 0);
    }
    return GST_BASE_SRC_CLASS(zelt_vcam_src_parent_class)->event(src, event);
}

gboolean start(GstBaseSrc* src) {
    ZeltVcamSrcPrivate* priv = priv_of(src);
    {
        std::lock_guard<std::mutex> lock(priv->settings_mutex);
        priv->active.camera_caps.reset(gst_caps_ref(priv->settings.camera_caps.get()));
        priv->active.device_path = priv->settings.device_path;
        priv->active.benchmark = priv->settings.benchmark;
        priv->active.fail_link = priv->settings.fail_link;
        priv->active.never_first_frame = priv->settings.never_first_frame;
        priv->active.error_after_frames = priv->settings.error_after_frames;
    }
    priv->have_info = false;
    priv->min_latency.store(GST_CLOCK_TIME_NONE);
    priv->pipeline_latency.store(0);
    priv->sequence = 0;
    priv->schedule_origin = GST_CLOCK_TIME_NONE;
    priv->scheduled_frames = 0;
    priv->last_pts = GST_CLOCK_TIME_NONE;
    if (priv->active.fail_link) {
        // A camera that offers nothing the sink takes refuses to start, so the start fails
        // at once instead of racing the streaming thread's negotiation error.
        GST_ELEMENT_ERROR(src, CORE, NEGOTIATION, ("The camera offers no format the sink accepts."),
                          ("%s cannot link", priv->active.device_path.c_str()));
        return FALSE;
    }
    return TRUE;
}

gboolean stop(GstBaseSrc* src) {
    priv_of(src)->have_info = false;
    priv_of(src)->min_latency.store(GST_CLOCK_TIME_NONE);
    return TRUE;
}

gboolean unlock(GstBaseSrc* src) {
    ZeltVcamSrcPrivate* priv = priv_of(src);
    std::lock_guard<std::mutex> lock(priv->wait_mutex);
    priv->unlocking = true;
    if (priv->clock_id != nullptr) gst_clock_id_unschedule(priv->clock_id);
    priv->wake.notify_all();
    return TRUE;
}

gboolean unlock_stop(GstBaseSrc* src) {
    ZeltVcamSrcPrivate* priv = priv_of(src);
    std::lock_guard<std::mutex> lock(priv->wait_mutex);
    priv->unlocking = false;
    return TRUE;
}

struct ClockIdUnref {
    void operator()(GstClockID id) const noexcept { gst_clock_id_unref(id); }
};
using ClockIdPtr = std::unique_ptr<void, ClockIdUnref>;

// Waits until the clock reaches `time`; false when unlock() interrupted the wait.
bool wait_until(ZeltVcamSrcPrivate* priv, GstClock* clock, GstClockTime time) {
    const ClockIdPtr id(gst_clock_new_single_shot_id(clock, time));
    {
        std::lock_guard<std::mutex> lock(priv->wait_mutex);
        if (priv->unlocking) return false;
        priv->clock_id = id.get();
    }
    const GstClockReturn result = gst_clock_id_wait(id.get(), nullptr);
    {
        std::lock_guard<std::mutex> lock(priv->wait_mutex);
        priv->clock_id = nullptr;
    }
    return result != GST_CLOCK_UNSCHEDULED;
}

// The time stamp of the next frame, after waiting for it in live mode. False when the wait
// was interrupted.
bool next_timestamp(ZeltVcamSrc* self, GstClockTime& pts) {
    ZeltVcamSrcPrivate* priv = self->priv;
    gst_support::ClockPtr clock(gst_element_get_clock(GST_ELEMENT(self)));
    const GstClockTime base_time = gst_element_get_base_time(GST_ELEMENT(self));
    const GstClockTime duration =
        GST_CLOCK_TIME_IS_VALID(priv->frame_duration) ? priv->frame_duration : 0;
    GstClockTime now = GST_CLOCK_TIME_NONE;
    if (clock) {
        const GstClockTime clock_time = gst_clock_get_time(clock.get());
        now = clock_time > base_time ? clock_time - base_time : 0;
    }

    if (priv->active.benchmark) {
        // Stamped with the running time at which the frame is made, less the latency that a
        // synchronising sink adds back (at least its processing deadline, 20 ms by default):
        // the sink renders it at once and never throttles the source. Strictly increasing
        // even when the clock did not advance.
        const GstClockTime latency = priv->pipeline_latency.load();
        if (GST_CLOCK_TIME_IS_VALID(now)) {
            pts = now > latency ? now - latency : 0;
        } else {
            pts = priv->sequence * duration;
        }
        if (GST_CLOCK_TIME_IS_VALID(priv->last_pts) && pts <= priv->last_pts) {
            pts = priv->last_pts + 1;
        }
        return true;
    }

    // Live: frame n of a schedule is stamped origin + n / rate and pushed when it is
    // complete, one frame later, by the pipeline clock.
    if (!GST_CLOCK_TIME_IS_VALID(priv->schedule_origin)) {
        priv->schedule_origin = GST_CLOCK_TIME_IS_VALID(now) ? now : 0;
        priv->scheduled_frames = 0;
    }
    const GstClockTime offset =
        GST_VIDEO_INFO_FPS_N(&priv->info) > 0
            ? gst_util_uint64_scale(priv->scheduled_frames,
                                    GST_SECOND * GST_VIDEO_INFO_FPS_D(&priv->info),
                                    GST_VIDEO_INFO_FPS_N(&priv->info))
            : 0;
    pts = priv->schedule_origin + offset;
    if (clock && !wait_until(priv, clock.get(), base_time + pts + duration)) return false;
    ++priv->scheduled_frames;
    return true;
}

GstFlowReturn fill(GstPushSrc* push_src, GstBuffer* buffer) {
    ZeltVcamSrc* self = ZELT_VCAM_SRC(push_src);
    ZeltVcamSrcPrivate* priv = self->priv;
    if (!priv->have_info) return GST_FLOW_NOT_NEGOTIATED;

    if (priv->active.never_first_frame) {
        std::unique_lock<std::mutex> lock(priv->wait_mutex);
        priv->wake.wait(lock, [priv] { return priv->unlocking; });
        return GST_FLOW_FLUSHING;
    }

    if (priv->active.error_after_frames >= 0 &&
        priv->sequence >= static_cast<std::uint64_t>(priv->active.error_after_frames)) {
        GST_ELEMENT_ERROR(self, RESOURCE, READ, ("%s", kUnplugMessage),
                          (kUnplugDetail, priv->active.device_path.c_str()));
        return GST_FLOW_ERROR;
    }

    GstClockTime pts = GST_CLOCK_TIME_NONE;
    if (!next_timestamp(self, pts)) return GST_FLOW_FLUSHING;

    const bool paint =
        !priv->active.benchmark ||
        gst_mini_object_get_qdata(GST_MINI_OBJECT_CAST(buffer), painted_quark()) == nullptr;
    if (paint) {
        GstVideoFrame frame;
        if (!gst_video_frame_map(&frame, &priv->info, buffer, GST_MAP_WRITE)) {
            GST_ELEMENT_ERROR(self, RESOURCE, WRITE, (nullptr), ("cannot map a frame"));
            return GST_FLOW_ERROR;
        }
        zelt::vcam::paint_pattern(&frame, priv->sequence);
        gst_video_frame_unmap(&frame);
        if (priv->active.benchmark) {
            gst_mini_object_set_qdata(GST_MINI_OBJECT_CAST(buffer), painted_quark(),
                                      GINT_TO_POINTER(1), nullptr);
        }
    }
    zelt::vcam::write_sequence_number(buffer, priv->info, priv->sequence);

    GST_BUFFER_PTS(buffer) = pts;
    GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
    GST_BUFFER_DURATION(buffer) = priv->frame_duration;
    GST_BUFFER_OFFSET(buffer) = priv->sequence;
    GST_BUFFER_OFFSET_END(buffer) = priv->sequence + 1;
    priv->last_pts = pts;
    ++priv->sequence;
    return GST_FLOW_OK;
}

}  // namespace

static void zelt_vcam_src_finalize(GObject* object) {
    delete ZELT_VCAM_SRC(object)->priv;
    G_OBJECT_CLASS(zelt_vcam_src_parent_class)->finalize(object);
}

static void zelt_vcam_src_class_init(ZeltVcamSrcClass* klass) {
    GObjectClass* object_class = G_OBJECT_CLASS(klass);
    GstElementClass* element_class = GST_ELEMENT_CLASS(klass);
    GstBaseSrcClass* base_class = GST_BASE_SRC_CLASS(klass);
    object_class->set_property = set_property;
    object_class->get_property = get_property;
    object_class->finalize = zelt_vcam_src_finalize;

    const auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                GST_PARAM_MUTABLE_READY);
    g_object_class_install_property(
        object_class, PROP_CAMERA_CAPS,
        g_param_spec_boxed("camera-caps", "Camera caps",
                           "The camera's modes as its device reports them (default: the default "
                           "camera's modes)",
                           GST_TYPE_CAPS, flags));
    g_object_class_install_property(
        object_class, PROP_DEVICE_PATH,
        g_param_spec_string("device-path", "Device path", "Device named in the unplug error",
                            nullptr, flags));
    g_object_class_install_property(
        object_class, PROP_BENCHMARK,
        g_param_spec_boolean("benchmark", "Benchmark",
                             "Frames as fast as downstream takes them, stamped when made", FALSE,
                             flags));
    g_object_class_install_property(
        object_class, PROP_FAIL_LINK,
        g_param_spec_boolean("fail-link", "Fail link",
                             "Offer no format, so that linking the source fails", FALSE, flags));
    g_object_class_install_property(
        object_class, PROP_ERROR_AFTER_FRAMES,
        g_param_spec_int64("error-after-frames", "Error after frames",
                           "Post an unplug error after this many frames (-1: never)", -1,
                           G_MAXINT64, -1, flags));
    g_object_class_install_property(
        object_class, PROP_NEVER_FIRST_FRAME,
        g_param_spec_boolean("never-first-frame", "Never first frame",
                             "Reach PLAYING but never push a frame", FALSE, flags));

    gst_element_class_set_static_metadata(element_class, "Zelt virtual camera source",
                                          "Source/Video",
                                          "Live test frames of a virtual camera, each carrying "
                                          "its sequence number",
                                          "zelt-camera developers");
    const gst_support::CapsPtr template_caps(
        gst_caps_from_string(GST_VIDEO_CAPS_MAKE(GST_VIDEO_FORMATS_ALL)));
    gst_element_class_add_pad_template(
        element_class,
        gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, template_caps.get()));

    base_class->get_caps = get_caps;
    base_class->fixate = fixate;
    base_class->set_caps = set_caps;
    base_class->decide_allocation = decide_allocation;
    base_class->query = query;
    base_class->event = event;
    base_class->start = start;
    base_class->stop = stop;
    base_class->unlock = unlock;
    base_class->unlock_stop = unlock_stop;
    GST_PUSH_SRC_CLASS(klass)->fill = fill;
}

static void zelt_vcam_src_init(ZeltVcamSrc* self) {
    self->priv = new ZeltVcamSrcPrivate;
    set_camera_caps(self->priv, nullptr);
    gst_base_src_set_live(GST_BASE_SRC(self), TRUE);
    gst_base_src_set_format(GST_BASE_SRC(self), GST_FORMAT_TIME);
}
