#include <sys/mman.h>

#include "platform/page_memory.h"

namespace zelt_camera::platform {

void* reserve_and_commit(std::size_t size) noexcept {
    if (size == 0) return nullptr;
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return memory == MAP_FAILED ? nullptr : memory;
}

bool decommit(void* memory, std::size_t size) noexcept {
    // MADV_DONTNEED drops the pages; the next touch of a private anonymous mapping maps
    // zero-filled pages. PROT_NONE keeps the range reserved but unusable until committed.
    return madvise(memory, size, MADV_DONTNEED) == 0 && mprotect(memory, size, PROT_NONE) == 0;
}

bool commit(void* memory, std::size_t size) noexcept {
    return mprotect(memory, size, PROT_READ | PROT_WRITE) == 0;
}

void release(void* memory, std::size_t size) noexcept {
    if (memory != nullptr) munmap(memory, size);
}

}  // namespace zelt_camera::platform
