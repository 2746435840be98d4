// Host text (16-bit units, each one character; surrogates are not paired) to and from UTF-8 and 8-bit
// text.
//
// The plain conversions write into a caller's buffer and always report the full size. The _New variants
// first try the buffer that *buffer names (capacity units or bytes) and replace *buffer by a block from
// the host's allocator when it is too small; the caller frees a *buffer that it did not bring along
// with Mem_Free. A _New variant gives 1 when there is no memory, 33 for a null buffer pointer, and 62
// for a block over 0x40000000 bytes.
#pragma once

#include <cstdint>

#include "plugin/export.hpp"
#include "valtrosse/host_abi.h"

/// Encodes count units as UTF-8 with a zero byte after them. A null text is empty; a null out only
/// measures. Sequences are written whole, up to the first that does not fit in capacity bytes.
/// length_out receives the bytes without the zero byte; it may be null.
/// 28 when out is too small for text and zero byte, 62 when the length does not fit 32 bits.
VALTROSSE_EXPORT vt_status TOVIKUTF8_ToUTF8(const char16_t* text, std::uint32_t count,
                                            std::uint8_t* out, std::uint32_t capacity,
                                            std::uint32_t* length_out);

/// Decodes length bytes, without a terminator. Takes 1 to 6-byte forms, over-long ones included, whose
/// value fits 16 bits. A null out only measures; count_out receives the units and may be null.
/// 28 when capacity (in units) is too small, 33 for malformed bytes, 62 for a value above 0xFFFF; for
/// the last two count_out is not written.
VALTROSSE_EXPORT vt_status TOVIKUTF8_FromUTF8(const std::uint8_t* utf8, std::uint32_t length,
                                              char16_t* out, std::uint32_t capacity,
                                              std::uint32_t* count_out);

VALTROSSE_EXPORT vt_status TOVIKUTF8_TOVIKToUTF8_New(vt_host_runtime* runtime, const char16_t* text,
                                                     std::uint32_t count, std::uint8_t** buffer,
                                                     std::uint32_t capacity,
                                                     std::uint32_t* length_out);
VALTROSSE_EXPORT vt_status TOVIKUTF8_UTF8ToTOVIK_New(vt_host_runtime* runtime,
                                                     const std::uint8_t* utf8, std::uint32_t length,
                                                     char16_t** buffer, std::uint32_t capacity,
                                                     std::uint32_t* count_out);
/// The low byte of each unit, and a zero byte.
VALTROSSE_EXPORT vt_status TOVIKUTF8_TOVIKToChar_New(vt_host_runtime* runtime, const char16_t* text,
                                                     std::uint32_t count, std::uint8_t** buffer,
                                                     std::uint32_t capacity);
/// Each byte as a unit. count includes one terminator position, which is not written.
VALTROSSE_EXPORT vt_status TOVIKUTF8_CharToTOVIK_New(vt_host_runtime* runtime,
                                                     const std::uint8_t* text, std::uint32_t count,
                                                     char16_t** buffer, std::uint32_t capacity);
