// The buffers of a bare frame copy: page-backed sources and an image buffer behind whose
// 12-byte header the pixels land, as the plug-in's own copy sees them. Header-only: it needs
// the plug-in's image buffer type, which only the programs linked against the plug-in's core
// library have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <stdexcept>

#include "zelt_camera_image_buffer.h"

namespace zelt_bench {

class CopyBuffers {
public:
    /// `sources` sources of `bytes` each, `source_lead` bytes into their page-backed regions
    /// (0: on a page), filled with one byte value, and an image buffer for `bytes` of pixels
    /// whose header sits `header_lead` bytes into its region. Every buffer is allocated and
    /// checked before any is filled; throws std::runtime_error when page-backed memory cannot
    /// be had.
    CopyBuffers(std::size_t sources, std::size_t source_lead, std::size_t header_lead,
                std::size_t bytes)
        : m_image(header_lead) {
        for (std::size_t i = 0; i < sources; ++i) m_sources.emplace_back(source_lead).resize(bytes);
        m_image.resize(bytes + sizeof(image::ImageDataHeader));
        for (const zelt_camera::PageBuffer& source : m_sources) {
            if (source.empty()) throw std::runtime_error("no page-backed memory for a source");
        }
        if (m_image.empty()) throw std::runtime_error("no page-backed memory for the image");
        for (zelt_camera::PageBuffer& source : m_sources) std::memset(source.data(), 0x5A, bytes);
    }

    const std::uint8_t* source(std::size_t index) const { return m_sources[index].data(); }
    /// Where the frame's pixels go: right behind the image header.
    std::uint8_t* pixels() { return m_image.data() + sizeof(image::ImageDataHeader); }

private:
    std::deque<zelt_camera::PageBuffer> m_sources;  // a deque: a PageBuffer does not move
    zelt_camera::PageBuffer m_image;
};

}  // namespace zelt_bench
