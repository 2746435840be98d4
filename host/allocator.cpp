#include "host/allocator.hpp"

#include <algorithm>
#include <cstdlib>
#include <new>

#include "host/contract.hpp"
#include "host/memory_marks.hpp"

namespace valtrosse::host {

namespace {

/// The library asks for no more than this; below it, adding headers cannot wrap.
constexpr std::uint32_t kMaxRequest = 0x40000000;

}  // namespace

// ---- The parent level ---------------------------------------------------------------------------

namespace {

/// Stands before every block of the parent level; its last word is the one before the block.
struct MallocHeader {
    vt_word unused;
    vt_block_origin* origin;
};
static_assert(sizeof(MallocHeader) % 8 == 0, "blocks stay aligned to 8 bytes");

}  // namespace

MallocLevel::MallocLevel() : vt_allocator{} {
    allocate = allocate_block;
    release = release_block;
    donate = [](vt_allocator*, void*, std::uint32_t) {
        contract_broken("a block was donated to an allocator that has no parent");
    };
    origin_.allocator = this;
}

void* MallocLevel::allocate_block(vt_allocator* self, std::uint32_t size, std::uint32_t* need) {
    *need = 0;
    void* memory = size > 2 * kMaxRequest ? nullptr : std::malloc(sizeof(MallocHeader) + size);
    if (memory == nullptr) return nullptr;
    return new (memory) MallocHeader{0, &static_cast<MallocLevel*>(self)->origin_} + 1;
}

void* MallocLevel::release_block(vt_allocator*, void* block) {
    std::free(static_cast<MallocHeader*>(block) - 1);
    return nullptr;
}

// ---- The arena ----------------------------------------------------------------------------------

/// A stretch of memory that chunks are cut from, at its own start. It is the origin that the blocks
/// in it point to, so that releasing a block finds its region without a search.
struct Arena::Region : vt_block_origin {
    Region* next;
    std::uint32_t bytes;  // this header included, a multiple of 8
    std::uint32_t live_chunks;

    Chunk* first();
    std::byte* end() { return reinterpret_cast<std::byte*>(this) + bytes; }
    void make_one_free_chunk();
};

/// The header of a block, and of the room between blocks. Chunks fill a region without gaps; after
/// each block lies a guard that nobody may touch.
struct Arena::Chunk {
    static constexpr std::uint32_t kGuard = 8;

    std::uint32_t capacity_and_use;  // bytes for the block, a multiple of 8; bit 0: in use
    vt_block_origin* origin;         // the word before the block

