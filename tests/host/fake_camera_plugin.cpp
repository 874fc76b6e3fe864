// A stand-in "CAMERA" plug-in library for the host runtime's tests.
//
// It implements the host kit the way the camera plug-in does, without cameras: two channels
// (ids 0 and 1) whose producer threads make a small image frame every millisecond once they
// are prepared, and hand it to the channel's sink only while delivery is on (slots 27/28).
// Every call of the DAQ plug-in interface is recorded by its slot number; the tests read the
// record through the extra export zelt_fake_slot_log. Built three times: as is, without
// ZELT_getPluginFactory (ZELT_FAKE_WITHOUT_FACTORY), and offering another kind than "CAMERA"
// (ZELT_FAKE_KIND).
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "channel_config/channel_config.h"
#include "config_items/config_items.h"
#include "plugin_api/service.h"
#include "zelt/daq_plugin.h"
#include "zelt/exception_manager.h"
#include "zelt/sample_sink.h"

#ifndef ZELT_FAKE_KIND
#define ZELT_FAKE_KIND "CAMERA"
#endif

#define ZELT_FAKE_EXPORT extern "C" __attribute__((visibility("default")))

namespace fake {
namespace {

using config_items::ConfigItem;

constexpr tsa::Uuid kTypeId = {{0xD4, 0x02, 0x50, 0xC7, 0x33, 0xF6, 0x4E, 0xCE, 0x9A, 0x88, 0xBA,
                                0xE8, 0xEE, 0x6D, 0x5F, 0xA5}};
constexpr std::uint32_t kFormatGrey = 0x59455247;  // "GREY"
constexpr std::uint32_t kWidth = 4;
constexpr std::uint32_t kHeight = 2;
constexpr std::size_t kFrameSize = 12 + kWidth * kHeight;

std::mutex g_log_mutex;
std::vector<int> g_slots;
std::atomic<int> g_live_plugins{0};

void record(int slot) {
    std::lock_guard<std::mutex> lock(g_log_mutex);
    g_slots.push_back(slot);
}

void putLittleEndian32(std::uint32_t value, std::uint8_t* out) {
    for (int i = 0; i < 4; ++i) out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

class FakePluginConfig final : public zelt::IfPluginConfig {
public:
    FakePluginConfig() {
        m_keys = {"Fake/NeverReady", "Fake/FailPrepare"};
        for (const auto& key : m_keys)
            m_items[key] = config_items::SingleValueConfigItem<bool>(false);
    }
    bool setConfigItem(const std::string& key, const ConfigItem& item) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_items.count(key) == 0) return false;
        m_items[key] = item;
        return true;
    }
    ConfigItem getConfigItem(const std::string& key) const override {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = m_items.find(key);
        return it != m_items.end() ? it->second : ConfigItem(config_items::InvalidConfigItem());
    }
    bool hasConfigItem(const std::string& key) const override {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_items.count(key) != 0;
    }
    std::vector<std::string> getConfigItemKeys() const override { return m_keys; }
    config_items::ConstraintList getConstraints(const std::string&) const override { return {}; }
    ConfigItem adjustConfigItem(const std::string&, const ConfigItem& item) override {
        return item;
    }

    bool flag(const std::string& key) const {
        const ConfigItem item = getConfigItem(key);
        const auto* value = boost::get<config_items::SingleValueConfigItem<bool>>(&item);
        return value != nullptr && value->m_value;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_keys;
    std::map<std::string, ConfigItem> m_items;
};

class FakeChannel final : public channel_config::IfChannelConfig {
public:
    FakeChannel(std::uint32_t id, std::string name) : m_id(id), m_name(std::move(name)) {
        m_keys = {"Name", "FramesProduced"};
    }
    ~FakeChannel() override { stopProducing(); }

    const std::vector<std::string>& getKeys() const override { return m_keys; }
    void configurationChanged() override {}
    bool hasKey(const std::string& key) const override {
        return std::find(m_keys.begin(), m_keys.end(), key) != m_keys.end();
    }
    ConfigItem getConfigItem(const std::string& key) const override {
        if (key == "Name") return config_items::StringConfigItem(m_name);
        if (key == "FramesProduced") {
            return config_items::SingleValueConfigItem<unsigned int>(m_frames.load());
        }
        return config_items::InvalidConfigItem();
    }
    config_items::ConstraintList getConstraints(const std::string&) const override { return {}; }
    bool setConfigItem(const std::string&, const ConfigItem&) override { return false; }
    void addChannelConstraint(config_items::ConstraintPtr) override {}
    void addOptionChangeListener(channel_config::OptionChangeListener) override {}
    void setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_sink = std::move(sink);
    }

    std::uint32_t id() const { return m_id; }
    const std::string& name() const { return m_name; }
    bool used() const { return m_used; }
    void setUsed(bool used) { m_used = used; }
    bool producing() const { return m_thread.joinable(); }
    bool ready() const { return m_frames.load() > 0 || m_error != nullptr; }

