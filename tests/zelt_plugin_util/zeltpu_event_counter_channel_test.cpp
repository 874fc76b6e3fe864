#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "zeltpu/event_counter_channel.h"
#include "zeltpu/keys.h"
#include "zeltpu_test_support.h"

namespace {

namespace pu = zelt::plugin_util;
namespace keys = zelt::plugin_util::keys;
using config_items::ConfigItem;
using config_items::SingleValueConfigItem;
using config_items::StringConfigItem;
using zeltpu_test::RecordingSampleSink;
using Keys = std::vector<std::string>;

const Keys kCounterKeys = {
    "DefaultName",     "ShortId",   "Unit",           "Range",       "Mode",
    "Threshold",       "ReTrigger", "Counter_Filter", "ChannelType", "SampleUpdateType",
    "SampleResolution"};

class EventCounterChannelTest : public ::testing::Test {
protected:
    EventCounterChannelTest() : m_counter("Cam RcvdCNT", "Cam RcvdCNT", "frames") {}

    std::string text(const std::string& key) const {
        return boost::get<StringConfigItem>(m_counter.getConfigItem(key)).m_value;
    }
    std::vector<std::uint32_t> counts() const {
        std::vector<std::uint32_t> values;
        for (const auto& sample : m_sink->samples()) values.push_back(sample.asCount());
        return values;
    }

