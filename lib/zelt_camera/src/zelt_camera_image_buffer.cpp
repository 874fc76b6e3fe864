#include "zelt_camera_image_buffer.h"

#include "platform/page_memory.h"

namespace zelt_camera {

void PageBuffer::resize(std::size_t size) noexcept {
    if (m_data != nullptr && size == m_size) {
        if (platform::decommit(m_data, m_size) && platform::commit(m_data, m_size)) return;
    }
    release();
    m_data = static_cast<std::uint8_t*>(platform::reserve_and_commit(size));
    m_size = m_data != nullptr ? size : 0;
}

void PageBuffer::release() noexcept {
    if (m_data == nullptr) return;
    platform::release(m_data, m_size);
    m_data = nullptr;
    m_size = 0;
}

}  // namespace zelt_camera
