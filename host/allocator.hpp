// The two-level allocator of a call context: a small arena, and above it a level that asks malloc.
//
// The arena never grows by itself. When it has no room it says how large a block it needs; the
// library gets that block from the parent, donates it, and asks again. A donated block that holds
// nothing any more goes back the same way: releasing the last block in it returns the donated
// block, which the library then releases too.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "host/tally.hpp"
#include "valtrosse/host_abi.h"

namespace valtrosse::host {

/// The parent level: every block is one malloc.
class MallocLevel : public vt_allocator {
public:
    MallocLevel();
    MallocLevel(const MallocLevel&) = delete;
    MallocLevel& operator=(const MallocLevel&) = delete;

private:
    static void* allocate_block(vt_allocator* self, std::uint32_t size, std::uint32_t* need);
    static void* release_block(vt_allocator* self, void* block);

    vt_block_origin origin_{};
};

/// The level that a host runtime record points to. For one thread at a time.
class Arena : public vt_allocator {
public:
    /// Room before the first refill, and the least that a refill brings, in bytes with headers.
    static constexpr std::uint32_t kRegionBytes = 4096;

    /// Counts in tally; takes failures from faults.fail_allocation. All three outlive the arena.
    Arena(MallocLevel& parent_level, Tally& tally, Faults& faults);
    /// Gives all donated blocks back to the parent, whether or not they still hold live blocks.
    ~Arena();
    Arena(const Arena&) = delete;
    Arena& operator=(const Arena&) = delete;

private:
    struct Region;
    struct Chunk;

    static void* allocate_block(vt_allocator* self, std::uint32_t size, std::uint32_t* need);
    static void* release_block(vt_allocator* self, void* block);
    static void donate_block(vt_allocator* self, void* block, std::uint32_t size);

    void add_region(void* memory, std::uint32_t bytes);
    static void* take_from(Region& region, std::uint32_t size, std::uint32_t rounded);

    Tally& tally_;
    Faults& faults_;
    Region* regions_ = nullptr;  // the newest first, own_memory_ last
    alignas(8) std::array<std::byte, kRegionBytes> own_memory_;
};

}  // namespace valtrosse::host