    void setTimeSource(std::shared_ptr<zelt::IfTimeSource> time_source) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_time_source = std::move(time_source);
    }
    void setDelivering(bool on) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_delivering = on;
    }

    void startProducing() {
        if (m_thread.joinable()) return;
        m_frames = 0;
        m_stop = false;
        m_thread = std::thread([this] { produce(); });
    }
    void stopProducing() {
        if (!m_thread.joinable()) return;
        m_stop = true;
        m_thread.join();
    }

    void postError(zelt::IfExceptionManager* manager) {
        clearError(manager);
        m_error = std::make_unique<zelt::ErrorMessage>("ZELT_CAMERA", "Could not start camera %1",
                                                       m_name);
        if (manager != nullptr) manager->postMessage(m_error.get());
    }
    void clearError(zelt::IfExceptionManager* manager) {
        if (m_error == nullptr) return;
        if (manager != nullptr) manager->withdrawMessage(m_error.get());
        m_error.reset();
    }

private:
    void produce() {
        std::uint8_t frame[kFrameSize];
        putLittleEndian32(kFormatGrey, frame);
        putLittleEndian32(kWidth, frame + 4);
        putLittleEndian32(kHeight, frame + 8);
        while (!m_stop) {
            const std::uint32_t number = ++m_frames;
            {
                std::lock_guard<std::mutex> lock(m_mutex);
                if (m_delivering && m_sink != nullptr) {
                    std::memset(frame + 12, static_cast<int>(number & 0xFF), kWidth * kHeight);
                    const std::uint64_t stamp =
                        m_time_source != nullptr ? m_time_source->getCurrentTicks() : number;
                    m_sink->addSample(stamp, 0, frame, static_cast<std::uint32_t>(kFrameSize));
                }
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    const std::uint32_t m_id;
    const std::string m_name;
    std::vector<std::string> m_keys;
    bool m_used = false;
    std::unique_ptr<zelt::ErrorMessage> m_error;

    std::mutex m_mutex;  // guards the three below, and the hand-over of a frame
    std::shared_ptr<zelt::IfSampleSink> m_sink;
    std::shared_ptr<zelt::IfTimeSource> m_time_source;
    bool m_delivering = false;

    std::atomic<std::uint32_t> m_frames{0};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

class FakePlugin final : public zelt::IfDAQPlugin {
public:
    FakePlugin() : m_config(std::make_shared<FakePluginConfig>()) {
        m_channels.push_back(std::make_shared<FakeChannel>(0, "Fake camera 0"));
        m_channels.push_back(std::make_shared<FakeChannel>(1, "Fake camera 1"));
        ++g_live_plugins;
    }
    ~FakePlugin() override {
        record(0);
        for (auto& channel : m_channels) channel->stopProducing();
        --g_live_plugins;
    }

    std::string getPluginName() override {
        record(1);
        return "Fake camera";
    }
    tsa::Uuid getPluginInstanceTypeId() override {
        record(2);
        return kTypeId;
    }
    std::uint32_t getPluginId() override {
        record(3);
        return m_plugin_id;
    }
    void setPluginId(std::uint32_t id) override {
        record(4);
        m_plugin_id = id;
    }
    tsa::Uuid getPluginTypeId() override {
        record(5);
        return kTypeId;
    }
    bool init() override {
        record(6);
        return true;
    }
    bool startDeviceMonitoring() override {
        record(7);
        return true;
    }
    bool stopDeviceMonitoring() override {
        record(8);
        return true;
    }
    void deinit() override {
        record(9);
        for (auto& channel : m_channels) {
            channel->stopProducing();
            channel->clearError(m_exceptions);
        }
    }
    std::shared_ptr<zelt::IfPluginConfig> getConfig() override {
        record(10);
        return m_config;
    }
    void configChanged() override { record(11); }
    void updateChannels() override { record(12); }
    bool hasChannelsChanged() override {
        record(13);
        return false;
    }
    plugin_api::IfServiceFactory* getServiceFactory() override {
        record(14);
        return nullptr;
    }
    void setExceptionManager(zelt::IfExceptionManager* manager) override {
        record(15);
        m_exceptions = manager;
    }
    bool isLicensed() override {
        record(16);
        return true;
    }
    void setChannelUsed(std::uint32_t id, bool used) override {
        record(17);
        for (auto& channel : m_channels) {
            if (channel->id() == id) channel->setUsed(used);
        }
    }
    void resetChannelsUsed() override {
        record(18);
        for (auto& channel : m_channels) channel->setUsed(false);
    }
    std::set<std::uint32_t> getChannelIds() override {
        record(19);
        std::set<std::uint32_t> ids;
        for (auto& channel : m_channels) ids.insert(channel->id());
        return ids;
    }
    std::uint32_t findChannelIndex(const zelt::ChannelIdentification&) override {
        record(20);
        return zelt::kNoChannel;
    }
    bool prepareAcquisition() override {
        record(21);
        const bool fail = m_config->flag("Fake/FailPrepare");
        bool result = true;
        for (auto& channel : m_channels) {
            if (!channel->used()) continue;
            if (fail) {
                channel->postError(m_exceptions);
                result = false;
            } else {
                channel->clearError(m_exceptions);
                channel->startProducing();
            }
        }
        return result;
    }
    bool isAcquisitionRunning() override {
        record(22);
        return m_running;
    }
    bool checkChannels() override {
        record(23);
        if (m_config->flag("Fake/NeverReady")) return false;
        return std::all_of(m_channels.begin(), m_channels.end(), [](const auto& channel) {
            return !channel->used() || channel->ready();
        });
    }
    bool isClockMaster() override {
        record(24);
        return false;
    }
    void startAcquisition() override {
        record(25);
        m_running = true;
    }
    bool stopAcquisition() override {
        record(26);
        for (auto& channel : m_channels) {
            if (!channel->used()) channel->stopProducing();
        }
        m_running = false;
        return true;
    }
    bool canStopAcquisition() override {
        record(27);
        for (auto& channel : m_channels) {
            if (channel->used()) channel->setDelivering(true);
        }
        return true;
    }
    bool finishAcquisition() override {
        record(28);
        for (auto& channel : m_channels) channel->setDelivering(false);
        return true;
    }
    bool cleanupAcquisition() override {
        record(29);
        return true;
    }
    std::shared_ptr<zelt::IfTimeBaseProvider> getTimeBaseProvider(std::uint32_t) override {
        record(30);
        return nullptr;
    }
    void setTimeSource(std::shared_ptr<zelt::IfTimeSource> time_source) override {
        record(31);
        for (auto& channel : m_channels) channel->setTimeSource(time_source);
    }
    bool synchronizeTimeSource() override {
        record(32);
        return true;
    }
    std::shared_ptr<channel_config::IfChannelConfig> getChannel(std::uint32_t id) override {
        record(33);
        for (auto& channel : m_channels) {
            if (channel->id() == id) return channel;
        }
        return nullptr;
    }
    double getSampleRate() override {
        record(34);
        return std::numeric_limits<double>::quiet_NaN();
    }

private:
    std::uint32_t m_plugin_id = 0xFFFFFFF6;
    zelt::IfExceptionManager* m_exceptions = nullptr;
    std::shared_ptr<FakePluginConfig> m_config;
    std::vector<std::shared_ptr<FakeChannel>> m_channels;
    bool m_running = false;
};

class FakeCreator final : public plugin_api::IfPluginCreator {
public:
    std::uint32_t getPluginTypeCount() override { return 1; }
    bool supportsPluginType(std::int32_t index, const tsa::Uuid& type_id) override {
        return index == 0 && type_id == kTypeId;
    }
    const char* getPluginTypeName(std::int32_t index) override {
        return index == 0 ? ZELT_FAKE_KIND : nullptr;
    }
    bool createPlugin(const char* kind, const tsa::Uuid& type_id,
                      zelt::IfPluginCommon** plugin) override {
        *plugin = nullptr;
        if (kind == nullptr || std::strcmp(kind, ZELT_FAKE_KIND) != 0 || type_id != kTypeId) {
            return false;
        }
        *plugin = new FakePlugin();
        return true;
    }
    bool destroyPlugin(const tsa::Uuid& type_id, zelt::IfPluginCommon* plugin) override {
        if (plugin == nullptr) return true;
        if (type_id != kTypeId) return false;
        delete plugin;
        return true;
    }
};

FakeCreator g_creator;

}  // namespace
}  // namespace fake

ZELT_FAKE_EXPORT const char* ZELT_getPluginDllName() { return ZELT_FAKE_KIND; }

#ifndef ZELT_FAKE_WITHOUT_FACTORY
ZELT_FAKE_EXPORT plugin_api::IfPluginCreator* ZELT_getPluginFactory() { return &fake::g_creator; }
#endif

/// Copies up to `capacity` recorded slot numbers to `out`; returns how many are recorded.
ZELT_FAKE_EXPORT std::size_t zelt_fake_slot_log(int* out, std::size_t capacity) {
    std::lock_guard<std::mutex> lock(fake::g_log_mutex);
    const std::size_t n = std::min(capacity, fake::g_slots.size());
    std::copy(fake::g_slots.begin(), fake::g_slots.begin() + static_cast<std::ptrdiff_t>(n), out);
    return fake::g_slots.size();
}

ZELT_FAKE_EXPORT void zelt_fake_clear_slot_log() {
    std::lock_guard<std::mutex> lock(fake::g_log_mutex);
    fake::g_slots.clear();
}

/// Plug-in objects created and not yet destroyed.
ZELT_FAKE_EXPORT int zelt_fake_live_plugins() { return fake::g_live_plugins.load(); }