    std::shared_ptr<RecordingSampleSink> m_sink = std::make_shared<RecordingSampleSink>();
    pu::EventCounterChannel m_counter;
};

TEST_F(EventCounterChannelTest, ConstructorRegistersElevenOptionsInOrder) {
    EXPECT_EQ(m_counter.getKeys(), kCounterKeys);
}

TEST_F(EventCounterChannelTest, TextOptionsHoldTheConstructorsTextsAndNotApplicable) {
    EXPECT_EQ(text(keys::kDefaultName), "Cam RcvdCNT");
    EXPECT_EQ(text(keys::kShortId), "Cam RcvdCNT");
    EXPECT_EQ(text(keys::kUnit), "frames");
    EXPECT_EQ(text(keys::kMode), "Events");
    EXPECT_EQ(text(keys::kThreshold), "N/A");
    EXPECT_EQ(text(keys::kReTrigger), "N/A");
    EXPECT_EQ(text(keys::kCounterFilter), "N/A");
}

TEST_F(EventCounterChannelTest, RangeIsZeroTo2147483647InTheUnit) {
    const ConfigItem item = m_counter.getConfigItem(keys::kRange);
    ASSERT_EQ(item.which(), config_items::kRangeItem);
    const auto& range = boost::get<config_items::RangeConfigItem<double>>(item);
    EXPECT_EQ(range.m_min, 0.0);
    EXPECT_EQ(range.m_max, 2147483647.0);
    EXPECT_EQ(range.m_min_unit, "frames");
    EXPECT_EQ(range.m_max_unit, "frames");
}

TEST_F(EventCounterChannelTest, TypeOccurrenceAndResolutionAreCounterEventAndUnsigned32) {
    const ConfigItem type = m_counter.getConfigItem(keys::kChannelType);
    const ConfigItem occurrence = m_counter.getConfigItem(keys::kSampleUpdateType);
    const ConfigItem resolution = m_counter.getConfigItem(keys::kSampleResolution);
    ASSERT_EQ(type.which(), config_items::kChannelTypeItem);
    ASSERT_EQ(occurrence.which(), config_items::kSampleOccurrenceItem);
    ASSERT_EQ(resolution.which(), config_items::kSampleResolutionItem);
    EXPECT_EQ(static_cast<int>(
                  boost::get<SingleValueConfigItem<channel_config::DAQChannelType>>(type).m_value),
              3);
    EXPECT_EQ(
        static_cast<int>(
            boost::get<SingleValueConfigItem<channel_config::SampleOccurrenceType>>(occurrence)
                .m_value),
        1);
    EXPECT_EQ(static_cast<int>(
                  boost::get<SingleValueConfigItem<channel_config::DAQSampleResolution>>(resolution)
                      .m_value),
              4);
}

TEST_F(EventCounterChannelTest, EveryOptionRefusesWrites) {
    EXPECT_FALSE(m_counter.setConfigItem(keys::kMode, StringConfigItem("Other")));
    EXPECT_FALSE(m_counter.setConfigItem(keys::kDefaultName, StringConfigItem("Other")));
    EXPECT_EQ(text(keys::kMode), "Events");
}

TEST_F(EventCounterChannelTest, ThreeEventsAfterAResetWriteZeroOneTwoAtTheirTimeStamps) {
    m_counter.setSampleSink(m_sink);
    m_counter.resetCount(0);
    m_counter.countEvent(1000);
    m_counter.countEvent(2000);
    m_counter.countEvent(3500);
    ASSERT_EQ(m_sink->samples().size(), 3u);
    EXPECT_EQ(counts(), (std::vector<std::uint32_t>{0, 1, 2}));
    EXPECT_EQ(m_sink->samples()[0].timestamp, 1000u);
    EXPECT_EQ(m_sink->samples()[1].timestamp, 2000u);
    EXPECT_EQ(m_sink->samples()[2].timestamp, 3500u);
    EXPECT_EQ(m_counter.count(), 3u);
}

TEST_F(EventCounterChannelTest, EachSampleIsFourBytesWithReservedZero) {
    m_counter.setSampleSink(m_sink);
    m_counter.countEvent(1);
    ASSERT_EQ(m_sink->samples().size(), 1u);
    EXPECT_EQ(m_sink->samples()[0].data.size(), 4u);
    EXPECT_EQ(m_sink->samples()[0].reserved, 0u);
}

TEST_F(EventCounterChannelTest, ChannelWithoutASinkStillCounts) {
    m_counter.countEvent(10);
    m_counter.countEvent(20);
    m_counter.setSampleSink(m_sink);
    m_counter.countEvent(30);
    ASSERT_EQ(m_sink->samples().size(), 1u);
    EXPECT_EQ(m_sink->samples()[0].asCount(), 2u);
    EXPECT_EQ(m_sink->samples()[0].timestamp, 30u);
}

TEST_F(EventCounterChannelTest, CountWrapsFrom4294967295ToZero) {
    m_counter.setSampleSink(m_sink);
    m_counter.resetCount(4294967295u);
    m_counter.countEvent(1);
    EXPECT_EQ(m_counter.count(), 0u);
    m_counter.countEvent(2);
    EXPECT_EQ(counts(), (std::vector<std::uint32_t>{4294967295u, 0}));
}

TEST_F(EventCounterChannelTest, ResetCountStartsTheNextSampleAtTheValue) {
    m_counter.setSampleSink(m_sink);
    m_counter.countEvent(1);
    m_counter.resetCount(7);
    m_counter.countEvent(2);
    EXPECT_EQ(counts(), (std::vector<std::uint32_t>{0, 7}));
}

TEST_F(EventCounterChannelTest, RemovedSinkReceivesNothingMore) {
    m_counter.setSampleSink(m_sink);
    m_counter.countEvent(1);
    m_counter.setSampleSink(nullptr);
    m_counter.countEvent(2);
    EXPECT_EQ(m_sink->samples().size(), 1u);
    EXPECT_EQ(m_counter.count(), 2u);
}

TEST_F(EventCounterChannelTest, SetActiveSetsTheCountersAndTheUsagesFlag) {
    EXPECT_FALSE(m_counter.isActive());
    m_counter.setActive(true);
    EXPECT_TRUE(m_counter.isActive());
    EXPECT_TRUE(m_counter.usage().isActive());
    m_counter.setActive(false);
    EXPECT_FALSE(m_counter.isActive());
    EXPECT_FALSE(m_counter.usage().isActive());
}

TEST_F(EventCounterChannelTest, SetOwnerIdKeepsTheLocalId) {
    m_counter.setChannelId({0, 0x10003});
    m_counter.setOwnerId(5);
    EXPECT_EQ(m_counter.channelId(), (channel_config::ChannelID{5, 0x10003}));
}

TEST_F(EventCounterChannelTest, CounterWithoutIdentityIsNoSubChannel) {
    EXPECT_FALSE(m_counter.hasKey(keys::kIdCameraSubChannelId));
    EXPECT_FALSE(m_counter.hasKey(keys::kUsed));
}

TEST_F(EventCounterChannelTest, IdentityAddsItsKeysAfterTheElevenAndUsedFalse) {
    m_counter.usage().setUsed(true);
    m_counter.setIdentity("/dev/video0", "CntReceived", "Received frames");
    Keys expected = kCounterKeys;
    expected.insert(expected.end(), {"ID:CAMERA/ChannelIndex", "ID:CAMERA/SubChannelId",
                                     "AdditionalChannelInfo2", "Used"});
    EXPECT_EQ(m_counter.getKeys(), expected);
    EXPECT_TRUE(m_counter.hasKey(keys::kIdCameraSubChannelId));
    EXPECT_EQ(text(keys::kIdCameraChannelIndex), "/dev/video0");
    EXPECT_EQ(text(keys::kIdCameraSubChannelId), "CntReceived");
    EXPECT_EQ(text(keys::kAdditionalChannelInfo2), "Received frames");
    EXPECT_FALSE(
        boost::get<SingleValueConfigItem<bool>>(m_counter.getConfigItem(keys::kUsed)).m_value);
    EXPECT_FALSE(m_counter.setConfigItem(keys::kIdCameraSubChannelId, StringConfigItem("x")));
}

TEST_F(EventCounterChannelTest, UsedOptionWritesTheCountersUsedFlag) {
    m_counter.setIdentity("/dev/video0", "CntReceived", "Received frames");
    EXPECT_TRUE(m_counter.setConfigItem(keys::kUsed, SingleValueConfigItem<bool>(true)));
    EXPECT_TRUE(m_counter.usage().isUsed());
    EXPECT_TRUE(m_counter.setConfigItem(keys::kUsed, SingleValueConfigItem<bool>(false)));
    EXPECT_FALSE(m_counter.usage().isUsed());
}

TEST_F(EventCounterChannelTest, SecondIdentityChangesTheTextsWithoutNewKeys) {
    m_counter.setIdentity("/dev/video0", "CntReceived", "Received frames");
    m_counter.setConfigItem(keys::kUsed, SingleValueConfigItem<bool>(true));
    m_counter.setIdentity("/dev/video1", "CntReceived", "Frames");
    EXPECT_EQ(m_counter.getKeys().size(), kCounterKeys.size() + 4);
    EXPECT_EQ(text(keys::kIdCameraChannelIndex), "/dev/video1");
    EXPECT_EQ(text(keys::kAdditionalChannelInfo2), "Frames");
    EXPECT_FALSE(m_counter.usage().isUsed());
}

TEST(EventCounterChannelThreadsTest, ConcurrentEventsAreAllCounted) {
    pu::EventCounterChannel counter("C", "C", "events");
    std::vector<std::thread> threads;
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&counter] {
            for (int i = 0; i < 10000; ++i) counter.countEvent(static_cast<std::uint64_t>(i));
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(counter.count(), 20000u);
}

}  // namespace