    std::uint32_t capacity() const { return capacity_and_use & ~1U; }
    bool in_use() const { return (capacity_and_use & 1U) != 0; }
    std::byte* block() { return reinterpret_cast<std::byte*>(this + 1); }
    Chunk* following() { return reinterpret_cast<Chunk*>(block() + capacity() + kGuard); }
    static Chunk* of(void* block) { return static_cast<Chunk*>(block) - 1; }
};

Arena::Chunk* Arena::Region::first() { return reinterpret_cast<Chunk*>(this + 1); }

void Arena::Region::make_one_free_chunk() {
    mark_usable(first(), sizeof(Chunk));
    const auto room = static_cast<std::uint32_t>(end() - first()->block()) - Chunk::kGuard;
    new (first()) Chunk{room, this};
    mark_unusable(first()->block(), room + Chunk::kGuard);
}

Arena::Arena(MallocLevel& parent_level, Tally& tally, Faults& faults)
    : vt_allocator{},
      tally_(tally),
      faults_(faults) {
    static_assert(sizeof(Region) % 8 == 0 && sizeof(Chunk) % 8 == 0,
                  "blocks are aligned to 8 bytes");
    allocate = allocate_block;
    release = release_block;
    donate = donate_block;
    parent = &parent_level;
    add_region(own_memory_.data(), kRegionBytes);
}

Arena::~Arena() {
    while (regions_ != nullptr) {
        Region* region = regions_;
        regions_ = region->next;
        mark_usable(region->first(), region->bytes - sizeof(Region));
        if (static_cast<void*>(region) != own_memory_.data()) parent->release(parent, region);
    }
}

void Arena::add_region(void* memory, std::uint32_t bytes) {
    constexpr std::uint32_t smallest = sizeof(Region) + sizeof(Chunk) + 8 + Chunk::kGuard;
    if (bytes < smallest) contract_broken("a donated block is smaller than the need");
    auto* region = new (memory) Region{{{}, this}, regions_, bytes & ~7U, 0};
    region->make_one_free_chunk();
    regions_ = region;
}

/// First fit; neighbouring free chunks are joined as they are passed.
void* Arena::take_from(Region& region, std::uint32_t size, std::uint32_t rounded) {
    constexpr std::uint32_t overhead = sizeof(Chunk) + Chunk::kGuard;
    const auto at_end = [&](Chunk* chunk) {
        return reinterpret_cast<std::byte*>(chunk) >= region.end();
    };
    for (Chunk* chunk = region.first(); !at_end(chunk); chunk = chunk->following()) {
        if (chunk->in_use()) continue;
        for (Chunk* after = chunk->following(); !at_end(after) && !after->in_use();
             after = chunk->following()) {
            chunk->capacity_and_use += after->capacity() + overhead;
            mark_unusable(after, sizeof(Chunk));
        }
        const std::uint32_t room = chunk->capacity();
        if (room < rounded) continue;
        if (room - rounded >= overhead + 8) {
            chunk->capacity_and_use = rounded;
            mark_usable(chunk->following(), sizeof(Chunk));
            new (chunk->following()) Chunk{room - rounded - overhead, &region};
        }
        chunk->capacity_and_use |= 1U;
        ++region.live_chunks;
        mark_usable(chunk->block(), size);
        return chunk->block();
    }
    return nullptr;
}

void* Arena::allocate_block(vt_allocator* self, std::uint32_t size, std::uint32_t* need) {
    auto& arena = *static_cast<Arena*>(self);
    *need = 0;
    if (arena.faults_.fail_allocation != 0 && --arena.faults_.fail_allocation == 0) return nullptr;
    if (size > kMaxRequest) return nullptr;
    const std::uint32_t rounded = std::max<std::uint32_t>((size + 7) & ~7U, 8);
    for (Region* region = arena.regions_; region != nullptr; region = region->next) {
        if (void* block = take_from(*region, size, rounded)) {
            ++arena.tally_.allocations;
            ++arena.tally_.live_blocks;
            return block;
        }
    }
    constexpr std::uint32_t headers = sizeof(Region) + sizeof(Chunk) + Chunk::kGuard;
    *need = std::max(kRegionBytes, rounded + headers);
    return nullptr;
}

void* Arena::release_block(vt_allocator* self, void* block) {
    auto& arena = *static_cast<Arena*>(self);
    Chunk* chunk = Chunk::of(block);
    if (!chunk->in_use()) contract_broken("a block was released twice");
    auto* region = static_cast<Region*>(chunk->origin);
    chunk->capacity_and_use &= ~1U;
    --arena.tally_.live_blocks;
    mark_unusable(chunk->block(), chunk->capacity());
    if (--region->live_chunks != 0) return nullptr;
    if (static_cast<void*>(region) == arena.own_memory_.data()) {
        region->make_one_free_chunk();
        return nullptr;
    }
    Region** link = &arena.regions_;
    while (*link != region) link = &(*link)->next;
    *link = region->next;
    mark_usable(region->first(), region->bytes - sizeof(Region));
    return region;
}

void Arena::donate_block(vt_allocator* self, void* block, std::uint32_t size) {
    auto& arena = *static_cast<Arena*>(self);
    arena.add_region(block, size);
    ++arena.tally_.refills;
}

}  // namespace valtrosse::host
