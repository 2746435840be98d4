// The static tables that the host reads while it loads the library.
#pragma once

#include <array>
#include <cstddef>

#include "plugin/catalogue.hpp"

namespace valtrosse {

constexpr std::size_t symbol_count = 188;
constexpr std::size_t function_count = 64;

}  // namespace valtrosse

VALTROSSE_EXPORT const std::array<vt_name, valtrosse::symbol_count> name_descs;
VALTROSSE_EXPORT const std::array<vt_function_record, valtrosse::function_count> freefunctions;
VALTROSSE_EXPORT const std::array<vt_type_record, 1> intrinsictypes;
VALTROSSE_EXPORT const std::array<vt_property_record, 3> propsforLIBXMLLife;
VALTROSSE_EXPORT const std::array<vt_method_record, 3> funcsforLIBXMLLife;
