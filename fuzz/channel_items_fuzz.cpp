// Fuzz target of a host writing arbitrary items to the keys of a camera's channels.
//
// One camera plug-in is created for the process on one virtual camera (the static route of the
// virtual-camera plug-in, through the real device monitor), giving a camera channel and its
// frame counter. Each input is a series of writes: which channel, which key (one of the
// channel's, or any text), which of the twenty ConfigItem alternatives and the values to put
// in it. Before the writes, every writable option is set back to its first value, so that each
// input starts from the same channel.
//
// After every write:
//   - nothing but the documented exception leaves the channel: reading "CAMERA/FrameSetting"
//     when no mode is selected throws std::runtime_error("Could not retrieve current caps
//     value"), and only that;
//   - the channel's keys do not change;
//   - no other key changes its value;
//   - a refused write leaves the key as it was, except "CAMERA/FrameSetting", whose failed
//     choice leaves no mode selected;
//   - an accepted write of a value option stores the alternative that was written.
// A broken rule ends the process with abort(), which the fuzzer reports.
#include <glib.h>
#include <gst/gst.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "channel_config/channel_config.h"
#include "config_items/config_items.h"
#include "vcam/vcam.h"
#include "zelt/daq_plugin.h"
#include "zelt_camera_ids.h"
#include "zelt_camera_plugin_creator.h"

namespace {

namespace ci = config_items;
using ci::ConfigItem;

/// Reads values from the fuzzer's bytes; zeros once they are used up.
class ByteReader {
public:
    ByteReader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    bool empty() const { return m_offset >= m_size; }

    std::uint8_t byte() { return m_offset < m_size ? m_data[m_offset++] : 0; }

    template <typename T>
    T integer() {
        T value{};
        unsigned char bytes[sizeof(T)] = {};
        for (auto& b : bytes) b = byte();
        std::memcpy(&value, bytes, sizeof(T));
        return value;
    }

    double number() {
        // Mostly small whole numbers, sometimes any bit pattern (NaN, infinities, denormals).
        const std::uint8_t kind = byte();
        if (kind < 0xC0) return static_cast<double>(integer<std::int16_t>());
        return integer<double>();
    }

