// Frames whose rows GStreamer pads to 4 bytes, through the plug-in as a host loads it: every
// row of every delivered image arrives packed, the header tells the geometry.
#include "e2e_fixture.h"
#include "packed_image_check.h"

namespace zelt_e2e {
namespace {

using zelt_test::PaddedMode;

class PaddedFrameE2eTest : public CameraE2eTest {
protected:
    void expectPackedRows(const PaddedMode& mode) {
        open({small_camera("Padded", "/dev/zelt-padded", mode.format, mode.width, mode.height)});
        zelt::host::RecordingOptions options;
        options.keep_bytes = true;
        auto sink = std::make_shared<zelt::host::RecordingSampleSink>(options);
        m_host->setSampleSink(0, sink);
        {
            zelt::host::Acquisition acquisition(*m_host, {0});
            ASSERT_TRUE(sink->waitForSamples(5, 10s));
        }
        for (const auto& sample : sink->samples()) zelt_test::expect_packed_sample(sample, mode);
    }
};

TEST_F(PaddedFrameE2eTest, I420SixtySixByFortyEightArrivesWithEveryRowPacked) {
    expectPackedRows(zelt_test::kI420SixtySixByFortyEight);
}

TEST_F(PaddedFrameE2eTest, RgbSixtyThreeByFortyEightArrivesWithEveryRowPacked) {
    expectPackedRows(zelt_test::kRgbSixtyThreeByFortyEight);
}

TEST_F(PaddedFrameE2eTest, Nv12OfOddHeightArrivesPackedAndCutToTheImageSize) {
    expectPackedRows(zelt_test::kNv12OfOddHeight);
}

}  // namespace
}  // namespace zelt_e2e
