// The host API table: the 75 host functions that every call fetches by id.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "plugin/export.hpp"
#include "valtrosse/host_abi.h"

namespace valtrosse {

constexpr std::array<std::uint32_t, VT_HOST_API_SLOTS> host_api_ids = {VT_HOST_API_IDS};

void no_such_id();  // defined nowhere: reaching it ends the compilation

/// The slot that holds the function of this id.
constexpr std::size_t slot_of(std::uint32_t id) {
    for (std::size_t slot = 0; slot < host_api_ids.size(); ++slot)
        if (host_api_ids[slot] == id) return slot;
    no_such_id();
    return 0;
}

static_assert(host_api_ids.back() == 800);
static_assert(slot_of(VT_ID_BIND_ARGUMENTS) == 16 && slot_of(VT_ID_MAKE_BLOB_VALUE) == 51);

/// The table as a plain value; slot k holds the function of the k-th id.
struct HostApi {
    vt_host_function slots[VT_HOST_API_SLOTS];

    template <typename Function, std::uint32_t id>
    Function get() const {
        constexpr std::size_t slot = slot_of(id);
        return reinterpret_cast<Function>(slots[slot]);
    }

    auto create_object() const { return get<vt_create_object, VT_ID_CREATE_OBJECT>(); }
    auto add_object_reference() const {
        return get<vt_add_object_reference, VT_ID_ADD_OBJECT_REFERENCE>();
    }
    auto release_object() const { return get<vt_release_object, VT_ID_RELEASE_OBJECT>(); }
    auto get_object_type_info() const {
        return get<vt_get_object_type_info, VT_ID_GET_OBJECT_TYPE_INFO>();
    }
    auto set_object_property() const {
        return get<vt_set_object_property, VT_ID_SET_OBJECT_PROPERTY>();
    }
    auto bind_arguments() const { return get<vt_bind_arguments, VT_ID_BIND_ARGUMENTS>(); }
    auto set_result() const { return get<vt_set_result, VT_ID_SET_RESULT>(); }
    auto get_boolean_argument() const {
        return get<vt_get_boolean_argument, VT_ID_GET_BOOLEAN_ARGUMENT>();
    }
    auto get_ramsize_argument() const {
        return get<vt_get_integer_argument, VT_ID_GET_RAMSIZE_ARGUMENT>();
    }
    auto get_integer_argument() const {
        return get<vt_get_integer_argument, VT_ID_GET_INTEGER_ARGUMENT>();
    }
    auto get_string_argument() const {
        return get<vt_get_string_argument, VT_ID_GET_STRING_ARGUMENT>();
    }
    auto get_blob_argument() const { return get<vt_get_blob_argument, VT_ID_GET_BLOB_ARGUMENT>(); }
    auto make_boolean_value() const {
        return get<vt_make_boolean_value, VT_ID_MAKE_BOOLEAN_VALUE>();
    }
    auto make_integer_value() const {
        return get<vt_make_integer_value, VT_ID_MAKE_INTEGER_VALUE>();
    }
    auto make_string_value() const { return get<vt_make_string_value, VT_ID_MAKE_STRING_VALUE>(); }
    auto make_blob_value() const { return get<vt_make_blob_value, VT_ID_MAKE_BLOB_VALUE>(); }
    auto release_value() const { return get<vt_release_value, VT_ID_RELEASE_VALUE>(); }
};

static_assert(sizeof(HostApi) == sizeof(void*) * VT_HOST_API_SLOTS);

}  // namespace valtrosse

/// Fills the table from the provider, in slot order. 45 at the first id that is not answered (the
/// slots before it are filled, the later ones untouched), or when the provider has no callback.
VALTROSSE_EXPORT vt_status TOVIK_GetExternalApiFuncs(const vt_api_provider* provider,
                                                     valtrosse::HostApi* table);