    /// A text of up to 63 bytes, its length first.
    std::string text() {
        const std::size_t length = byte() % 64;
        std::string out;
        for (std::size_t i = 0; i < length && !empty(); ++i)
            out.push_back(static_cast<char>(byte()));
        return out;
    }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_offset = 0;
};

// The value of each key of a channel, in the order of its keys.
using Snapshot = std::vector<std::string>;

/// The camera plug-in of this process and the reference state of its two channels.
struct Target {
    zelt::IfPluginCommon* object = nullptr;
    zelt::IfDAQPlugin* plugin = nullptr;
    std::vector<std::shared_ptr<channel_config::IfChannelConfig>> channels;
    std::vector<std::vector<std::string>> keys;  // per channel, as first read
    std::vector<Snapshot> first_values;          // per channel, right after a reset
    std::vector<Snapshot> values;                // per channel, during an input
    // The first value of every option a host can change, by (channel, key); the keys an input
    // wrote, which the next reset sets back.
    std::map<std::pair<std::size_t, std::string>, ConfigItem> first_items;
    std::set<std::pair<std::size_t, std::string>> touched;
    std::vector<std::string> modes;  // the camera's frame settings
    std::string first_mode;
};

Target* g_target = nullptr;

// Writes per input: enough for the options that depend on one another (a failed frame setting
// read afterwards, the used flag toggled), few enough to keep each execution short.
constexpr int kWritesPerInput = 4;

void destroy_target() {
    if (g_target == nullptr) return;
    g_target->channels.clear();
    g_target->plugin->deinit();
    zelt_camera::CameraPluginCreator::instance().destroyPlugin(
        zelt_camera::parse_uuid(zelt_camera::kPluginTypeIdText), g_target->object);
    delete g_target;
    g_target = nullptr;
}

[[noreturn]] void broken(const char* rule, const std::string& key) {
    std::fprintf(stderr, "channel_items: %s (key '%s')\n", rule, key.c_str());
    std::abort();
}

/// The value of `key` as "[alternative] text", or the text of what reading it threw.
std::string read(channel_config::IfChannelConfig& channel, const std::string& key) {
    try {
        const ConfigItem item = channel.getConfigItem(key);
        return "[" + std::to_string(item.which()) + "] " + ci::toString(item);
    } catch (const std::runtime_error& error) {
        if (key != "CAMERA/FrameSetting" ||
            std::strcmp(error.what(), "Could not retrieve current caps value") != 0)
            broken("unexpected exception on read", key);
        return "(no mode selected)";
    }
}

Snapshot snapshot(channel_config::IfChannelConfig& channel, const std::vector<std::string>& keys) {
    Snapshot values;
    values.reserve(keys.size());
    for (const std::string& key : keys) values.push_back(read(channel, key));
    return values;
}

void reset(Target& target);

Target* create_target() {
    g_setenv("GST_PLUGIN_PATH", "", TRUE);  // the static route only: no loadable copy
    if (g_getenv("GST_REGISTRY") == nullptr) {
        const std::string registry = std::string(g_get_tmp_dir()) + "/zelt-fuzz-registry-" +
                                     std::to_string(getuid()) + ".bin";
        g_setenv("GST_REGISTRY", registry.c_str(), TRUE);
    }
    g_setenv("ZELT_LOG_LEVEL", "fatal", FALSE);
    gst_registry_fork_set_enabled(FALSE);
    gst_init(nullptr, nullptr);
    zelt_vcam_register_static();
    g_setenv(ZELT_VCAM_ENVIRONMENT_VARIABLE, "1", TRUE);

    auto target = std::make_unique<Target>();
    auto& creator = zelt_camera::CameraPluginCreator::instance();
    if (!creator.createPlugin(zelt_camera::kPluginKind,
                              zelt_camera::parse_uuid(zelt_camera::kPluginTypeIdText),
                              &target->object))
        broken("no plug-in", "");
    target->plugin = dynamic_cast<zelt::IfDAQPlugin*>(target->object);
    target->plugin->setPluginId(1);
    target->plugin->init();
    target->plugin->startDeviceMonitoring();
    target->plugin->updateChannels();
    for (const std::uint32_t id : {0u, zelt_camera::counter_channel_id(0)}) {
        auto channel = target->plugin->getChannel(id);
        if (!channel) broken("no channel", std::to_string(id));
        target->keys.push_back(channel->getKeys());
        target->channels.push_back(std::move(channel));
    }
    auto& camera = *target->channels[0];
    target->first_mode = ci::toString(camera.getConfigItem("CAMERA/FrameSetting"));
    for (const auto& constraint : camera.getConstraints("CAMERA/FrameSetting")) {
        if (const auto* offered =
                dynamic_cast<const ci::OptionConstraint<ci::StringConfigItem>*>(constraint.get()))
            target->modes.push_back(offered->item().m_value);
    }
    const ConfigItem scalar_zero_fps = ci::ScalarConfigItem(0.0, "fps");
    const ConfigItem scalar_zero_pixel = ci::ScalarConfigItem(0.0, "pixel");
    target->first_items = {
        {{0, "Used"}, ci::SingleValueConfigItem<bool>(false)},
        {{1, "Used"}, ci::SingleValueConfigItem<bool>(false)},
        {{0, "SampleRate"}, scalar_zero_fps},
        {{0, "FrameOffsetX"}, scalar_zero_pixel},
        {{0, "FrameOffsetY"}, scalar_zero_pixel},
        {{0, "FrameWidth"}, scalar_zero_pixel},
        {{0, "FrameHeight"}, scalar_zero_pixel},
        {{0, "PixelAspectRatio"}, ci::ScalarConfigItem(0.0, "")},
        {{0, "FrameFormat"}, ci::StringConfigItem("")},
        {{0, "CAMERA/FrameSubsampling"}, ci::SingleValueConfigItem<unsigned int>(1u)},
        {{0, "CAMERA/FrameSetting"}, ci::StringConfigItem(target->first_mode)},
    };
    for (const auto& [channel_and_key, item] : target->first_items)
        target->touched.insert(channel_and_key);
    reset(*target);
    for (std::size_t i = 0; i < target->channels.size(); ++i) {
        target->first_values.push_back(snapshot(*target->channels[i], target->keys[i]));
        for (const std::string& key : target->keys[i]) target->channels[i]->getConstraints(key);
    }
    return target.release();
}

/// Sets the options the last input wrote back to their first values.
void reset(Target& target) {
    for (const auto& [channel, key] : target.touched) {
        const auto first = target.first_items.find({channel, key});
        if (first == target.first_items.end()) continue;  // a constant, or no key at all
        if (!target.channels[channel]->setConfigItem(key, first->second))
            broken("reset refused", key);
    }
    target.touched.clear();
}

std::string any_text(ByteReader& in, const Target& target) {
    const std::uint8_t kind = in.byte();
    if (kind < 0x40 && !target.modes.empty()) return target.modes[kind % target.modes.size()];
    return in.text();
}

std::string any_unit(ByteReader& in) {
    static const char* const kUnits[] = {"", "fps", "pixel", "frames", "V"};
    const std::uint8_t kind = in.byte();
    if (kind < 0xF0) return kUnits[kind % 5];
    return in.text();
}

channel_config::ChannelID any_channel_id(ByteReader& in) {
    return channel_config::ChannelID{in.integer<std::uint32_t>(), in.integer<std::uint32_t>()};
}

/// An item of the alternative `index` (0 to 19) with values from the input, read in the
/// order written here (each value into a local first: the order in which function arguments
/// are evaluated is unspecified).
ConfigItem any_item(int index, ByteReader& in, const Target& target) {
    switch (index) {
        case 0: {
            std::string text = any_text(in, target);
            const std::int32_t kind = in.byte() < 0xF0 ? 0 : in.integer<std::int32_t>();
            return ci::StringConfigItem(std::move(text), kind);
        }
        case 1:
            return ci::SingleValueConfigItem<double>(in.number());
        case 2: {
            const double value = in.number();
            return ci::ScalarConfigItem(value, any_unit(in));
        }
        case 3:
            return ci::SingleValueConfigItem<int>(in.integer<std::int32_t>());
        case 4: {
            const bool small = in.byte() < 0x80;
            return ci::SingleValueConfigItem<unsigned int>(small ? in.byte()
                                                                 : in.integer<std::uint32_t>());
        }
        case 5:
            return ci::SingleValueConfigItem<bool>((in.byte() & 1) != 0);
        case 6: {
            const double min = in.number();
            const double max = in.number();
            std::string min_unit = any_unit(in);
            return ci::RangeConfigItem<double>(min, max, std::move(min_unit), any_unit(in));
        }
        case 7: {
            std::vector<std::string> values(in.byte() % 4);
            for (auto& value : values) value = any_text(in, target);
            return ci::ValueListConfigItem<std::string>(values);
        }
        case 8: {
            std::vector<ci::TupleDD> values(in.byte() % 4);
            for (auto& value : values) {
                const double first = in.number();
                value = ci::TupleDD(first, in.number());
            }
            return ci::ValueListConfigItem<ci::TupleDD>(values);
        }
        case 9: {
            const double value = in.number();
            std::string prefix = in.text();
            return ci::DecoratedNumberConfigItem(value, std::move(prefix), in.text());
        }
        case 10:
            return ci::SingleValueConfigItem<channel_config::UserScalingMode>(
                static_cast<channel_config::UserScalingMode>(in.integer<std::int32_t>()));
        case 11:
            return ci::SingleValueConfigItem<channel_config::DAQChannelType>(
                static_cast<channel_config::DAQChannelType>(in.integer<std::int32_t>()));
        case 12:
            return ci::SingleValueConfigItem<channel_config::SampleOccurrenceType>(
                static_cast<channel_config::SampleOccurrenceType>(in.integer<std::int32_t>()));
        case 13:
            return ci::SingleValueConfigItem<channel_config::DAQSampleResolution>(
                static_cast<channel_config::DAQSampleResolution>(in.integer<std::int32_t>()));
        case 14:
            return ci::SingleValueConfigItem<channel_config::PhysicalQuantity>(
                static_cast<channel_config::PhysicalQuantity>(in.integer<std::int32_t>()));
        case 15: {
            std::string text = in.text();
            return ci::GenericEnumConfigItem(std::move(text), in.text());
        }
        case 16:
            return ci::SingleValueConfigItem<channel_config::ChannelID>(any_channel_id(in));
        case 17: {
            // The host builds a valid rational: a non-zero denominator, no part at the
            // 64-bit minimum (whose negation Boost's normalisation cannot form).
            std::int64_t numerator = in.integer<std::int32_t>();
            std::int64_t denominator = in.integer<std::int32_t>();
            if (denominator == 0) denominator = 1;
            return ci::RationalScalarConfigItem(
                ci::RationalScalarConfigItem::Rational(numerator, denominator), any_unit(in));
        }
        case 18: {
            std::vector<channel_config::ChannelID> values(in.byte() % 4);
            for (auto& value : values) value = any_channel_id(in);
            return ci::ValueListConfigItem<channel_config::ChannelID>(values);
        }
        default:
            return ci::InvalidConfigItem(in.text());
    }
}

// Keys whose option stores the item as written when it accepts it.
bool stores_written_alternative(const std::string& key) {
    return key == "Used" || key == "SampleRate" || key == "FrameOffsetX" || key == "FrameOffsetY" ||
           key == "FrameWidth" || key == "FrameHeight" || key == "PixelAspectRatio" ||
           key == "FrameFormat" || key == "CAMERA/FrameSubsampling";
}

void write_once(Target& target, ByteReader& in) {
    const std::size_t which_channel = in.byte() % target.channels.size();
    auto& channel = *target.channels[which_channel];
    const auto& keys = target.keys[which_channel];
    Snapshot& values = target.values[which_channel];

    const std::uint8_t key_choice = in.byte();
    const std::string key = key_choice < 0xF0 ? keys[key_choice % keys.size()] : in.text();
    const int alternative = in.byte() % 20;
    const ConfigItem item = any_item(alternative, in, target);

    // The values before the write: as the reset left them, or as the last write's check read
    // them (which also proves the reset complete).
    Snapshot before;
    before.swap(values);
    target.touched.insert({which_channel, key});
    const bool accepted = channel.setConfigItem(key, item);
    if (channel.getKeys() != keys) broken("keys changed", key);
    values = snapshot(channel, keys);
    const Snapshot& after = values;
    channel.getConstraints(key);

    std::size_t written = keys.size();  // the key's position, or keys.size() for no key
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (keys[i] == key) written = i;
    if (written == keys.size() && accepted) broken("unknown key accepted", key);
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (i != written && after[i] != before[i]) broken("another key changed", keys[i]);
    if (written == keys.size()) return;
    if (!accepted && key != "CAMERA/FrameSetting" && after[written] != before[written])
        broken("refused write changed the value", key);
    const std::string written_alternative = "[" + std::to_string(alternative) + "] ";
    if (accepted && stores_written_alternative(key) &&
        after[written].compare(0, written_alternative.size(), written_alternative) != 0)
        broken("accepted write stored another alternative", key);
}

}  // namespace

// libFuzzer calls this once before the first input, so that GStreamer's set-up is not taken
// for a leak of the first input; the plain replay driver does not, and the first input does it.
extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    if (g_target == nullptr) {
        g_target = create_target();
        std::atexit(destroy_target);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    LLVMFuzzerInitialize(nullptr, nullptr);
    reset(*g_target);
    g_target->values = g_target->first_values;
    ByteReader in(data, size);
    for (int writes = 0; writes < kWritesPerInput && !in.empty(); ++writes)
        write_once(*g_target, in);
    return 0;
}
