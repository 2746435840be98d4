#include "plugin/kit.hpp"

DNode* DNode_Init(DNode* node) {
    node->next = node;
    node->previous = node;
    return node;
}

DNode* DNode_AddAfter(DNode* node, DNode* anchor) {
    node->previous = anchor;
    node->next = anchor->next;
    anchor->next->previous = node;
    anchor->next = node;
    return anchor;
}

DNode* DNode_Remove(DNode* node) {
    node->previous->next = node->next;
    node->next->previous = node->previous;
    return DNode_Init(node);
}

void* TOVIK_ObjRefGetPrivatePtr(const vt_object_reference* reference) {
    vt_object* object = reference->object;
    return object ? object->data_at(object, reference->base + VT_PRIVATE_DATA) : nullptr;
}

vt_status TOVIKUtil_SetPropString(const valtrosse::HostApi* api, vt_host_runtime* runtime,
                                  const vt_object_reference* reference, std::uint32_t property,
                                  const char16_t* text, std::uint32_t count, std::uint16_t flag) {
    vt_value value;
    if (vt_status status = api->make_string_value()(runtime, &value, text, count)) return status;
    const vt_status status = api->set_object_property()(reference->object, reference->base,
                                                        property, VT_STRING, &value, flag);
    if (status != VT_OK) api->release_value()(VT_STRING, &value);
    return status;
}
