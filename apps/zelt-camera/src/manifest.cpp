#include "manifest.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <stdexcept>

#include "json_writer.h"
#include "zelt_host/steady_time_source.h"
#include "pixel_formats.h"

namespace zelt::cli {
namespace {

void writeFile(const std::string& path, const std::string& text) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        throw std::runtime_error("cannot write '" + path + "': " + std::strerror(errno));
    }
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    const bool closed = std::fclose(file) == 0;
    if (!written || !closed) {
        throw std::runtime_error("cannot write '" + path + "': " + std::strerror(errno));
    }
}

void writeCamera(JsonWriter& json, const CameraReport& camera, const RecordingManifest& manifest) {
    const CameraPlan& plan = camera.plan;
    json.beginObject();
    json.key("id").value(plan.id);
    json.key("name").value(plan.name);
    json.key("device_path").value(plan.device_path);
    json.key("counter_channel").value(plan.counter_id);
    json.key("frame_setting").value(plan.setting);
    json.key("subsampling").value(plan.subsampling);
    json.key("format");
    if (camera.header) {
        json.beginObject();
        json.key("fourcc").value(fourccName(camera.header->format));
        json.key("width").value(camera.header->width);
        json.key("height").value(camera.header->height);
        json.key("stored_as").value(camera.stored_format);
        json.endObject();
    } else {
        json.null();
    }
    json.key("frames_delivered").value(camera.delivered);
    json.key("frames_written").value(camera.written);
    json.key("frames_dropped").value(camera.dropped);
    json.key("stream_errors").value(camera.stream_events);
    json.key("first_host_ticks")
        .value(camera.written > 0 ? std::optional(camera.first_ticks) : std::nullopt);
    json.key("last_host_ticks")
        .value(camera.written > 0 ? std::optional(camera.last_ticks) : std::nullopt);
    json.key("first_frame_time")
        .value(camera.written > 0 || camera.first_ticks > 0
                   ? std::optional(isoTimeOfTicks(manifest.time_absolute_start,
                                                  manifest.time_frequency, camera.first_ticks))
                   : std::nullopt);
    json.key("first_frame_seconds")
        .value(camera.written > 0 && manifest.common_start_ticks &&
                       camera.first_ticks >= *manifest.common_start_ticks
                   ? std::optional(
                         static_cast<double>(camera.first_ticks - *manifest.common_start_ticks) /
                         manifest.time_frequency)
                   : std::nullopt);
    json.key("measured_fps").value(camera.measuredFps());
    json.key("negotiated");
    if (camera.negotiated) {
        json.beginObject();
        json.key("rate").value(camera.negotiated->rate);
        json.key("format").value(camera.negotiated->format);
        json.endObject();
    } else {
        json.null();
    }
    json.key("failure").value(camera.failure.empty() ? std::nullopt
                                                     : std::optional(camera.failure));
    json.key("queue_slots").value(static_cast<std::uint64_t>(camera.queue_slots));
    json.key("files").beginObject();
    auto file = [&json](const char* name, const std::string& value) {
        json.key(name);
        if (value.empty()) {
            json.null();
        } else {
            json.value(value);
        }
    };
    file("video", camera.video_file);
    file("csv", camera.csv_file);
    file("png", camera.png_file);
    json.endObject();
    json.key("errors").beginArray();
    for (const std::string& error : camera.errors) json.value(error);
    json.endArray();
    json.endObject();
}

}  // namespace

const char* stopReasonText(StopReason reason) noexcept {
    switch (reason) {
        case StopReason::kRunning:
            return "running";
        case StopReason::kFrames:
            return "frames";
        case StopReason::kDuration:
            return "duration";
        case StopReason::kInterrupted:
            return "interrupted";
        case StopReason::kTerminated:
            return "terminated";
        case StopReason::kCameraError:
            return "camera-error";
        case StopReason::kWriterFailed:
            return "writer-failed";
        case StopReason::kNoFrames:
            return "no-frames";
        case StopReason::kError:
            return "error";
        case StopReason::kHangup:
            return "hangup";
        case StopReason::kStartTimeout:
            return "start-timeout";
    }
    return "unknown";
}

std::string isoTime(std::chrono::system_clock::time_point time) {
    const auto since_epoch = time.time_since_epoch();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(since_epoch);
    const auto millis =
        std::chrono::duration_cast<std::chrono::milliseconds>(since_epoch - seconds).count();
    const std::time_t whole = static_cast<std::time_t>(seconds.count());
    std::tm utc{};
    gmtime_r(&whole, &utc);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
                  utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                  static_cast<int>(millis));
    return buffer;
}

std::string isoTime(const zelt::DateTime& time) {
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02dT%02d:%02d:%02d.%09lldZ", time.year,
                  time.month, time.day, time.hour, time.minute, time.second,
                  static_cast<long long>(time.nanosecond));
    return buffer;
}

