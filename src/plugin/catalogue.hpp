// The catalogue as types: parameter arrays and handlers of the script functions, declared.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "plugin/export.hpp"
#include "valtrosse/host_abi.h"

namespace valtrosse {

/// The number of names in a comma-separated list; 0 for an empty one.
consteval std::size_t count_names(std::u16string_view list) {
    if (list.empty()) return 0;
    std::size_t count = 1;
    for (char16_t unit : list) count += unit == u',';
    return count;
}

}  // namespace valtrosse

#define VALTROSSE_DECLARE_HANDLER(prefix, function)                                                \
    VALTROSSE_EXPORT vt_status prefix##function(vt_call_context* context, std::uint32_t arg_count, \
                                                vt_argument* args, void* ignored,                  \
                                                void* result_slot);
#define FUNCTION(prefix, function, ...)                                                            \
    VALTROSSE_DECLARE_HANDLER(prefix, function)                                                    \
    VALTROSSE_EXPORT const std::array<vt_name, valtrosse::count_names(u"" #__VA_ARGS__)>           \
        function##_params_descs;
#define FUNCTION_WITHOUT_PARAMETERS(prefix, function) VALTROSSE_DECLARE_HANDLER(prefix, function)
#define TYPE_NAMES(...)
#include "plugin/catalogue.def"
#undef FUNCTION
#undef FUNCTION_WITHOUT_PARAMETERS
#undef TYPE_NAMES
#undef VALTROSSE_DECLARE_HANDLER

VALTROSSE_EXPORT const std::array<vt_name, 1> LIBXMLLife_addInternal_params_descs;
