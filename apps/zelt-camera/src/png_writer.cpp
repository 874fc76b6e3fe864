#include "png_writer.h"

#include <gst/video/video.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace zelt::cli {
namespace {

struct FileClose {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

}  // namespace

void writePng(const std::string& path, const VideoFormat& format, const std::uint8_t* pixels,
              std::size_t size) {
    const gst_support::CapsPtr caps(gst_caps_new_simple(
        "video/x-raw", "format", G_TYPE_STRING, format.format.gst_format.c_str(), "width",
        G_TYPE_INT, static_cast<int>(format.width), "height", G_TYPE_INT,
        static_cast<int>(format.height), "framerate", GST_TYPE_FRACTION, 0, 1, "pixel-aspect-ratio",
        GST_TYPE_FRACTION, 1, 1, nullptr));
    GstVideoInfo info;
    if (!gst_video_info_from_caps(&info, caps.get())) {
        throw std::runtime_error("GStreamer has no layout for " + format.format.gst_format);
    }
    const std::size_t frame_bytes = GST_VIDEO_INFO_SIZE(&info);
    gst_support::BufferPtr buffer(gst_buffer_new_allocate(nullptr, frame_bytes, nullptr));
    if (!buffer) throw std::runtime_error("out of memory for the picture");
    const std::size_t copied = std::min(size, frame_bytes);
    gst_buffer_fill(buffer.get(), 0, pixels, copied);
    if (copied < frame_bytes) gst_buffer_memset(buffer.get(), copied, 0, frame_bytes - copied);
    GST_BUFFER_PTS(buffer.get()) = 0;

    const gst_support::MiniObjectPtr<GstSample> sample(
        gst_sample_new(buffer.get(), caps.get(), nullptr, nullptr));
    const gst_support::CapsPtr png_caps(gst_caps_new_empty_simple("image/png"));
    GError* raw_error = nullptr;
    const gst_support::MiniObjectPtr<GstSample> picture(
        gst_video_convert_sample(sample.get(), png_caps.get(), 10 * GST_SECOND, &raw_error));
    const gst_support::GErrorPtr error(raw_error);
    GstBuffer* encoded = picture ? gst_sample_get_buffer(picture.get()) : nullptr;
    if (encoded == nullptr) {
        throw std::runtime_error("cannot encode the PNG picture: " +
                                 std::string(error ? error->message : "no picture"));
    }
    GstMapInfo map;
    if (!gst_buffer_map(encoded, &map, GST_MAP_READ)) {
        throw std::runtime_error("cannot read the encoded PNG picture");
    }
    const std::unique_ptr<std::FILE, FileClose> file(std::fopen(path.c_str(), "wb"));
    const bool written = file && std::fwrite(map.data, 1, map.size, file.get()) == map.size;
    gst_buffer_unmap(encoded, &map);
    if (!written || std::fflush(file.get()) != 0) {
        throw std::runtime_error("cannot write '" + path + "': " + std::strerror(errno));
    }
}

}  // namespace zelt::cli
