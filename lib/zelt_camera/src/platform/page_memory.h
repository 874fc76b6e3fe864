// Page-backed memory from the operating system's virtual-memory interface.
//
// The image buffer of a camera lives in whole pages taken straight from the system: a frame
// buffer of several megabytes should neither fragment the heap nor be touched by the
// allocator, and decommitting it gives the pages back while the address stays reserved.
#pragma once

#include <cstddef>

namespace zelt_camera::platform {

/// Reserves and commits `size` read-write bytes, zero-filled. Null on failure.
void* reserve_and_commit(std::size_t size) noexcept;
/// Gives the pages of [memory, memory + size) back; the range stays reserved.
bool decommit(void* memory, std::size_t size) noexcept;
/// Commits [memory, memory + size) again, read-write; the pages come back zero-filled.
bool commit(void* memory, std::size_t size) noexcept;
/// Frees a whole region obtained from reserve_and_commit.
void release(void* memory, std::size_t size) noexcept;

}  // namespace zelt_camera::platform
