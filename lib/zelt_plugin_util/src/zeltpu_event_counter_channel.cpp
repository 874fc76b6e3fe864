#include <boost/make_shared.hpp>
#include <utility>

#include "zeltpu/event_counter_channel.h"
#include "zeltpu/keys.h"

namespace zelt::plugin_util {
namespace {

constexpr double kRangeMin = 0.0;
constexpr double kRangeMax = 2147483647.0;
constexpr const char* kModeEvents = "Events";
constexpr const char* kNotApplicable = "N/A";

}  // namespace

EventCounterChannel::EventCounterChannel(std::string name, std::string short_id, std::string unit)
    : m_default_name(keys::kDefaultName, std::move(name)),
      m_short_id(keys::kShortId, std::move(short_id)),
      m_unit(keys::kUnit, unit),
      m_range(kRangeMin, kRangeMax, unit),
      m_mode(keys::kMode, kModeEvents),
      m_threshold(keys::kThreshold, kNotApplicable),
      m_retrigger(keys::kReTrigger, kNotApplicable),
      m_counter_filter(keys::kCounterFilter, kNotApplicable),
      m_channel_type(keys::kChannelType, channel_config::DAQChannelType::Counter),
      m_sample_update_type(keys::kSampleUpdateType, channel_config::SampleOccurrenceType::Event),
      m_sample_resolution(keys::kSampleResolution,
                          channel_config::DAQSampleResolution::Unsigned32) {
    addOption(m_default_name);
    addOption(m_short_id);
    addOption(m_unit);
    addOption(m_range);
    addOption(m_mode);
    addOption(m_threshold);
    addOption(m_retrigger);
    addOption(m_counter_filter);
    addOption(m_channel_type);
    addOption(m_sample_update_type);
    addOption(m_sample_resolution);
}

EventCounterChannel::~EventCounterChannel() = default;

void EventCounterChannel::countEvent(std::uint64_t timestamp) {
    // The sample is the count before this event: the first event after a reset writes 0.
    const std::uint32_t previous = m_count.fetch_add(1);
    // The host may replace the sink from any thread while events are counted on the
    // acquisition thread: the reference taken here keeps the sink alive during the call.
    if (const std::shared_ptr<zelt::IfSampleSink> sink = usage().sharedSampleSink()) {
        sink->addSample(timestamp, 0, &previous, sizeof previous);
    }
}

void EventCounterChannel::resetCount(std::uint32_t value) { m_count.store(value); }

void EventCounterChannel::setActive(bool active) {
    m_active = active;
    usage().setActive(active);
}

void EventCounterChannel::addTextOption(const std::string& key, std::string value) {
    addOption(boost::make_shared<ConstantGenericOption<std::string>>(key, std::move(value)));
}

void EventCounterChannel::addUsedOption(bool used) {
    usage().setUsed(used);
    addOption(boost::make_shared<ChannelUsedOption>(usage()));
}

void EventCounterChannel::setIdentity(const std::string& channel_index,
                                      const std::string& sub_channel_id, const std::string& info) {
    if (m_channel_index) {
        m_channel_index->set(channel_index);
        m_sub_channel_id->set(sub_channel_id);
        m_additional_info->set(info);
        usage().setUsed(false);
        return;
    }
    m_channel_index = boost::make_shared<ConstantGenericOption<std::string>>(
        keys::kIdCameraChannelIndex, channel_index);
    m_sub_channel_id = boost::make_shared<ConstantGenericOption<std::string>>(
        keys::kIdCameraSubChannelId, sub_channel_id);
    m_additional_info =
        boost::make_shared<ConstantGenericOption<std::string>>(keys::kAdditionalChannelInfo2, info);
    addOption(m_channel_index);
    addOption(m_sub_channel_id);
    addOption(m_additional_info);
    addUsedOption(false);
}

}  // namespace zelt::plugin_util
