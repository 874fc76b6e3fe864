#include <windows.h>

#include "platform/page_memory.h"

namespace zelt_camera::platform {

void* reserve_and_commit(std::size_t size) noexcept {
    if (size == 0) return nullptr;
    return VirtualAlloc(nullptr, size, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
}

bool decommit(void* memory, std::size_t size) noexcept {
    return VirtualFree(memory, size, MEM_DECOMMIT) != 0;
}

bool commit(void* memory, std::size_t size) noexcept {
    return VirtualAlloc(memory, size, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

void release(void* memory, std::size_t /*size*/) noexcept {
    if (memory != nullptr) VirtualFree(memory, 0, MEM_RELEASE);
}

}  // namespace zelt_camera::platform
