// LIBXMLLife: the object type that ends a tree's life with the object's.
#pragma once

#include "dom/node/held.hpp"
#include "plugin/host_api.hpp"

namespace valtrosse {

/// The private data of an object. A host may move it between two calls, so nothing keeps its address.
struct LifeData {
    /// The runtime record of the call of `new`, which nobody reads again. Once a tree has been held, the
    /// number of that hold: there is no room for one of its own.
    std::uintptr_t runtime_or_number;
    HostApi api;  ///< as the call of `new` fetched it
    xmlNode* tree;

    Hold held() const { return {tree, static_cast<std::uint32_t>(runtime_or_number)}; }
    void set_held(const Hold& held) {
        runtime_or_number = held.number;
        tree = held.tree;
    }
};
static_assert(sizeof(LifeData) == 77 * sizeof(void*));

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
