// LIBXMLLife: the object type that ends a tree's life with the object's.
#pragma once

#include "dom/node/held.hpp"
#include "plugin/host_api.hpp"

namespace valtrosse {

/// The private data of an object. The table is the one that the call of `new` fetched.
struct LifeData {
    vt_host_runtime* runtime;
    HostApi api;
    HeldSlot held;
};
static_assert(sizeof(LifeData) == 308);

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
/// the object. 41, or 30 for a bad handle; then it holds what it held. The checked library gives no
/// value for a handle that it refuses.
VALTROSSE_EXPORT vt_status TOVIK_LIBXMLLife_addInternal(vt_call_context* context,
                                                        std::uint32_t arg_count, vt_argument* args,
                                                        std::uint32_t* consumed,
                                                        vt_object_reference* self,
                                                        vt_object_value* result);
/// Method `removeInternal()`: holds nothing any more; the tree is the script's again. Gives the object.
VALTROSSE_EXPORT vt_status TOVIK_LIBXMLLife_removeInternal(
    vt_call_context* context, std::uint32_t arg_count, vt_argument* args, std::uint32_t* consumed,
    vt_object_reference* self, vt_object_value* result);
