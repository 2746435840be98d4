// Entry points that a host reaches through TOVIK, and the version record.
#pragma once

#include <array>
#include <cstdint>

#include "plugin/export.hpp"
#include "valtrosse/host_abi.h"

VALTROSSE_EXPORT const vt_version_record vtver;
VALTROSSE_EXPORT const std::array<char, 34> vtdesc_byte;
VALTROSSE_EXPORT const std::array<char16_t, 10> digits;

/// The address of the entry point with this id (VT_ENTRY_...), or null.
VALTROSSE_EXPORT vt_host_function TOVIK(std::int32_t id);
/// The static version record of the library.
VALTROSSE_EXPORT const vt_version_record* VTGetVer();

/// A count, not a status: 1.
VALTROSSE_EXPORT std::uint32_t TOVIKLIBXML_GetRefCount();
/// Writes 0 for index 1; any other index gives 30. word may be null.
VALTROSSE_EXPORT vt_status TOVIKLIBXML_GetRef(std::uint32_t index, std::uint32_t* word);
/// Writes the number of symbol names. count may be null.
VALTROSSE_EXPORT vt_status TOVIKLIBXML_GetSymCount(void* ignored, std::uint32_t* count);
/// Writes the descriptor of symbol name 1 to 188; any other index gives 30. name may be null.
VALTROSSE_EXPORT vt_status TOVIKLIBXML_GetSymbol(void* ignored, std::uint32_t index, vt_name* name);
/// Registers the object type with the host; 45 when the host has no RegisterType.
VALTROSSE_EXPORT vt_status TOVIKLIBXML_AddTypes(void* ignored, vt_registration_context* context,
                                                void* extra);
/// Registers the script functions in order, up to the first that the host refuses.
VALTROSSE_EXPORT vt_status TOVIKLIBXML_AddFunctions(void* ignored, vt_registration_context* context,
                                                    void* extra);
/// Writes the version text, 8 units without terminator, and its length. 28 below 8 units.
VALTROSSE_EXPORT vt_status TOVIK_GetVersion(void* ignored, char16_t* buffer, std::uint32_t capacity,
                                            std::uint32_t* length);
/// Writes the 8 units of "major.minor.build" as d.dd.ddd; a number too large becomes number signs.
VALTROSSE_EXPORT void x_xx_xxx_VersionString(char16_t* buffer, std::uint32_t major,
                                             std::uint32_t minor, std::uint32_t build);
