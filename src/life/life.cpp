#include "life/life.hpp"

#include <limits>

#include "dom/node/free.hpp"
#include "plugin/catalogue.hpp"
#include "plugin/kit.hpp"
#include "plugin/readers.hpp"
#include "plugin/refusals.hpp"

using namespace valtrosse;

namespace {

LifeData* data_of(const vt_object_reference* object) {
    return static_cast<LifeData*>(TOVIK_ObjRefGetPrivatePtr(object));
}

/// Holds the tree instead of what the object held. False without memory; then nothing changes.
bool hold_tree(LifeData& data, xmlNode* tree) {
    Hold held = data.held();
    if (!hold(held, tree)) return false;
    data.set_held(held);
    return true;
}

/// Lets go of what the object holds. Gives the tree, or null when there was none or it has ended.
xmlNode* release_tree(LifeData& data) {
    xmlNode* const tree = release(data.held());
    data.tree = nullptr;
    return tree;
}

void write_object(const HostApi& api, vt_object* object, vt_object_value* result) {
    *result = {api.get<vt_host_function, VT_ID_OBJECT_VALUE_FIRST>(),
               api.get<vt_host_function, VT_ID_OBJECT_VALUE_SECOND>(), object};
}

/// The object itself as a method's result, so that scripts can chain calls.
void give_object(const LifeData& data, vt_object* object, vt_object_value* result) {
    if (!result) return;
    data.api.add_object_reference()(object);
    write_object(data.api, object, result);
}

/// The handle of the type behind a type value; null for anything else.
void* type_handle(const HostApi& api, vt_object_reference* value) {
    const vt_type_info* info = api.get_object_type_info()(value);
    if (!info || !info->type || info->type->kind != VT_TYPE) return nullptr;
    void* const* data = static_cast<void**>(TOVIK_ObjRefGetPrivatePtr(value));
    return data ? *data : nullptr;
}

}  // namespace

void* TOVIK_PrivateInitLIBXMLLifeObj(void* private_data) {
    static_cast<LifeData*>(private_data)->tree = nullptr;
    return private_data;
}

void TOVIK_PrivateTermLIBXMLLifeObj(void* private_data) {
    hear_ends_on_this_thread();
    xmlNode* const tree = release_tree(*static_cast<LifeData*>(private_data));
    // A tree that meanwhile hangs under another node belongs to that node's owner.
    if (tree && may_be_freed(tree)) _x_freeNode(tree);
}

vt_status TOVIK_GetLIBXMLLifeObjValue() { return VT_NO_OBJECT_VALUE; }
vt_status TOVIK_SetLIBXMLLifeObjValue() { return VT_NO_OBJECT_VALUE; }

vt_status TOVIK_NewLIBXMLLifeObject(vt_call_context* context, std::uint32_t arg_count, vt_argument*,
                                    std::uint32_t* consumed, vt_object_reference* self,
                                    vt_object_value* result) {
    if (consumed) *consumed = arg_count;
    HostApi api;
    if (vt_status status = TOVIK_GetExternalApiFuncs(context->runtime->provider, &api))
        return status;
    void* type = type_handle(api, self);
    if (!type) return VT_NOT_A_TYPE;

    vt_object_reference created{};
    if (vt_status status = api.create_object()(type, &created)) return status;
    created.base = 0;
    api.add_object_reference()(created.object);
    LifeData* data = data_of(&created);
    if (!data) {
        api.release_object()(created.object);
        return VT_NO_PRIVATE_DATA;
    }
    data->runtime_or_number = reinterpret_cast<std::uintptr_t>(context->runtime);
    data->api = api;
    if (result) write_object(api, created.object, result);
    return VT_OK;
}

vt_status TOVIK_LIBXMLLife_addInternal(vt_call_context* context, std::uint32_t arg_count,
                                       vt_argument* args, std::uint32_t* consumed,
                                       vt_object_reference* self, vt_object_value* result) {
    if (consumed) *consumed = arg_count;
    LifeData* data = data_of(self);
    if (!data) return VT_NO_PRIVATE_DATA;
    const HostApi& api = data->api;
    const auto& names = LIBXMLLife_addInternal_params_descs;
    std::uint32_t position = 0;
    if (vt_status status =
            api.bind_arguments()(&position, names.data(), names.size(), arg_count, args))
        return status;
    if (position == 0) return VT_MISSING_ARGUMENT;

    Handle handle = 0;
    vt_status status = TOVIKParam_Vtu32intParam(context->runtime, &api, position, args, &handle, 1,
                                                std::numeric_limits<std::uint32_t>::max());
    if (status == VT_OK) {
        xmlNode* const tree = passed_object(handle, names[0]);
        if (!tree) return VT_OK;
        if (!hold_tree(*data, tree)) status = VT_OUT_OF_MEMORY;
    }
    give_object(*data, self->object, result);
    return status;
}

vt_status TOVIK_LIBXMLLife_removeInternal(vt_call_context*, std::uint32_t arg_count, vt_argument*,
                                          std::uint32_t* consumed, vt_object_reference* self,
                                          vt_object_value* result) {
    if (consumed) *consumed = arg_count;
    LifeData* data = data_of(self);
    if (!data) return VT_NO_PRIVATE_DATA;
    release_tree(*data);
    give_object(*data, self->object, result);
    return VT_OK;
}
