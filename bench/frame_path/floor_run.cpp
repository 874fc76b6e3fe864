// The floor: what any GStreamer consumer of a raw camera pays at least (one copy per frame).
#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "bench_clock.h"
#include "frame_path_runs.h"
#include "gst_support/gst_ptr.h"

namespace zelt_bench {
namespace {

constexpr std::size_t kPageSize = 4096;

struct FreeDeleter {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

struct FloorConsumer {
    FrameWindow* window;
    std::uint8_t* target;
    std::size_t capacity;
};

GstFlowReturn onFloorSample(GstAppSink* sink, gpointer data) {
    auto* consumer = static_cast<FloorConsumer*>(data);
    const gst_support::SamplePtr sample(gst_app_sink_pull_sample(sink));
    if (!sample) return GST_FLOW_ERROR;
    GstBuffer* buffer = gst_sample_get_buffer(sample.get());
    GstMapInfo map;
    if (buffer == nullptr || !gst_buffer_map(buffer, &map, GST_MAP_READ)) return GST_FLOW_ERROR;
    std::memcpy(consumer->target, map.data, std::min<std::size_t>(map.size, consumer->capacity));
    gst_buffer_unmap(buffer, &map);
    consumer->window->onFrame();
    return GST_FLOW_OK;
}

}  // namespace

std::string sourceLaunchText(const VideoMode& mode) {
    return "zeltvcamsrc benchmark=true camera-caps=\"" + mode.cameraCaps() + "\"";
}

RunFigures runFloor(const RunPlan& plan) {
    // Page-aligned and touched once, as the plug-in's page-backed buffer is; the copy lands
    // plan.floor_offset bytes after the page start (0: on the page).
    const std::size_t capacity = plan.mode.frameBytes();
    const std::size_t rounded =
        (plan.floor_offset + capacity + kPageSize - 1) / kPageSize * kPageSize;
    const std::unique_ptr<void, FreeDeleter> memory(std::aligned_alloc(kPageSize, rounded));
    if (!memory) throw std::runtime_error("cannot allocate the floor's frame buffer");
    std::memset(memory.get(), 0, rounded);

    GError* raw_error = nullptr;
    const gst_support::ElementPtr pipeline(gst_support::sinkObject(gst_parse_launch(
        (sourceLaunchText(plan.mode) + " ! appsink name=sink").c_str(), &raw_error)));
    const gst_support::GErrorPtr error(raw_error);
    if (!pipeline || error) {
        throw std::runtime_error(std::string("floor pipeline: ") +
                                 (error ? error->message : "not created"));
    }
    const gst_support::ElementPtr sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
    // The caps the plug-in sets on its appsink for the selected frame setting.
    const gst_support::CapsPtr caps(gst_caps_new_simple(
        "video/x-raw", "format", G_TYPE_STRING, plan.mode.format.c_str(), "width", G_TYPE_INT,
        plan.mode.width, "height", G_TYPE_INT, plan.mode.height, "framerate", GST_TYPE_FRACTION,
        plan.mode.fps, 1, nullptr));
    gst_app_sink_set_caps(GST_APP_SINK(sink.get()), caps.get());

    FrameWindow window(plan.warmup_frames, plan.frames);
    FloorConsumer consumer{&window, static_cast<std::uint8_t*>(memory.get()) + plan.floor_offset,
                           capacity};
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = &onFloorSample;
    gst_app_sink_set_callbacks(GST_APP_SINK(sink.get()), &callbacks, &consumer, nullptr);

    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    const bool closed = window.wait(std::chrono::seconds(120));
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    if (!closed) {
        throw std::runtime_error("floor: " + std::to_string(window.seen()) + " frames after 120 s");
    }
    return RunFigures{window.cpuMicrosecondsPerFrame(), window.framesPerSecond()};
}

}  // namespace zelt_bench
