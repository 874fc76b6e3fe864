// The source element of a virtual camera ("zeltvcamsrc"), as gst_device_create_element
// returns it: a live source of the camera's raw modes.
//
// Properties (read when the element starts, changes take effect at the next start; the caps
// query reads "camera-caps" and "fail-link" as they are, so linking sees them before that):
//   "camera-caps"        GstCaps  the camera's modes as the device reports them; the element
//                                 offers the well-formed raw structures among them (default:
//                                 the default camera's modes)
//   "device-path"        string   named in the unplug error text
//   "benchmark"          bool     frames as fast as downstream takes them
//   "fail-link"          bool     the source pad offers no format, so no link succeeds
//   "error-after-frames" int64    post an unplug error after this many frames; -1: never
//   "never-first-frame"  bool     reach PLAYING but never push a frame
#pragma once

#include <gst/base/gstpushsrc.h>

G_BEGIN_DECLS

#define ZELT_TYPE_VCAM_SRC (zelt_vcam_src_get_type())
#define ZELT_VCAM_SRC(obj) (G_TYPE_CHECK_INSTANCE_CAST((obj), ZELT_TYPE_VCAM_SRC, ZeltVcamSrc))

struct ZeltVcamSrcPrivate;

struct ZeltVcamSrc {
    GstPushSrc parent;
    ZeltVcamSrcPrivate* priv;
};

struct ZeltVcamSrcClass {
    GstPushSrcClass parent_class;
};

GType zelt_vcam_src_get_type(void);

G_END_DECLS

namespace zelt::vcam {

/// Buffers in the element's pool: frames that downstream may hold at once before the source
/// waits for one to come back.
constexpr guint kPoolBuffers = 8;

/// The structures of `camera_caps` that the element can produce: "video/x-raw" with known
/// formats, positive width and height, and a usable frame rate (a positive fraction, a
/// non-empty list of them, or a range reaching above zero). (transfer full)
GstCaps* producible_caps(const GstCaps* camera_caps);

}  // namespace zelt::vcam
