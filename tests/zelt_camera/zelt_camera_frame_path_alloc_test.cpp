// The steady-state frame path allocates nothing: every operator new of the process is counted
// while a hundred frames go from a virtual camera through the channel to a sink.
#include <atomic>
#include <cstdlib>
#include <new>

#include "zelt_camera_channel_fixture.h"

namespace {

std::atomic<std::uint64_t> g_allocations{0};

}  // namespace

void* operator new(std::size_t size) {
    ++g_allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) {
    ++g_allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}
// Not inlined: inlined into a container's deallocation, the free() looked to GCC like the
// release of memory that came from the built-in operator new (-Wmismatched-new-delete).
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace zelt_camera {
namespace {

/// Counts samples; allocates nothing.
class CountingSink final : public zelt::IfSampleSink {
public:
    void addSample(std::uint64_t, std::uint64_t, const void*, std::uint32_t) override {
        ++m_samples;
    }
    void addStreamEvent(std::uint32_t, std::uint64_t) override {}
    std::uint64_t samples() const { return m_samples.load(); }

private:
    std::atomic<std::uint64_t> m_samples{0};
};

void wait_for(const CountingSink& sink, std::uint64_t count) {
    for (int i = 0; i < 5000 && sink.samples() < count; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

TEST_F(CameraChannelTest, SteadyStateFramePathMakesNoHeapAllocation) {
    // Benchmark mode: the virtual camera itself re-wraps preallocated frames, so every
    // allocation counted belongs to the path from the appsink to the host's sink.
    auto description = camera("alloc",
                              "video/x-raw, format=YUY2, width=320, height=240, "
                              "framerate=200/1, pixel-aspect-ratio=1/1");
    description.benchmark = true;
    makeChannel(description);
    m_channel->createCounterChannel();
    auto frames = std::make_shared<CountingSink>();
    auto counts = std::make_shared<CountingSink>();
    m_channel->counterChannel()->usage().setUsed(true);
    m_channel->counterChannel()->setSampleSink(counts);
    ASSERT_TRUE(start(frames));
    m_channel->onAcquisitionStarted();
    m_channel->beginDelivery();

    wait_for(*frames, 20);  // warm-up: first frames, lazy initialisation in GStreamer
    ASSERT_GE(frames->samples(), 20u);
    const std::uint64_t before = g_allocations.load();
    const std::uint64_t first = frames->samples();
    wait_for(*frames, first + 100);
    const std::uint64_t allocations = g_allocations.load() - before;
    const std::uint64_t delivered = frames->samples() - first;

    m_channel->endDelivery();
    ASSERT_GE(delivered, 100u);
    EXPECT_EQ(allocations, 0u) << "over " << delivered << " frames";
    EXPECT_GE(counts->samples(), frames->samples() - 1);
}

}  // namespace
}  // namespace zelt_camera
