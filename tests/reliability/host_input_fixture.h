// Bad input from the host: the camera plug-in created in this process (so that its assertion
// reports reach the test's handler), on two virtual cameras found through the real device
// monitor, driven through the host interfaces only.
#pragma once

#include <glib.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "channel_config/channel_config.h"
#include "config_items/config_items.h"
#include "test_assertions.h"
#include "vcam/vcam_control.h"
#include "zelt/daq_plugin.h"
#include "zelt_camera_ids.h"
#include "zelt_camera_plugin_creator.h"
#include "zelt_host/main_context_thread.h"
#include "zelt_host/recording_exception_manager.h"
#include "zelt_host/recording_sample_sink.h"
#include "zelt_host/steady_time_source.h"

namespace zelt_reliability {

using namespace std::chrono_literals;
using config_items::ConfigItem;
using zelt::vcam::CameraDescription;

/// One item of each of the twenty alternatives of ConfigItem, index i at position i. The
/// scalar carries the unit "V", which no camera option has.
std::vector<ConfigItem> one_item_of_each_alternative();

/// Keys no channel of the camera plug-in answers to.
std::vector<std::string> unknown_keys();

/// Ids that name no channel when the plug-in has the cameras 0 and 1.
std::vector<std::uint32_t> unknown_channel_ids();

/// A camera of one raw mode, 64 x 48 at 100 fps.
CameraDescription small_camera(const std::string& name, const std::string& path);

/// The sequence number a virtual camera writes into the first pixel bytes of each frame.
std::uint64_t sequence_of(const zelt::host::RecordedSample& sample);

/// What the host can observe of the plug-in without changing it: channel ids, and for every
/// channel each key with its alternative and text (or the text of what reading it threw),
/// the plug-in configuration's items, and the messages posted so far.
std::string observe(zelt::IfDAQPlugin& plugin,
                    const zelt::host::RecordingExceptionManager& exceptions);

class HostInputTest : public ::testing::Test {
protected:
    static constexpr std::uint32_t kPluginId = 5;

    void SetUp() override;
    void TearDown() override;

    /// Describes `cameras`, creates the plug-in and brings it up as a host does, with the
    /// exception manager `exceptions` (may be null).
    void open(const std::vector<CameraDescription>& cameras, zelt::IfExceptionManager* exceptions);
    void close();

    /// The host's acquisition sequence up to delivery (see zelt_host/acquisition.h); true
    /// when prepareAcquisition answered true. Waits up to 5 s for checkChannels.
    bool startAcquisition(const std::vector<std::uint32_t>& ids,
                          std::shared_ptr<zelt::IfTimeSource> time_source);
    void stopAcquisition();

    std::shared_ptr<zelt::host::RecordingSampleSink> attachSink(std::uint32_t id);
    std::shared_ptr<channel_config::IfChannelConfig> channel(std::uint32_t id);
    std::string text(std::uint32_t id, const std::string& key);
    std::string observe() { return zelt_reliability::observe(*m_plugin, m_exceptions); }

    // Declared so that they outlive the plug-in: the bus watches run on the main context's
    // thread; channels post to the exception manager.
    zelt::host::MainContextThread m_main_context;
    zelt::host::RecordingExceptionManager m_exceptions;
    std::shared_ptr<zelt::host::SteadyTimeSource> m_time_source =
        std::make_shared<zelt::host::SteadyTimeSource>();
    test::RecordingAssertions m_assertions;
    std::string m_camera_file;
    zelt::IfPluginCommon* m_plugin_object = nullptr;
    zelt::IfDAQPlugin* m_plugin = nullptr;
};

}  // namespace zelt_reliability
