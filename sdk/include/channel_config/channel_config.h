// A channel as the host configures it.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "config_items/config_item_constraints.h"
#include "config_items/config_items.h"

namespace zelt {
class IfSampleSink;
}

namespace channel_config {

/// Called with (key, new value) after an option that the channel changed by itself, such as
/// the frame geometry a camera learns from its first frame.
///
/// Threads. A camera channel calls its listeners on GStreamer's streaming thread of its
/// pipeline ("SampleRate", "FrameWidth", "FrameHeight", "PixelAspectRatio", "FrameFormat" when
/// its first frame arrives after a start), on the host thread inside prepareAcquisition,
/// stopAcquisition and deinit ("Valid"), and on the thread that dispatches GLib's default
/// main context ("Valid" after an error on the camera's bus); so possibly on two threads at
/// once. From inside, a listener may read the channel's options. It must not set options of
/// the channel, register listeners, call the plug-in's acquisition or lifecycle operations
/// (prepare, start, finish, stop, deinit, updateChannels, destroying the plug-in), block for
/// long, or throw (an exception is caught at the plug-in's boundary and the notice is lost).
using OptionChangeListener =
    std::function<void(const std::string& key, const config_items::ConfigItem& value)>;

/// One channel's settings, by key. Only available keys are answered; an unknown key gives an
/// InvalidConfigItem (get), false (set) or no constraints. The host serialises its
/// configuration calls with the plug-in's acquisition calls; reading options and replacing
/// the sample sink are also allowed from the plug-in's callbacks (IfSampleSink,
/// IfExceptionManager, OptionChangeListener) while the channel's camera streams.
class IfChannelConfig {
public:
    virtual ~IfChannelConfig() = default;
    /// The currently available keys in the channel's order. The reference is valid until
    /// the next call that changes the channel.
    virtual const std::vector<std::string>& getKeys() const = 0;
    /// Tells the channel that the host finished a series of changes.
    virtual void configurationChanged() = 0;
    virtual bool hasKey(const std::string& key) const = 0;
    virtual config_items::ConfigItem getConfigItem(const std::string& key) const = 0;
    virtual config_items::ConstraintList getConstraints(const std::string& key) const = 0;
    /// Sets an option; false when the key is unknown or the option refuses the value.
    virtual bool setConfigItem(const std::string& key, const config_items::ConfigItem& item) = 0;
    /// Adds a constraint to every option of the channel.
    virtual void addChannelConstraint(config_items::ConstraintPtr constraint) = 0;
    /// Registers a listener for options the channel changes by itself (channels that never
    /// change options by themselves ignore it). The listener may be called on the channel's
    /// acquisition threads and until the channel is destroyed: keep what it captures alive.
    virtual void addOptionChangeListener(OptionChangeListener listener) = 0;
    /// The sink this channel's samples go to while the host acquires it (null: none). Safe
    /// from any thread, also while the channel delivers and from inside the sink's own
    /// addSample: the next sample goes to the new sink, and the channel keeps the previous
    /// one alive until no call of the channel uses it any more.
    virtual void setSampleSink(std::shared_ptr<zelt::IfSampleSink> sink) = 0;
};

}  // namespace channel_config
