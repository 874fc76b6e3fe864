#include "zelt_camera_image_buffer.h"

#include "platform/page_memory.h"

namespace zelt_camera {

void PageBuffer::resize(std::size_t size) noexcept {
    if (m_data != nullptr && size == m_size) {
        if (platform::decommit(region(), m_lead + m_size) &&
            platform::commit(region(), m_lead + m_size))
            return;
    }
    release();
    if (size == 0) return;
    auto* memory = static_cast<std::uint8_t*>(platform::reserve_and_commit(m_lead + size));
    if (memory == nullptr) return;
    m_data = memory + m_lead;
    m_size = size;
}

void PageBuffer::release() noexcept {
    if (m_data == nullptr) return;
    platform::release(region(), m_lead + m_size);
    m_data = nullptr;
    m_size = 0;
}

}  // namespace zelt_camera
