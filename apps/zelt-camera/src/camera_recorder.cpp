#include "camera_recorder.h"

#include <gst/gst.h>

#include <cstring>
#include <exception>
#include <new>

#include "zelt_host/sample_sinks.h"

namespace zelt::cli {
namespace {

// The picture shows the frame taken this long after the first one (cameras often start dark
// while their exposure settles); a shorter recording shows its first frame.
constexpr double kPictureAfterSeconds = 0.5;
// How long the writer sleeps when the queue is empty before it looks again.
constexpr std::chrono::milliseconds kWriterWait{20};

std::uint32_t readCount(const void* data) noexcept {
    const auto* bytes = static_cast<const unsigned char*>(data);
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
           static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
}

}  // namespace

double CameraReport::measuredFps() const {
    if (written < 2 || last_ticks <= first_ticks || plan.frequency <= 0) return 0.0;
    return static_cast<double>(written - 1) * plan.frequency /
           static_cast<double>(last_ticks - first_ticks);
}

CameraRecorder::CameraRecorder(CameraPlan plan, std::string folder, FrameQueueLimits limits,
                               std::shared_ptr<TimeAxis> axis)
    : m_plan(std::move(plan)),
      m_folder(std::move(folder)),
      m_queue(limits),
      m_axis(std::move(axis)) {
    m_frame_sink = std::make_shared<zelt::host::CallbackSampleSink>(
        [this](std::uint64_t timestamp, std::uint64_t, const void* data, std::uint32_t size) {
            onFrame(timestamp, data, size);
        },
        [this](std::uint32_t kind, std::uint64_t) { onStreamEvent(kind); });
    m_counter_sink = std::make_shared<zelt::host::CallbackSampleSink>(
        [this](std::uint64_t timestamp, std::uint64_t, const void* data, std::uint32_t size) {
            onCounter(timestamp, data, size);
        });
    m_csv = std::make_unique<CsvWriter>(path(m_plan.base_name + ".csv"));
    m_csv_file = m_plan.base_name + ".csv";
}

CameraRecorder::~CameraRecorder() { finish(); }

void CameraRecorder::start() {
    if (!m_writer.joinable() && !m_finished)
        m_writer = std::thread(&CameraRecorder::writerLoop, this);
}

bool CameraRecorder::reachedLimit() const noexcept {
    return m_plan.frame_limit.has_value() && m_recorded.load() >= *m_plan.frame_limit;
}

double CameraRecorder::currentFps() const noexcept {
    const std::uint64_t frames = m_recorded.load();
    const std::uint64_t first = m_first_recorded_ticks.load(std::memory_order_relaxed);
    const std::uint64_t last = m_last_recorded_ticks.load(std::memory_order_relaxed);
    if (frames < 2 || last <= first) return 0.0;
    return static_cast<double>(frames - 1) * m_plan.frequency / static_cast<double>(last - first);
}

void CameraRecorder::onFrame(std::uint64_t timestamp, const void* data,
                             std::uint32_t size) noexcept {
    if (reachedLimit()) return;
    m_delivered.fetch_add(1, std::memory_order_relaxed);
    if (m_pending != nullptr) {
        // The previous frame's count never came: publish the frame without one.
        m_pending = nullptr;
        m_queue.commit();
    }
    if (!m_queue.isAllocated()) {
        try {
            m_queue.allocate(size);  // once, sized by the first sample
            m_queue_slots.store(m_queue.slotCount(), std::memory_order_relaxed);
        } catch (const std::bad_alloc&) {
            m_dropped.fetch_add(1, std::memory_order_relaxed);
            return;
        }
    }
    FrameSlot* slot = m_queue.beginWrite();
    if (slot == nullptr || size > m_queue.slotBytes() || data == nullptr) {
        m_dropped.fetch_add(1, std::memory_order_relaxed);
        return;
    }
    std::memcpy(slot->bytes.get(), data, size);
    slot->size = size;
    slot->timestamp = timestamp;
    if (m_recorded.load(std::memory_order_relaxed) == 0) {
        m_first_recorded_ticks.store(timestamp, std::memory_order_relaxed);
        if (m_axis) m_axis->firstFrame(timestamp);
    }
    m_last_recorded_ticks.store(timestamp, std::memory_order_relaxed);
    m_recorded.fetch_add(1, std::memory_order_release);
    if (m_plan.counter_id) {
        m_pending = slot;
    } else {
        m_queue.commit();
    }
}

void CameraRecorder::onCounter(std::uint64_t timestamp, const void* data,
                               std::uint32_t size) noexcept {
    // A count whose frame was dropped or ignored finds no pending slot and is let go.
    if (m_pending == nullptr || data == nullptr || size < 4) return;
    if (m_pending->timestamp != timestamp) return;
    m_pending->counter = readCount(data);
    m_pending = nullptr;
    m_queue.commit();
}

void CameraRecorder::onStreamEvent(std::uint32_t /*kind*/) noexcept {
    m_stream_events.fetch_add(1, std::memory_order_relaxed);
}

void CameraRecorder::fail(const std::string& reason) noexcept {
    try {
        std::lock_guard<std::mutex> lock(m_report_mutex);
        m_errors.push_back(reason);
    } catch (...) {
    }
    m_failed.store(true);
}

void CameraRecorder::cameraFailed(const std::string& reason) {
    {
        std::lock_guard<std::mutex> lock(m_report_mutex);
        if (!m_failure.empty()) return;
        m_failure = reason;
    }
    if (!m_camera_failed.exchange(true) && m_recorded.load() == 0 && m_axis) m_axis->cameraLeft();
}

void CameraRecorder::setNegotiated(const Negotiated& negotiated) {
    std::lock_guard<std::mutex> lock(m_report_mutex);
    m_negotiated = negotiated;
}

void CameraRecorder::writerLoop() noexcept {
    for (;;) {
        FrameSlot* slot = m_queue.front();
        if (slot == nullptr) {
            if (m_queue.isDrained()) break;
            if (m_csv && !m_failed.load()) {
                try {
                    m_csv->flushIfDue();
                } catch (const std::exception& error) {
                    fail(error.what());
                }
            }
            m_queue.waitForFrames(kWriterWait);
            continue;
        }
        if (!m_failed.load()) {
            try {
                writeFrame(*slot);
            } catch (const std::exception& error) {
                fail(error.what());
            }
        }
        m_queue.pop();
    }
    closeFiles();
}

void CameraRecorder::openVideo(const zelt::host::ImageDataHeader& header) {
    const auto stored = storedFormatOf(header.format);
    if (!stored) {
        throw std::runtime_error("frames of pixel format " + fourccName(header.format) +
                                 " cannot be stored losslessly as raw video in Matroska");
    }
    m_video_format.format = *stored;
    m_video_format.width = header.width;
    m_video_format.height = header.height;
    m_video_format.rate_numerator = m_plan.rate_numerator;
    m_video_format.rate_denominator = m_plan.rate_denominator > 0 ? m_plan.rate_denominator : 1;
    m_video_format.codec = m_plan.codec;
    {
        std::lock_guard<std::mutex> lock(m_report_mutex);
        if (m_negotiated && m_negotiated->rate > 0.0) {
            // The rate the camera delivers, which may differ from the chosen text's.
            gst_util_double_to_fraction(m_negotiated->rate, &m_video_format.rate_numerator,
                                        &m_video_format.rate_denominator);
        }
    }
    m_video = std::make_unique<VideoWriter>(path(m_plan.base_name + ".mkv"), m_video_format);
    std::lock_guard<std::mutex> lock(m_report_mutex);
    m_video_file = m_plan.base_name + ".mkv";
    m_video_format_name = m_video_format.format.stored_format;
}

void CameraRecorder::writeFrame(const FrameSlot& slot) {
    const auto header = zelt::host::parseImageDataHeader(slot.bytes.get(), slot.size);
    if (!header) throw std::runtime_error("a sample too short for an image header");
    if (!m_header) {
        openVideo(*header);
        m_header = header;
        m_first_ticks = slot.timestamp;
        m_origin_ticks = m_axis ? m_axis->start(slot.timestamp) : slot.timestamp;
        std::lock_guard<std::mutex> lock(m_report_mutex);
        m_shared_header = header;
        m_shared_origin = m_origin_ticks;
        m_first_frame.assign(slot.bytes.get() + zelt::host::kImageDataHeaderSize,
                             slot.bytes.get() + slot.size);
    } else if (*header != *m_header) {
        throw std::runtime_error("the frame geometry changed during the recording");
    }
    const std::uint8_t* pixels = slot.bytes.get() + zelt::host::kImageDataHeaderSize;
    const std::size_t pixel_bytes = slot.size - zelt::host::kImageDataHeaderSize;
    // Every camera counts from the recording's common start, so the videos line up.
    const std::uint64_t ticks =
        slot.timestamp >= m_origin_ticks ? slot.timestamp - m_origin_ticks : 0;
    const long double seconds = static_cast<long double>(ticks) / m_plan.frequency;
    m_video->push(pixels, pixel_bytes, static_cast<std::uint64_t>(seconds * 1e9L + 0.5L));

    CsvRow row;
    row.index = m_written.load(std::memory_order_relaxed);
    row.host_ticks = slot.timestamp;
    row.seconds = static_cast<double>(seconds);
    row.bytes = slot.size;
    row.frame_counter = slot.counter;
    m_csv->write(row);
    m_last_ticks = slot.timestamp;
    m_written.fetch_add(1, std::memory_order_release);

    if (!m_png_written && static_cast<double>(slot.timestamp - m_first_ticks) / m_plan.frequency >=
                              kPictureAfterSeconds) {
        writePng(path(m_plan.base_name + ".png"), m_video_format, pixels, pixel_bytes);
        m_png_written = true;
    }
}

void CameraRecorder::closeFiles() noexcept {
    auto attempt = [this](auto&& step) {
        try {
            step();
        } catch (const std::exception& error) {
            fail(error.what());
        }
    };
    if (m_video) attempt([this] { m_video->finish(); });
    if (m_csv) attempt([this] { m_csv->close(); });
    if (m_header && !m_png_written) {
        attempt([this] {
            writePng(path(m_plan.base_name + ".png"), m_video_format, m_first_frame.data(),
                     m_first_frame.size());
            m_png_written = true;
        });
    }
    std::lock_guard<std::mutex> lock(m_report_mutex);
    if (m_png_written) m_png_file = m_plan.base_name + ".png";
}

void CameraRecorder::finish() {
    if (m_finished) return;
    m_finished = true;
    if (m_pending != nullptr) {
        m_pending = nullptr;
        m_queue.commit();
    }
    m_queue.close();
    if (m_writer.joinable()) {
        m_writer.join();
    } else {
        closeFiles();  // never started: the table still gets its header and is closed
    }
}

CameraReport CameraRecorder::report() const {
    CameraReport report;
    report.plan = m_plan;
    report.delivered = m_delivered.load();
    report.dropped = m_dropped.load();
    report.written = m_written.load();
    report.stream_events = m_stream_events.load();
    report.queue_slots = m_queue_slots.load(std::memory_order_relaxed);
    std::lock_guard<std::mutex> lock(m_report_mutex);
    // While the writer runs, its own members are its own: the report takes the copies it
    // shares, and the stamps the streaming thread keeps.
    report.header = m_shared_header;
    report.stored_format = m_shared_header ? m_video_format_name : "";
    report.origin_ticks = m_shared_header ? m_shared_origin : 0;
    if (m_finished) {
        report.first_ticks = m_header ? m_first_ticks : 0;
        report.last_ticks = m_header ? m_last_ticks : 0;
    } else {
        report.first_ticks = m_first_recorded_ticks.load();
        report.last_ticks = m_last_recorded_ticks.load();
    }
    report.video_file = m_video_file;
    report.csv_file = m_csv_file;
    report.png_file = m_png_file;
    report.errors = m_errors;
    report.failure = m_failure;
    report.negotiated = m_negotiated;
    return report;
}

}  // namespace zelt::cli
