// What the host calls of the object type LIBXMLLife; life/ defines it.
#pragma once

#include <cstddef>

#include "plugin/export.hpp"
#include "valtrosse/host_abi.h"

namespace valtrosse {

/// The bytes of private data that an object has.
constexpr std::size_t life_data_size = 77 * sizeof(void*);

}  // namespace valtrosse

/// Called by the host on new private data: it holds nothing. Returns the data.
VALTROSSE_EXPORT void* TOVIK_PrivateInitLIBXMLLifeObj(void* private_data);
/// Called by the host when the object ends: frees the held tree, unless it hangs under another node.
VALTROSSE_EXPORT void TOVIK_PrivateTermLIBXMLLifeObj(void* private_data);
/// 31: the object has no value of its own.
VALTROSSE_EXPORT vt_status TOVIK_GetLIBXMLLifeObjValue();
VALTROSSE_EXPORT vt_status TOVIK_SetLIBXMLLifeObjValue();

/// Method `new` of the type value: a new object that holds nothing. 16 for something else than a type
/// value, 21 when the host gives the object no private data.
VALTROSSE_EXPORT vt_status TOVIK_NewLIBXMLLifeObject(vt_call_context* context,
                                                     std::uint32_t arg_count, vt_argument* args,
                                                     std::uint32_t* consumed,
                                                     vt_object_reference* self,
                                                     vt_object_value* result);
/// Method `addInternal(internal)`: holds the tree instead of what it held, which is left alone. Gives
/// the object. 41, or 30 for a bad handle; then it holds what it held. No value for a number that is
/// known to be no handle of a live object.
VALTROSSE_EXPORT vt_status TOVIK_LIBXMLLife_addInternal(vt_call_context* context,
                                                        std::uint32_t arg_count, vt_argument* args,
                                                        std::uint32_t* consumed,
                                                        vt_object_reference* self,
                                                        vt_object_value* result);
/// Method `removeInternal()`: holds nothing any more; the tree is the script's again. Gives the object.
VALTROSSE_EXPORT vt_status TOVIK_LIBXMLLife_removeInternal(
    vt_call_context* context, std::uint32_t arg_count, vt_argument* args, std::uint32_t* consumed,
    vt_object_reference* self, vt_object_value* result);
