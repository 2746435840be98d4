// Typed readers of script arguments.
//
// All take the host runtime record, the host API table, the argument's 1-based position from the
// binding array and the argument array. Outputs are written only on success; a status of the host's
// own reader is passed on. The integer readers take inclusive bounds, and leave their output as it was
// for position 0, so that a caller may keep a default.
#pragma once

#include <cstdint>

#include "plugin/host_api.hpp"

/// Text and count in 16-bit units; either output may be null. 41 for position 0, 29 for a null
/// argument, 28 when the host raises its second flag.
VALTROSSE_EXPORT vt_status TOVIKParam_StrParam(vt_host_runtime* runtime,
                                               const valtrosse::HostApi* api,
                                               std::uint32_t position, vt_argument* args,
                                               std::uint32_t* count, const char16_t** text);
/// Bytes and length; either output may be null. 41 for position 0, 71 for a null argument, 70 for the
/// second flag.
VALTROSSE_EXPORT vt_status TOVIKParam_BlobParam(vt_host_runtime* runtime,
                                                const valtrosse::HostApi* api,
                                                std::uint32_t position, vt_argument* args,
                                                std::uint32_t* length, const std::uint8_t** data);
/// An unsigned integer in low..high; 30 outside, for null and for the second flag.
VALTROSSE_EXPORT vt_status TOVIKParam_Vtu32intParam(vt_host_runtime* runtime,
                                                    const valtrosse::HostApi* api,
                                                    std::uint32_t position, vt_argument* args,
                                                    std::uint32_t* value, std::uint32_t low,
                                                    std::uint32_t high);
/// As TOVIKParam_Vtu32intParam.
VALTROSSE_EXPORT vt_status TOVIKParam_VtuintParam(vt_host_runtime* runtime,
                                                  const valtrosse::HostApi* api,
                                                  std::uint32_t position, vt_argument* args,
                                                  std::uint32_t* value, std::uint32_t low,
                                                  std::uint32_t high);
/// A memory size in low..high, read through the host's own reader of memory sizes.
VALTROSSE_EXPORT vt_status TOVIKParam_VtramsizeParam(vt_host_runtime* runtime,
                                                     const valtrosse::HostApi* api,
                                                     std::uint32_t position, vt_argument* args,
                                                     std::uint32_t* value, std::uint32_t low,
                                                     std::uint32_t high);
/// A boolean as the host gives it; 30 for null.
VALTROSSE_EXPORT vt_status TOVIKParam_BoolParam(vt_host_runtime* runtime,
                                                const valtrosse::HostApi* api,
                                                std::uint32_t position, vt_argument* args,
                                                std::uint16_t* value);
