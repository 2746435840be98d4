#include "plugin/host_api.hpp"

#include <utility>

namespace {

using namespace valtrosse;

/// Unrolled, with the ids in the code: every call does this, and it takes half the instructions of a
/// loop.
template <std::size_t... slot>
bool fetch(vt_get_function_by_id get_function, HostApi& table, std::index_sequence<slot...>) {
    const auto fetch_one = [&](std::uint32_t id, vt_host_function& place) {
        const vt_host_function function = get_function(id);
        if (!function) return false;
        place = function;
        return true;
    };
    return (fetch_one(host_api_ids[slot], table.slots[slot]) && ...);
}

}  // namespace

vt_status TOVIK_GetExternalApiFuncs(const vt_api_provider* provider, valtrosse::HostApi* table) {
    if (!provider->get_function) return VT_MISSING_FUNCTION;
    const bool all =
        fetch(provider->get_function, *table, std::make_index_sequence<VT_HOST_API_SLOTS>());
    return all ? VT_OK : VT_MISSING_FUNCTION;
}
