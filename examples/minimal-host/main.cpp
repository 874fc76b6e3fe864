// minimal-host: loads the camera plug-in, lists its cameras and records 30 frames of one camera
// into a raw file: each frame is the sample as the plug-in delivers it, the 12-byte image
// header (format code, width, height; little-endian 32-bit) followed by the pixels.
// Usage: minimal-host OUTPUT.raw [CAMERA_ID [PLUGIN]]
#include <dlfcn.h>
#include <gst/gst.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "config_items/config_items.h"
#include "plugin_api/service.h"
#include "zelt/daq_plugin.h"
#include "zelt/plugin_exports.h"
#include "zelt/sample_sink.h"
#include "zelt/time_base.h"

namespace {

// Type identifier of the camera plug-in, {D40250C7-33F6-4ECE-9A88-BAE8EE6D5FA5}.
constexpr tsa::Uuid kCameraPluginType = {{0xD4, 0x02, 0x50, 0xC7, 0x33, 0xF6, 0x4E, 0xCE, 0x9A,
                                          0x88, 0xBA, 0xE8, 0xEE, 0x6D, 0x5F, 0xA5}};
constexpr int kFrames = 30;
// Channel ids from 0x10000 on are the cameras' frame counters.
constexpr std::uint32_t kFirstSubChannel = 0x10000;

// The host's time base: nanoseconds of the steady clock. Read from the streaming threads.
class SteadyTimeSource : public zelt::IfTimeSource {
public:
    double getFrequency() const override { return 1e9; }
    zelt::DateTime getAbsoluteStart() const override { return {}; }
    std::uint64_t getCurrentTicks() const override {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
};

// Errors meant for the user; posted from the control thread and the main-context thread.
class PrintingExceptionManager : public zelt::IfExceptionManager {
public:
    void postMessage(const zelt::ErrorMessage* message) override {
        std::fprintf(stderr, "camera error: %s\n", message->text().c_str());
    }
    void withdrawMessage(const zelt::ErrorMessage*) override {}
};

// Writes the first kFrames samples to the file. Called on the camera's streaming thread; the
// sample's bytes are valid only during the call.
class RawFileSink : public zelt::IfSampleSink {
public:
    explicit RawFileSink(const char* path) : m_file(path, std::ios::binary) {}
    bool isOpen() const { return m_file.is_open(); }

    void addSample(std::uint64_t timestamp, std::uint64_t, const void* data,
                   std::uint32_t size) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_count == kFrames) return;
        m_file.write(static_cast<const char*>(data), size);
        std::printf("frame %d stamp %llu bytes %u\n", m_count,
                    static_cast<unsigned long long>(timestamp), size);
        if (++m_count == kFrames) m_all_written.notify_all();
    }
    void addStreamEvent(std::uint32_t kind, std::uint64_t) override {
        std::fprintf(stderr, "stream event %u\n", kind);
    }
    bool waitForAllFrames(std::chrono::seconds limit) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_all_written.wait_for(lock, limit, [this] { return m_count == kFrames; });
        m_file.flush();
        return m_count == kFrames && m_file.good();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_all_written;
    std::ofstream m_file;
    int m_count = 0;
};

int fail(const std::string& what) {
    std::fprintf(stderr, "minimal-host: %s\n", what.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return fail("usage: minimal-host OUTPUT.raw [CAMERA_ID [PLUGIN]]");
    const char* plugin_path = argc > 3 ? argv[3] : ZELT_CAMERA_PLUGIN;

    // The plug-in needs GStreamer initialised, and its bus watches need GLib's default main
    // context dispatched: one thread runs it for the whole session.
    gst_init(nullptr, nullptr);
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    std::thread main_context([loop] { g_main_loop_run(loop); });

    void* library = dlopen(plugin_path, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) return fail(dlerror());
    auto get_creator = reinterpret_cast<zelt::GetPluginFactoryFunction>(
        dlsym(library, zelt::kGetPluginFactorySymbol));
    if (get_creator == nullptr) return fail(std::string("no plug-in: ") + plugin_path);
    plugin_api::IfPluginCreator* creator = get_creator();
    zelt::IfPluginCommon* created = nullptr;
    if (!creator->createPlugin("CAMERA", kCameraPluginType, &created)) return fail("no CAMERA");
    auto* plugin = dynamic_cast<zelt::IfDAQPlugin*>(created);
    if (plugin == nullptr) return fail("the CAMERA plug-in is no DAQ plug-in");

    PrintingExceptionManager errors;  // must outlive the plug-in's channels
    plugin->setPluginId(0);
    plugin->setExceptionManager(&errors);
    if (!plugin->init()) return fail("init failed");
    plugin->startDeviceMonitoring();
    plugin->updateChannels();

    std::uint32_t camera = zelt::kNoChannel;
    for (const std::uint32_t id : plugin->getChannelIds()) {
        if (id >= kFirstSubChannel) continue;
        const auto name = plugin->getChannel(id)->getConfigItem("DefaultName");
        std::printf("camera %u: %s\n", id, config_items::toString(name).c_str());
        if (camera == zelt::kNoChannel) camera = id;
    }
    if (argc > 2) camera = static_cast<std::uint32_t>(std::strtoul(argv[2], nullptr, 10));
    auto channel = plugin->getChannel(camera);
    if (channel == nullptr) return fail("no camera to record");

    auto sink = std::make_shared<RawFileSink>(argv[1]);
    if (!sink->isOpen()) return fail(std::string("cannot write ") + argv[1]);
    channel->setSampleSink(sink);
    plugin->setTimeSource(std::make_shared<SteadyTimeSource>());
    plugin->resetChannelsUsed();
    plugin->setChannelUsed(camera, true);
    bool recorded = plugin->prepareAcquisition();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (recorded && !plugin->checkChannels()) {  // until the camera delivered a first frame
        recorded = std::chrono::steady_clock::now() < deadline;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (recorded) {
        plugin->startAcquisition();
        plugin->canStopAcquisition();  // samples flow to the sink from here on
        recorded = sink->waitForAllFrames(std::chrono::seconds(20));
        plugin->finishAcquisition();  // no sample reaches the sink after this
        plugin->stopAcquisition();
    }

    channel->setSampleSink(nullptr);
    channel.reset();  // objects of the plug-in go before the plug-in
    plugin->deinit();
    creator->destroyPlugin(kCameraPluginType, created);
    g_main_loop_quit(loop);
    main_context.join();
    g_main_loop_unref(loop);
    dlclose(library);
    return recorded ? 0 : fail("recording failed");
}
