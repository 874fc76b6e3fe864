// A Host with the fake "CAMERA" plug-in library, and access to the fake's record of the
// slots the host called.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "zelt_host/host.h"
#include "zelt_host/plugin_library.h"

namespace zelt::host::test {

/// The fake's own exports, reached the way a host probes optional exports.
class FakePluginHooks {
public:
    FakePluginHooks() : m_library(ZELT_TEST_FAKE_PLUGIN) {
        m_slot_log = reinterpret_cast<SlotLogFunction>(m_library.symbol("zelt_fake_slot_log"));
        m_clear = reinterpret_cast<ClearFunction>(m_library.symbol("zelt_fake_clear_slot_log"));
        m_live = reinterpret_cast<LiveFunction>(m_library.symbol("zelt_fake_live_plugins"));
    }

    /// The slots called since the last clear, in order.
    std::vector<int> slots() const {
        std::vector<int> out(m_slot_log(nullptr, 0));
        out.resize(m_slot_log(out.data(), out.size()));
        return out;
    }
    /// slots() with runs of one slot (checkChannels polls) written once.
    std::vector<int> collapsedSlots() const {
        std::vector<int> out;
        for (int slot : slots()) {
            if (out.empty() || out.back() != slot) out.push_back(slot);
        }
        return out;
    }
    void clear() const { m_clear(); }
    int livePlugins() const { return m_live(); }
    bool valid() const { return m_slot_log != nullptr && m_clear != nullptr && m_live != nullptr; }

private:
    using SlotLogFunction = std::size_t (*)(int*, std::size_t);
    using ClearFunction = void (*)();
    using LiveFunction = int (*)();

    PluginLibrary m_library;  // keeps the fake loaded, so the record outlives a Host
    SlotLogFunction m_slot_log = nullptr;
    ClearFunction m_clear = nullptr;
    LiveFunction m_live = nullptr;
};

class FakePluginTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_hooks.valid());
        m_hooks.clear();
    }

    /// A host with the fake open (plug-in id 7), the slot record cleared afterwards.
    std::unique_ptr<Host> openHost(HostOptions options = {}) {
        auto host = std::make_unique<Host>(options);
        host->open(ZELT_TEST_FAKE_PLUGIN, 7);
        m_hooks.clear();
        return host;
    }

    FakePluginHooks m_hooks;
};

}  // namespace zelt::host::test
