#include "zelt_host/host.h"

#include <gst/gst.h>

#include <mutex>
#include <ostream>
#include <utility>

#include "gst_support/gst_ptr.h"
#include "zelt_host/acquisition.h"

namespace zelt::host {

void ensureGStreamerInitialized() {
    static std::mutex mutex;
    std::lock_guard<std::mutex> lock(mutex);
    if (gst_is_initialized()) return;
    GError* raw_error = nullptr;
    if (!gst_init_check(nullptr, nullptr, &raw_error)) {
        const gst_support::GErrorPtr error(raw_error);
        throw HostError(std::string("cannot initialise GStreamer: ") +
                        (error != nullptr ? error->message : "unknown error"));
    }
}

Host::Host(HostOptions options)
    : m_exceptions(options.error_output),
      m_time_source(std::make_shared<SteadyTimeSource>(options.time_frequency)),
      m_error_output(options.error_output) {
    ensureGStreamerInitialized();
}

Host::~Host() { close(); }

void Host::open(const std::string& path, std::uint32_t plugin_id) {
    close();
    m_library.emplace(path);
    try {
        zelt::IfPluginCommon* created = nullptr;
        if (!m_library->creator().createPlugin(kCameraPluginKind, kCameraPluginTypeId, &created) ||
            created == nullptr) {
            throw HostError("plug-in library '" + path + "' refused to create a " +
                            kCameraPluginKind + " plug-in");
        }
        m_plugin_object = created;
        auto* plugin = dynamic_cast<zelt::IfDAQPlugin*>(created);
        if (plugin == nullptr) {
            throw HostError("the " + std::string(kCameraPluginKind) + " plug-in of '" + path +
                            "' is not a data-acquisition plug-in");
        }
        m_plugin = plugin;
        m_plugin->setPluginId(plugin_id);
        m_plugin->setExceptionManager(&m_exceptions);
        if (!m_plugin->init()) {
            throw HostError("the plug-in of '" + path + "' failed to initialise");
        }
        m_plugin->startDeviceMonitoring();
        m_plugin->updateChannels();
    } catch (...) {
        close();
        throw;
    }
}

void Host::openDefault(std::uint32_t plugin_id) { open(defaultCameraPluginPath(), plugin_id); }

void Host::close() noexcept {
    if (m_acquisition != nullptr) m_acquisition->stop();
    if (m_plugin != nullptr) m_plugin->deinit();
    destroyPlugin();
    m_library.reset();
}

void Host::destroyPlugin() noexcept {
    if (m_plugin_object == nullptr) return;
    zelt::IfPluginCommon* object = std::exchange(m_plugin_object, nullptr);
    m_plugin = nullptr;
    if (!m_library->creator().destroyPlugin(kCameraPluginTypeId, object) &&
        m_error_output != nullptr) {
        // The creator keeps the plug-in alive; nothing else can free it.
        *m_error_output << "warning: plug-in library '" << m_library->path()
                        << "' refused to destroy its plug-in" << std::endl;
    }
}

zelt::IfDAQPlugin& Host::plugin() const {
    if (m_plugin == nullptr) throw HostError("no plug-in is open");
    return *m_plugin;
}

const PluginLibrary& Host::library() const {
    if (!m_library.has_value()) throw HostError("no plug-in library is loaded");
    return *m_library;
}

void Host::setTimeSource(std::shared_ptr<zelt::IfTimeSource> time_source) {
    m_time_source = std::move(time_source);
}

std::vector<std::uint32_t> Host::channelIds() const {
    const std::set<std::uint32_t> ids = plugin().getChannelIds();
    return std::vector<std::uint32_t>(ids.begin(), ids.end());
}

std::shared_ptr<channel_config::IfChannelConfig> Host::channel(std::uint32_t id) const {
    return plugin().getChannel(id);
}

std::shared_ptr<channel_config::IfChannelConfig> Host::requireChannel(std::uint32_t id) const {
    auto found = channel(id);
    if (found == nullptr) throw HostError("the plug-in has no channel " + std::to_string(id));
    return found;
}

config_items::ConfigItem Host::item(std::uint32_t id, const std::string& key) const {
    return requireChannel(id)->getConfigItem(key);
}

std::string Host::itemText(std::uint32_t id, const std::string& key) const {
    return config_items::toString(item(id, key));
}

bool Host::setItem(std::uint32_t id, const std::string& key, const config_items::ConfigItem& item) {
    return requireChannel(id)->setConfigItem(key, item);
}

std::string Host::pluginItemText(const std::string& key) const {
    const auto config = plugin().getConfig();
    if (config == nullptr) throw HostError("the plug-in has no configuration");
    return config_items::toString(config->getConfigItem(key));
}

void Host::setSampleSink(std::uint32_t id, std::shared_ptr<zelt::IfSampleSink> sink) {
    requireChannel(id)->setSampleSink(std::move(sink));
}

}  // namespace zelt::host
