// Frames whose rows GStreamer pads to 4 bytes reach the host's sink with their rows packed:
// every row of the delivered image, on a camera channel built straight from a virtual camera.
#include "packed_image_check.h"
#include "zelt_camera_channel_fixture.h"

namespace zelt_camera {
namespace {

using zelt_test::PaddedMode;

class PaddedFrameChannelTest : public CameraChannelTest {
protected:
    /// Delivers a few frames of `mode` and checks every row of each.
    void expectPackedRows(const PaddedMode& mode) {
        makeChannel(camera("padded", zelt_test::padded_mode_caps(mode)));
        zelt::host::RecordingOptions options;
        options.keep_bytes = true;
        auto sink = std::make_shared<zelt::host::RecordingSampleSink>(options);
        ASSERT_TRUE(start(sink));
        EXPECT_EQ(m_channel->imageBufferSize(), mode.image_bytes + 12);
        m_channel->beginDelivery();
        ASSERT_TRUE(sink->waitForSamples(3, 10s));
        m_channel->endDelivery();
        for (const auto& sample : sink->samples()) zelt_test::expect_packed_sample(sample, mode);
    }

    bool sizeMismatchReported() const {
        return m_assertions.contains(
            "m_image_buffer.size() == buffer_size + sizeof(image::ImageDataHeader)");
    }
};

TEST_F(PaddedFrameChannelTest, I420SixtySixByFortyEightArrivesWithEveryRowPacked) {
    // GStreamer's frame is 4,992 bytes (68- and 36-byte strides); the image is 4,752.
    expectPackedRows(zelt_test::kI420SixtySixByFortyEight);
    EXPECT_FALSE(sizeMismatchReported()) << "packed rows fill the image exactly";
}

TEST_F(PaddedFrameChannelTest, RgbSixtyThreeByFortyEightArrivesWithEveryRowPacked) {
    // 9,216 bytes in GStreamer (192-byte rows); the image is 63 x 3 x 48 = 9,072.
    expectPackedRows(zelt_test::kRgbSixtyThreeByFortyEight);
    EXPECT_FALSE(sizeMismatchReported()) << "packed rows fill the image exactly";
}

TEST_F(PaddedFrameChannelTest, Nv12OfOddHeightArrivesPackedAndCutToTheImageSize) {
    // The chroma plane starts after a padding row; 25 chroma rows of 64 bytes make the packed
    // frame 4,736 bytes, 32 more than the image holds (12 x 64 x 49 / 8 = 4,704).
    expectPackedRows(zelt_test::kNv12OfOddHeight);
    EXPECT_TRUE(sizeMismatchReported());
}

}  // namespace
}  // namespace zelt_camera
