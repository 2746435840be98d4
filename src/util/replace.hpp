// String replacement on host text, in 16-bit units.
#pragma once

#include <cstdint>

#include "plugin/export.hpp"
#include "valtrosse/host_abi.h"

/// 0 when the first n units are equal or n is 0, else 1; 1 for a null argument.
VALTROSSE_EXPORT int _x_memcmp(const char16_t* a, const char16_t* b, std::uint32_t n);
/// Copies n units; nothing for a null argument or n 0.
VALTROSSE_EXPORT void _x_memcpy(char16_t* destination, const char16_t* source, std::uint32_t n);
/// The first occurrence of the pattern in the text; null without one, for a null argument and a count
/// of 0.
VALTROSSE_EXPORT const char16_t* _x_FindBufferInBuffer(const char16_t* text, std::uint32_t count,
                                                       const char16_t* pattern,
                                                       std::uint32_t pattern_count);
/// Replaces every occurrence, left to right and without overlaps. The result is a block of the host's
/// memory, to be freed with Mem_Free. 33 for a null argument, an empty pattern and a text without it;
/// 62 for a result over 0x20000000 units; 1 without memory. The outputs are 0 after a failure.
VALTROSSE_EXPORT vt_status _x_ReplaceWordInBuffer(vt_host_runtime* runtime, const char16_t* text,
                                                  std::uint32_t count, const char16_t* pattern,
                                                  std::uint32_t pattern_count,
                                                  const char16_t* replacement,
                                                  std::uint32_t replacement_count,
                                                  char16_t** result, std::uint32_t* result_count);
