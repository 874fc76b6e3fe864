// What a virtual camera's frames show: a moving pattern that a person can follow, and the
// frame's sequence number in its first pixel bytes so that tests can prove that no frame was
// lost, duplicated or reordered.
#pragma once

#include <gst/video/video.h>

#include <cstdint>

namespace zelt::vcam {

/// Number of bytes at the start of plane 0 that hold the sequence number (little-endian).
constexpr gsize kSequenceNumberBytes = 8;

/// Paints frame `frame_number` of the moving pattern (diagonal bands drifting right) into a
/// mapped, writable frame of any raw format. (frame: transfer none)
void paint_pattern(GstVideoFrame* frame, std::uint64_t frame_number);

/// Writes `sequence` as a 64-bit little-endian number into the first bytes of plane 0 (the
/// Y plane of planar formats), or into as many bytes as a tiny frame has. (buffer: transfer
/// none, writable)
void write_sequence_number(GstBuffer* buffer, const GstVideoInfo& info, std::uint64_t sequence);

/// Reads the number that write_sequence_number wrote. (buffer: transfer none)
std::uint64_t read_sequence_number(GstBuffer* buffer, const GstVideoInfo& info);

}  // namespace zelt::vcam
