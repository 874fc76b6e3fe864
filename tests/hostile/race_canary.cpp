// A race of the application's own against a GStreamer streaming thread, on purpose: an appsink
// callback and the main thread write the same plain variable with nothing ordering them. Under
// ThreadSanitizer, with the project's suppressions, this program must be reported; a
// suppression that hid it would hide every race of ours that has a GStreamer callback on one
// side. Exits 0 when the race went unreported.
#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>

#include <atomic>

#include "gst_support/gst_ptr.h"

// Written by both threads without order: the race. Not file-local, and printed at the end, so
// that the compiler keeps every write.
int g_unguarded = 0;

namespace {

std::atomic<bool> g_callback_ran{false};

GstFlowReturn on_sample(GstAppSink* sink, gpointer /*data*/) {
    const gst_support::SamplePtr sample(gst_app_sink_pull_sample(sink));
    g_unguarded = 2;
    g_callback_ran.store(true);
    return GST_FLOW_OK;
}

}  // namespace

int main(int argc, char** argv) {
    gst_init(&argc, &argv);
    const gst_support::PipelinePtr pipeline(gst_parse_launch(
        "appsrc name=src format=time caps=video/x-raw,format=GRAY8,width=8,height=8,"
        "framerate=10/1 ! appsink name=sink sync=false",
        nullptr));
    if (!pipeline) return 2;
    const gst_support::ElementPtr source(gst_bin_get_by_name(GST_BIN(pipeline.get()), "src"));
    const gst_support::ElementPtr sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "sink"));
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = &on_sample;
    gst_app_sink_set_callbacks(GST_APP_SINK(sink.get()), &callbacks, nullptr, nullptr);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);

    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, 64, nullptr);
    gst_buffer_memset(buffer, 0, 0, 64);
    GST_BUFFER_PTS(buffer) = 0;
    gst_app_src_push_buffer(GST_APP_SRC(source.get()), buffer);  // takes the buffer
    g_unguarded = 1;
    while (!g_callback_ran.load()) g_usleep(1000);

    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    g_print("last write: %d\n", g_unguarded);
    return 0;
}
