#include "plugin/refusals.hpp"

#include <algorithm>

#include "lock.hpp"
#include "plugin/tables.hpp"

namespace valtrosse {
namespace {

struct Listener {
    vt_refused_handle_callback callback;
    void* data;
};

constinit Listener listener{};

/// The function or method that has the parameter. A parameter array shares the texts of the symbol
/// names, in which the parameters follow their function.
const vt_name& function_of(const vt_name& parameter) {
    if (parameter.units == LIBXMLLife_addInternal_params_descs[0].units)
        return name_descs[funcsforLIBXMLLife[1].name - 1];
    const auto name = std::find_if(name_descs.begin(), name_descs.end(), [&](const vt_name& other) {
        return other.units == parameter.units;
    });
    const auto index = static_cast<std::uint32_t>(name - name_descs.begin()) + 1;
    const auto next = std::find_if(freefunctions.begin(), freefunctions.end(),
                                   [&](const auto& function) { return function.name > index; });
    return name_descs[(next - 1)->name - 1];
}

}  // namespace

void report_refusal(Handle handle, const vt_name& parameter) {
    Listener present;
    {
        const SharedStateLock lock;
        present = listener;
    }
    if (present.callback)
        present.callback(present.data, &function_of(parameter), &parameter, handle);
}

}  // namespace valtrosse

void valtrosse_on_refused_handle(vt_refused_handle_callback callback, void* data) {
    const valtrosse::SharedStateLock lock;
    valtrosse::listener = {callback, data};
}

vt_status valtrosse_handle_of_object(const void* object, std::uint32_t* handle) {
    valtrosse::hear_ends_on_this_thread();
    return valtrosse::give_handle(object, *handle);
}

void* valtrosse_object_of_handle(std::uint32_t handle) { return valtrosse::object_of(handle); }
