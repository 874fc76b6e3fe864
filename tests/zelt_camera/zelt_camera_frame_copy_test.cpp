// The one copy of a frame, on GStreamer buffers made up in the test: rows packed plane by plane,
// exact bytes, never past the image buffer nor past the frame.
#include "zelt_camera_frame_copy.h"

#include <gst/gst.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "gst_support/gst_ptr.h"

namespace zelt_camera {
namespace {

constexpr std::uint8_t kPadding = 0xEE;
constexpr std::uint8_t kGuard = 0xA5;
constexpr std::size_t kGuardBytes = 64;

GstVideoInfo video_info(GstVideoFormat format, int width, int height) {
    GstVideoInfo info;
    gst_video_info_init(&info);
    EXPECT_TRUE(gst_video_info_set_format(&info, format, width, height));
    return info;
}

// The value of pixel byte `column` of row `row` of plane `plane`: different in neighbouring
// rows and planes, so a shifted row shows.
std::uint8_t pixel_byte(unsigned plane, std::size_t row, std::size_t column) {
    return static_cast<std::uint8_t>(plane * 61 + row * 7 + column);
}

struct Plane {
    std::size_t offset;
    std::size_t stride;
    std::size_t row_bytes;
    std::size_t rows;
};

// A buffer of `size` bytes holding the planes' pixel bytes at their offsets and strides,
// padding bytes elsewhere. (transfer full)
gst_support::BufferPtr make_frame(std::size_t size, const std::vector<Plane>& planes) {
    std::vector<std::uint8_t> bytes(size, kPadding);
    for (unsigned p = 0; p < planes.size(); ++p) {
        for (std::size_t row = 0; row < planes[p].rows; ++row) {
            for (std::size_t column = 0; column < planes[p].row_bytes; ++column) {
                bytes.at(planes[p].offset + row * planes[p].stride + column) =
                    pixel_byte(p, row, column);
            }
        }
    }
    gst_support::BufferPtr buffer(gst_buffer_new_allocate(nullptr, size, nullptr));
    gst_buffer_fill(buffer.get(), 0, bytes.data(), bytes.size());
    return buffer;
}

// Gives `buffer` a video meta of one plane: `format` `width` x `height`, the plane at `offset`
// with rows `stride` bytes apart.
void add_meta(GstBuffer* buffer, GstVideoFormat format, guint width, guint height, gsize offset,
              gint stride) {
    gsize offsets[GST_VIDEO_MAX_PLANES] = {offset};
    gint strides[GST_VIDEO_MAX_PLANES] = {stride};
    gst_buffer_add_video_meta_full(buffer, GST_VIDEO_FRAME_FLAG_NONE, format, width, height, 1,
                                   offsets, strides);
}

// The planes' pixel bytes packed, plane after plane: what the host must receive.
std::vector<std::uint8_t> packed_bytes(const std::vector<Plane>& planes) {
    std::vector<std::uint8_t> bytes;
    for (unsigned p = 0; p < planes.size(); ++p) {
        for (std::size_t row = 0; row < planes[p].rows; ++row) {
            for (std::size_t column = 0; column < planes[p].row_bytes; ++column) {
                bytes.push_back(pixel_byte(p, row, column));
            }
        }
    }
    return bytes;
}

// Copies into a destination of `capacity` bytes followed by guard bytes; checks the guard.
std::vector<std::uint8_t> copy(const FrameRows& frame, std::size_t capacity,
                               std::size_t* written = nullptr) {
    std::vector<std::uint8_t> destination(capacity + kGuardBytes, kGuard);
    const std::size_t count = frame.copyTo(destination.data(), capacity);
    for (std::size_t i = capacity; i < destination.size(); ++i) {
        EXPECT_EQ(destination[i], kGuard) << "written past the destination at byte " << i;
    }
    if (written != nullptr) *written = count;
    destination.resize(capacity);
    return destination;
}

class FrameCopyTest : public ::testing::Test {
protected:
    // Buffers and video infos need GStreamer's core only: no plug-in is scanned or loaded
    // (a private, empty registry), so the suite stays fast, also under the sanitizers.
    static void SetUpTestSuite() {
        if (gst_is_initialized()) return;
        registry() = std::string(g_get_tmp_dir()) + "/zelt-frame-copy-test-" +
                     std::to_string(::getpid()) + ".bin";
        g_setenv("GST_REGISTRY_1_0", registry().c_str(), TRUE);
        g_setenv("GST_PLUGIN_PATH_1_0", "", TRUE);
        g_setenv("GST_PLUGIN_SYSTEM_PATH_1_0", "", TRUE);
        gst_registry_fork_set_enabled(FALSE);
        gst_init(nullptr, nullptr);
    }
    static void TearDownTestSuite() {
        if (!registry().empty()) std::remove(registry().c_str());
    }
    static std::string& registry() {
        static std::string path;
        return path;
    }
};

TEST_F(FrameCopyTest, LayoutOfI420SixtySixByFortyEightHasPaddedRows) {
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_I420, 66, 48));
    ASSERT_EQ(layout.planes(), 3u);
    EXPECT_FALSE(layout.packed());
    EXPECT_EQ(layout.packedSize(), 4752u);
    EXPECT_EQ(layout.plane(0).stride, 68u);
    EXPECT_EQ(layout.plane(0).row_bytes, 66u);
    EXPECT_EQ(layout.plane(0).rows, 48u);
    EXPECT_EQ(layout.plane(1).offset, 3264u);
    EXPECT_EQ(layout.plane(1).stride, 36u);
    EXPECT_EQ(layout.plane(1).row_bytes, 33u);
    EXPECT_EQ(layout.plane(1).rows, 24u);
    EXPECT_EQ(layout.plane(2).offset, 4128u);
}

