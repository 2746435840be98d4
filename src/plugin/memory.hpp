// Memory of the host: blocks from its chain of allocators, refilled level by level.
#pragma once

#include <cstdint>
#include <memory>

#include "plugin/export.hpp"
#include "valtrosse/host_abi.h"

/// A block of at least size bytes, or null. A size that exceeds 0x40000000 when rounded up to a
/// multiple of 4 gives null without asking. When the allocator has no room, its ancestors are asked
/// in turn and what they give is handed down.
VALTROSSE_EXPORT void* Mem_Alloc(vt_allocator* allocator, std::uint32_t size);

/// Frees a block from Mem_Alloc; null is not allowed.
VALTROSSE_EXPORT void Mem_Free(void* block);

namespace valtrosse {

struct HostMemoryRelease {
    void operator()(void* block) const { Mem_Free(block); }
};

/// A block of the host's memory that is freed with its owner.
template <typename T>
using HostMemory = std::unique_ptr<T[], HostMemoryRelease>;

}  // namespace valtrosse
