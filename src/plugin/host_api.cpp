#include "plugin/host_api.hpp"

vt_status TOVIK_GetExternalApiFuncs(const vt_api_provider* provider, valtrosse::HostApi* table) {
    const vt_get_function_by_id get_function = provider->get_function;
    if (!get_function) return VT_MISSING_FUNCTION;
    vt_host_function* slot = table->slots;
    for (std::uint32_t id : valtrosse::host_api_ids) {
        const vt_host_function function = get_function(id);
        if (!function) return VT_MISSING_FUNCTION;
        *slot++ = function;
    }
    return VT_OK;
}