TEST_F(FrameCopyTest, LayoutOfYuy2SixtyFourByFortyEightIsPacked) {
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_YUY2, 64, 48));
    ASSERT_EQ(layout.planes(), 1u);
    EXPECT_TRUE(layout.packed());
    EXPECT_EQ(layout.packedSize(), 6144u);
}

TEST_F(FrameCopyTest, PaddedI420RowsArrivePackedPlaneByPlane) {
    const std::vector<Plane> planes{{0, 68, 66, 48}, {3264, 36, 33, 24}, {4128, 36, 33, 24}};
    const gst_support::BufferPtr buffer = make_frame(4992, planes);
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_I420, 66, 48));
    const FrameRows frame(buffer.get(), layout);
    EXPECT_FALSE(frame.packed());
    EXPECT_EQ(frame.size(), 4752u);
    std::size_t written = 0;
    EXPECT_EQ(copy(frame, 4752, &written), packed_bytes(planes));
    EXPECT_EQ(written, 4752u);
}

TEST_F(FrameCopyTest, PaddedRgbRowsArrivePacked) {
    const std::vector<Plane> planes{{0, 192, 189, 48}};
    const gst_support::BufferPtr buffer = make_frame(9216, planes);
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_RGB, 63, 48));
    const FrameRows frame(buffer.get(), layout);
    EXPECT_EQ(frame.size(), 9072u);
    EXPECT_EQ(copy(frame, 9072), packed_bytes(planes));
}

TEST_F(FrameCopyTest, Nv12OfOddHeightIsPackedAndCutToTheImageSize) {
    // 49 luma rows, then the chroma plane after a 50th (padding) row: 25 rows of 64 bytes.
    const std::vector<Plane> planes{{0, 64, 64, 49}, {3200, 64, 64, 25}};
    const gst_support::BufferPtr buffer = make_frame(4800, planes);
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_NV12, 64, 49));
    const FrameRows frame(buffer.get(), layout);
    EXPECT_EQ(frame.size(), 4736u);
    // The image holds 12 x 64 x 49 / 8 = 4704 bytes: the last half chroma row is cut.
    std::size_t written = 0;
    const std::vector<std::uint8_t> image = copy(frame, 4704, &written);
    EXPECT_EQ(written, 4704u);
    std::vector<std::uint8_t> expected = packed_bytes(planes);
    expected.resize(4704);
    EXPECT_EQ(image, expected);
}

TEST_F(FrameCopyTest, PackedFrameGoesOverWhole) {
    const std::vector<Plane> planes{{0, 128, 128, 48}};
    const gst_support::BufferPtr buffer = make_frame(6144, planes);
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_YUY2, 64, 48));
    const FrameRows frame(buffer.get(), layout);
    EXPECT_TRUE(frame.packed());
    EXPECT_EQ(frame.size(), 6144u);
    EXPECT_EQ(copy(frame, 6144), packed_bytes(planes));
}

