#include "plugin/memory.hpp"

namespace {

constexpr std::uint32_t max_block = 0x40000000;

/// Climbs from a level that could not allocate `request` to the first ancestor that can give what the
/// level below it needs, and donates that block to the level below. Each level on the way keeps what
/// it still has to allocate in its own record, so that the descent needs no memory.
/// Returns the level that was given the block, or null.
vt_allocator* refill(vt_allocator* level, std::uint32_t request, std::uint32_t need) {
    vt_allocator* below = nullptr;
    while (level->parent && need != 0) {
        level->child = below;
        level->pending_size = request;
        const std::uint32_t wanted = need;
        need = 0;
        if (void* block = level->parent->allocate(level->parent, wanted, &need)) {
            level->donate(level, block, wanted);
            return level;
        }
        below = level;
        level = level->parent;
        request = wanted;
    }
    return nullptr;
}

}  // namespace

void* Mem_Alloc(vt_allocator* allocator, std::uint32_t size) {
    if (size > max_block) return nullptr;
    size = (size + 3) & ~std::uint32_t{3};

    std::uint32_t need = 0;
    if (void* block = allocator->allocate(allocator, size, &need)) return block;

    vt_allocator* level = refill(allocator, size, need);
    while (level) {
        void* block = level->allocate(level, level->pending_size, &need);
        vt_allocator* below = level->child;
        if (!block || !below) return block;
        below->donate(below, block, level->pending_size);
        level = below;
    }
    return nullptr;
}

void Mem_Free(void* block) {
    while (block) {
        vt_allocator* owner = static_cast<vt_block_origin**>(block)[-1]->allocator;
        block = owner->release(owner, block);
    }
}
