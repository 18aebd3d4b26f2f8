#pragma once
// A pin set driven lazily: its owner publishes every new drive here without a lock, and the hub
// (see SimHub.h) reads it whenever it works out levels, so that a drive nobody listens to costs
// two atomic accesses and no call.

#include <atomic>
#include <cstdint>

namespace bx::sim {

struct LazyDrive {
    static constexpr uint64_t Pack(uint32_t level, uint32_t driven) {
        return uint64_t{level} << 32 | driven;
    }
    // Publishes a drive. True when it is new and a listener must see it before the driver goes
    // on: then the driver goes through the hub too.
    bool Publish(uint32_t level, uint32_t driven) {
        const uint64_t packed = Pack(level, driven);
        if (Latest.load(std::memory_order_relaxed) == packed)
            return false;
        Latest.store(packed, std::memory_order_relaxed);
        return Needed.load(std::memory_order_relaxed);
    }
    // Level in the upper half, driven lines in the lower; nothing driven at first.
    std::atomic<uint64_t> Latest{Pack(0xFFFFFFFFu, 0)};
    // Set by the hub, under its lock: the driver must drive through the hub. A byte rather than
    // std::atomic<bool>, whose load GCC may leave as a call in the simulator's large run loop.
    std::atomic<uint8_t> Needed{1};
};

} // namespace bx::sim
