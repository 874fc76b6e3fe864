// Reference counting and identifiers shared by every object of the host plug-in kit.
#pragma once

#include <cstdint>
#include <cstring>

namespace tsa {

/// A 16-byte identifier (UUID) in storage order, compared byte for byte.
struct Uuid {
    std::uint8_t data[16];

    friend bool operator==(const Uuid& a, const Uuid& b) noexcept {
        return std::memcmp(a.data, b.data, sizeof a.data) == 0;
    }
    friend bool operator!=(const Uuid& a, const Uuid& b) noexcept { return !(a == b); }
};

/// An object whose lifetime the host and the plug-in share through a reference count.
///
/// Whoever hands such an object over adds one reference first; the receiver calls release()
/// when done. Counts are 32-bit and atomic, so both calls may come from any thread.
class IfApiObject {
public:
    /// Adds one reference; returns the count after the increment.
    virtual std::uint32_t addRef() = 0;
    /// Drops one reference; returns the count before the decrement. The object is destroyed
    /// when that count was 1. Objects owned elsewhere (such as a plug-in's services) may
    /// treat both calls as no-ops.
    virtual std::uint32_t release() = 0;

protected:
    ~IfApiObject() = default;
};

}  // namespace tsa
