// Checks of a recording's files, shared by the recording tests.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "cli_test_support.h"

namespace zelt_cli_test {

/// One row of a camera's table.
struct CsvRecord {
    std::uint64_t index = 0;
    std::uint64_t host_ticks = 0;
    double seconds = 0;
    std::uint64_t bytes = 0;
    std::string counter;
};

/// The rows of a table after checking its header line.
inline std::vector<CsvRecord> readCsv(const std::string& path) {
    const auto lines = splitLines(readFile(path));
    EXPECT_FALSE(lines.empty()) << path;
    if (lines.empty()) return {};
    EXPECT_EQ(lines[0], "index,host_ticks,seconds,bytes,frame_counter");
    std::vector<CsvRecord> rows;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        std::vector<std::string> fields;
        std::istringstream stream(lines[i]);
        for (std::string field; std::getline(stream, field, ',');) fields.push_back(field);
        if (lines[i].back() == ',') fields.emplace_back();
        EXPECT_EQ(fields.size(), 5u) << lines[i];
        if (fields.size() != 5) continue;
        CsvRecord row;
        row.index = std::stoull(fields[0]);
        row.host_ticks = std::stoull(fields[1]);
        row.seconds = std::stod(fields[2]);
        row.bytes = std::stoull(fields[3]);
        row.counter = fields[4];
        rows.push_back(row);
    }
    return rows;
}

/// A PNG file: its signature, and ffmpeg decodes it to a picture of `width` x `height`.
inline void expectPng(const std::string& path, int width, int height) {
    const std::string bytes = readFile(path);
    ASSERT_GE(bytes.size(), 8u) << path;
    EXPECT_EQ(bytes.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
    const auto [status, size] =
        runCommand("ffprobe -v error -show_entries stream=codec_name,width,height -of csv=p=0 " +
                   shellQuote(path));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(size, "png," + std::to_string(width) + "," + std::to_string(height) + "\n");
    const auto [decoded, output] =
        runCommand("ffmpeg -v error -i " + shellQuote(path) + " -f null - 2>&1");
    EXPECT_EQ(decoded, 0) << output;
}

/// What ffprobe says of the video stream of `video`: the stream `entries` ("codec_name,width"),
/// one line of values separated by commas.
inline std::string probeVideoStream(const std::string& video, const std::string& entries,
                                    const std::string& options = "") {
    return runCommand("ffprobe -v error -select_streams v:0 " + options +
                      " -show_entries stream=" + entries + " -of csv=p=0 " + shellQuote(video))
        .second;
}

/// ffmpeg decodes every frame of `video` without an error.
inline void expectDecodable(const std::string& video) {
    const auto [decoded, errors] =
        runCommand("ffmpeg -v error -i " + shellQuote(video) + " -f null - 2>&1");
    EXPECT_EQ(decoded, 0) << errors;
}

/// The video file holds `frames` frames with strictly increasing times that match the
/// table's seconds (Matroska keeps them to 10 us here).
inline void expectVideoMatchesTable(const std::string& video, const std::vector<CsvRecord>& rows) {
    const std::vector<double> times = probeFrameTimes(video);
    ASSERT_EQ(times.size(), rows.size()) << video;
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (i > 0) {
            EXPECT_GT(times[i], times[i - 1]) << "frame " << i;
        }
        EXPECT_NEAR(times[i], rows[i].seconds, 2e-5) << "frame " << i;
    }
}

/// The table's rows: indexes from 0, increasing stamps, seconds from the first stamp at the
/// host's 10 MHz, the sample size, and the counter's 0, 1, 2, ... The counter counts every
/// frame the camera delivered, so a frame the writer could not keep up with (`dropped`, from
/// the manifest; it happens on a slow machine or under a sanitizer) leaves a gap in it.
inline void expectUnbrokenTable(const std::vector<CsvRecord>& rows, std::uint64_t sample_bytes,
                                std::uint64_t dropped) {
    std::uint64_t gaps = 0;
    if (!rows.empty()) {
        EXPECT_GE(rows[0].seconds, 0.0);
        EXPECT_LT(rows[0].seconds, 1.5);
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].index, i);
        EXPECT_EQ(rows[i].bytes, sample_bytes);
        // Seconds count from the recording's common start, which is at most the first frame.
        EXPECT_NEAR(rows[i].seconds - rows[0].seconds,
                    (rows[i].host_ticks - rows[0].host_ticks) / 1e7, 1e-8);
        ASSERT_FALSE(rows[i].counter.empty()) << "row " << i;
        const std::uint64_t counter = std::stoull(rows[i].counter);
        if (i == 0) {
            EXPECT_EQ(counter, 0u);
        } else {
            EXPECT_GT(rows[i].host_ticks, rows[i - 1].host_ticks) << "row " << i;
            const std::uint64_t previous = std::stoull(rows[i - 1].counter);
            ASSERT_GT(counter, previous) << "row " << i;
            gaps += counter - previous - 1;
        }
    }
    EXPECT_LE(gaps, dropped);
}

/// The manifest's count of dropped frames of camera `index`.
inline std::uint64_t droppedFrames(JsonNode* manifest, guint index) {
    return static_cast<std::uint64_t>(
        integer(member(element(member(manifest, "cameras"), index), "frames_dropped")));
}

}  // namespace zelt_cli_test