TEST_F(FrameCopyTest, SmallerImageBufferIsNeverWrittenPast) {
    const std::vector<Plane> planes{{0, 68, 66, 48}, {3264, 36, 33, 24}, {4128, 36, 33, 24}};
    const gst_support::BufferPtr buffer = make_frame(4992, planes);
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_I420, 66, 48));
    std::size_t written = 0;
    const std::vector<std::uint8_t> image = copy(FrameRows(buffer.get(), layout), 100, &written);
    EXPECT_EQ(written, 100u);
    std::vector<std::uint8_t> expected = packed_bytes(planes);
    expected.resize(100);
    EXPECT_EQ(image, expected);

    // A packed frame is cut the same way.
    const gst_support::BufferPtr whole = make_frame(6144, {{0, 128, 128, 48}});
    const FrameLayout packed(video_info(GST_VIDEO_FORMAT_YUY2, 64, 48));
    copy(FrameRows(whole.get(), packed), 1000, &written);
    EXPECT_EQ(written, 1000u);
}

TEST_F(FrameCopyTest, FrameShorterThanItsLayoutGivesWhatItHolds) {
    // Only the first 10 luma rows of an I420 66x48 frame: nothing is read beyond the buffer.
    const gst_support::BufferPtr buffer = make_frame(680, {{0, 68, 66, 10}});
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_I420, 66, 48));
    std::size_t written = 0;
    const std::vector<std::uint8_t> image = copy(FrameRows(buffer.get(), layout), 4752, &written);
    EXPECT_EQ(written, 660u);
    const std::vector<std::uint8_t> expected = packed_bytes({{0, 68, 66, 10}});
    EXPECT_EQ(std::vector<std::uint8_t>(image.begin(), image.begin() + 660), expected);
}

TEST_F(FrameCopyTest, VideoMetaStridesWinOverTheNegotiatedOnes) {
    // Negotiated GRAY8 64x4 is packed, but this buffer's meta says rows of 80 bytes from 16 on.
    const std::vector<Plane> planes{{16, 80, 64, 4}};
    const gst_support::BufferPtr buffer = make_frame(16 + 80 * 4, planes);
    add_meta(buffer.get(), GST_VIDEO_FORMAT_GRAY8, 64, 4, 16, 80);
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_GRAY8, 64, 4));
    ASSERT_TRUE(layout.packed());
    const FrameRows frame(buffer.get(), layout);
    EXPECT_FALSE(frame.packed());
    EXPECT_EQ(frame.size(), 256u);
    EXPECT_EQ(copy(frame, 256), packed_bytes(planes));
}

TEST_F(FrameCopyTest, VideoMetaOfPackedRowsGoesOverWhole) {
    // Negotiated RGB 63x2 pads its rows; this buffer's meta says they are packed.
    const std::vector<Plane> planes{{0, 189, 189, 2}};
    const gst_support::BufferPtr buffer = make_frame(378, planes);
    add_meta(buffer.get(), GST_VIDEO_FORMAT_RGB, 63, 2, 0, 189);
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_RGB, 63, 2));
    ASSERT_FALSE(layout.packed());
    const FrameRows frame(buffer.get(), layout);
    EXPECT_TRUE(frame.packed());
    EXPECT_EQ(frame.size(), 378u);
    EXPECT_EQ(copy(frame, 378), packed_bytes(planes));
}

TEST_F(FrameCopyTest, VideoMetaOfAnotherGeometryIsIgnored) {
    const std::vector<Plane> planes{{0, 192, 189, 48}};
    const gst_support::BufferPtr buffer = make_frame(9216, planes);
    add_meta(buffer.get(), GST_VIDEO_FORMAT_RGB, 32, 96, 0, 96);
    const FrameLayout layout(video_info(GST_VIDEO_FORMAT_RGB, 63, 48));
    EXPECT_EQ(copy(FrameRows(buffer.get(), layout), 9072), packed_bytes(planes));
}

TEST_F(FrameCopyTest, WithoutLayoutTheFrameGoesOverAsItIs) {
    const std::vector<Plane> planes{{0, 100, 100, 3}};
    const gst_support::BufferPtr buffer = make_frame(300, planes);
    const FrameLayout none;
    EXPECT_TRUE(none.empty());
    const FrameRows frame(buffer.get(), none);
    EXPECT_TRUE(frame.packed());
    EXPECT_EQ(frame.size(), 300u);
    EXPECT_EQ(copy(frame, 300), packed_bytes(planes));
}

}  // namespace
}  // namespace zelt_camera