std::string isoTimeOfTicks(const zelt::DateTime& start, double frequency, std::uint64_t ticks) {
    std::tm utc{};
    utc.tm_year = start.year - 1900;
    utc.tm_mon = start.month - 1;
    utc.tm_mday = start.day;
    utc.tm_hour = start.hour;
    utc.tm_min = start.minute;
    utc.tm_sec = start.second;
    const long double since_tick0 = frequency > 0 ? static_cast<long double>(ticks) / frequency : 0;
    const auto whole = static_cast<std::int64_t>(since_tick0);
    std::int64_t nanoseconds =
        start.nanosecond + static_cast<std::int64_t>((since_tick0 - whole) * 1e9L + 0.5L);
    timespec wall{};
    wall.tv_sec = timegm(&utc) + whole + nanoseconds / 1'000'000'000;
    wall.tv_nsec = nanoseconds % 1'000'000'000;
    return isoTime(zelt::host::toUtcDateTime(wall));
}

std::string manifestJson(const RecordingManifest& manifest) {
    std::uint64_t delivered = 0;
    std::uint64_t written = 0;
    std::uint64_t dropped = 0;
    for (const CameraReport& camera : manifest.cameras) {
        delivered += camera.delivered;
        written += camera.written;
        dropped += camera.dropped;
    }

    JsonWriter json;
    json.beginObject();
    json.key("tool").beginObject();
    json.key("name").value("zelt-camera");
    json.key("version").value(manifest.tool_version);
    json.endObject();
    json.key("plugin").beginObject();
    json.key("path").value(manifest.plugin_path);
    json.key("kind").value(manifest.plugin_kind);
    json.key("name").value(manifest.plugin_name);
    json.endObject();
    json.key("virtual_cameras")
        .value(manifest.virtual_cameras ? std::optional(manifest.virtual_camera_source)
                                        : std::nullopt);
    json.key("folder").value(manifest.folder);
    json.key("started_at").value(isoTime(manifest.started_at));
    json.key("ended_at")
        .value(manifest.ended_at ? std::optional(isoTime(*manifest.ended_at)) : std::nullopt);
    json.key("duration_seconds").value(manifest.duration_seconds);
    json.key("complete").value(manifest.complete);
    json.key("stop_reason").value(stopReasonText(manifest.stop_reason));
    json.key("interrupted").value(manifest.interrupted);
    json.key("signal").value(manifest.signal);
    json.key("exit_code").value(manifest.exit_code);
    json.key("request").beginObject();
    json.key("frames").value(manifest.requested_frames);
    json.key("duration_seconds").value(manifest.requested_duration_seconds);
    json.key("settings").beginArray();
    for (const std::string& setting : manifest.requested_settings) json.value(setting);
    json.endArray();
    json.key("subsampling").value(manifest.requested_subsampling);
    json.key("codec").value(manifest.codec);
    json.key("start_timeout_seconds").value(manifest.start_timeout_seconds);
    json.key("memory_mib").value(manifest.memory_mib);
    json.endObject();
    json.key("time_base").beginObject();
    json.key("frequency").value(manifest.time_frequency);
    json.key("absolute_start").value(isoTime(manifest.time_absolute_start));
    json.key("common_start_host_ticks").value(manifest.common_start_ticks);
    json.key("common_start_time")
        .value(manifest.common_start_ticks
                   ? std::optional(isoTimeOfTicks(manifest.time_absolute_start,
                                                  manifest.time_frequency,
                                                  *manifest.common_start_ticks))
                   : std::nullopt);
    json.endObject();
    json.key("frames_delivered").value(delivered);
    json.key("frames_written").value(written);
    json.key("frames_dropped").value(dropped);
    json.key("cameras").beginArray();
    for (const CameraReport& camera : manifest.cameras) writeCamera(json, camera, manifest);
    json.endArray();
    json.key("errors").beginArray();
    for (const auto& error : manifest.errors) {
        json.beginObject();
        json.key("source").value(error.source_tag);
        json.key("template").value(error.message_template);
        json.key("argument").value(error.argument);
        json.key("text").value(error.text);
        json.key("time").value(isoTime(error.time));
        json.key("withdrawn").value(!error.still_posted);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    return json.text();
}

void writeManifest(const RecordingManifest& manifest) {
    const std::string path = manifest.folder + "/" + kManifestFile;
    const std::string temporary = path + ".part";
    try {
        writeFile(temporary, manifestJson(manifest));
    } catch (...) {
        // A full disk keeps the manifest written before; no half file stays behind.
        std::remove(temporary.c_str());
        throw;
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        std::remove(temporary.c_str());
        throw std::runtime_error("cannot write '" + path + "': " + std::strerror(error));
    }
}

}  // namespace zelt::cli
