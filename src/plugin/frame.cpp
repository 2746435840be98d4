#include "plugin/frame.hpp"

#include <algorithm>

namespace valtrosse {

vt_status Call::bind(std::uint32_t* positions, const vt_name* names, std::uint32_t count,
                     std::uint32_t arg_count, vt_argument* args) const {
    if (vt_status status = api_.bind_arguments()(positions, names, count, arg_count, args))
        return status;
    const bool all_bound = std::find(positions, positions + count, 0u) == positions + count;
    return all_bound ? VT_OK : VT_MISSING_ARGUMENT;
}

vt_status Call::finish(Result result, void* result_slot) {
    if (_x_ret_val(&result.status) == 1)
        api_.set_result()(context_, result_slot, result.kind, &value_);
    return result.status;
}

}  // namespace valtrosse

std::uint16_t _x_ret_val(vt_status* status) {
    if (*status == VT_NULL_STRING || *status == VT_NULL_BLOB) *status = VT_OK;
    return *status == VT_OK;
}
