// Tells valgrind and the address sanitizer which bytes of an arena are in use, so that a write past
// the end of a block, or into a released one, is reported although the arena owns the memory.
#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define VALTROSSE_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VALTROSSE_ASAN 1
#endif
#endif

#if defined(VALTROSSE_ASAN)
#include <sanitizer/asan_interface.h>
#elif __has_include(<valgrind/memcheck.h>)
#include <valgrind/memcheck.h>
#endif

namespace valtrosse::host {

/// No byte of [start, start + bytes) may be touched. start is a multiple of 8.
inline void mark_unusable([[maybe_unused]] void* start, [[maybe_unused]] std::size_t bytes) {
#if defined(VALTROSSE_ASAN)
    ASAN_POISON_MEMORY_REGION(start, bytes);
#elif defined(VALGRIND_MAKE_MEM_NOACCESS)
    (void)VALGRIND_MAKE_MEM_NOACCESS(start, bytes);
#endif
}

/// The bytes may be written, and read once they are written. start is a multiple of 8.
inline void mark_usable([[maybe_unused]] void* start, [[maybe_unused]] std::size_t bytes) {
#if defined(VALTROSSE_ASAN)
    ASAN_UNPOISON_MEMORY_REGION(start, bytes);
#elif defined(VALGRIND_MAKE_MEM_UNDEFINED)
    (void)VALGRIND_MAKE_MEM_UNDEFINED(start, bytes);
#endif
}

}  // namespace valtrosse::host
