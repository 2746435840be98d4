#include "host/api.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <mutex>
#include <type_traits>
#include <utility>

#include "host/call.hpp"
#include "host/core.hpp"

namespace valtrosse::host::api {

namespace {

constexpr std::array<std::uint32_t, VT_HOST_API_SLOTS> kIds{VT_HOST_API_IDS};
constexpr std::size_t kTableSize = *std::max_element(kIds.begin(), kIds.end()) + 1;

/// Indexed by id; null for the ids that no library knows.
std::array<vt_host_function, kTableSize> table;

/// Stands for a host function that the library must have but has no business calling. It is called
/// with unknown arguments and gives 0, which is a success to those who read a status.
template <std::uint32_t id>
std::uint32_t unused() noexcept {
    static std::once_flag reported;
    std::call_once(reported, [] {
        std::fprintf(stderr, "valtrosse host: function %u, of no use to a library, was called\n",
                     static_cast<unsigned>(id));
    });
    if (HostCore* core = entered_host()) ++core->tally.unused_ids_called;
    return VT_OK;
}

template <std::size_t... slots>
void answer_all_with_unused(std::index_sequence<slots...>) {
    ((table[kIds[slots]] = reinterpret_cast<vt_host_function>(&unused<kIds[slots]>)), ...);
}

template <typename Signature>
void answer(std::uint32_t id, std::type_identity_t<Signature> function) {
    table[id] = reinterpret_cast<vt_host_function>(function);
}

}  // namespace

void prepare() {
    static std::once_flag done;
    std::call_once(done, [] {
        answer_all_with_unused(std::make_index_sequence<kIds.size()>());
        answer<vt_create_object>(VT_ID_CREATE_OBJECT, create_object);
        answer<vt_add_object_reference>(VT_ID_ADD_OBJECT_REFERENCE, add_object_reference);
        answer<vt_release_object>(VT_ID_RELEASE_OBJECT, release_object);
        answer<vt_get_object_type_info>(VT_ID_GET_OBJECT_TYPE_INFO, get_object_type_info);
        answer<vt_set_object_property>(VT_ID_SET_OBJECT_PROPERTY, set_object_property);
        answer<vt_register_type>(VT_ID_REGISTER_TYPE, register_type);
        answer<vt_register_function>(VT_ID_REGISTER_FUNCTION, register_function);
        answer<vt_bind_arguments>(VT_ID_BIND_ARGUMENTS, bind_arguments);
        answer<vt_set_result>(VT_ID_SET_RESULT, set_result);
        answer<vt_get_boolean_argument>(VT_ID_GET_BOOLEAN_ARGUMENT, get_boolean_argument);
        answer<vt_get_integer_argument>(VT_ID_GET_RAMSIZE_ARGUMENT, get_integer_argument);
        answer<vt_get_integer_argument>(VT_ID_GET_INTEGER_ARGUMENT, get_integer_argument);
        answer<vt_get_string_argument>(VT_ID_GET_STRING_ARGUMENT, get_string_argument);
        answer<vt_get_blob_argument>(VT_ID_GET_BLOB_ARGUMENT, get_blob_argument);
        answer<vt_release_value>(VT_ID_RELEASE_VALUE, release_value);
        answer<vt_make_boolean_value>(VT_ID_MAKE_BOOLEAN_VALUE, make_boolean_value);
        answer<vt_make_integer_value>(VT_ID_MAKE_INTEGER_VALUE, make_integer_value);
        answer<vt_make_string_value>(VT_ID_MAKE_STRING_VALUE, make_string_value);
        answer<vt_make_blob_value>(VT_ID_MAKE_BLOB_VALUE, make_blob_value);
    });
}

/// Each thread's own way to the table. In position-independent 32-bit code a thread's data is
/// reached at once, the program's only after a call that asks where the program lies: this halves
/// the time of the 75 look-ups that every call makes. Not static, or the way would be optimised out.
constinit thread_local const vt_host_function* thread_table = table.data();

vt_host_function look_up(std::uint32_t id) { return id < kTableSize ? thread_table[id] : nullptr; }

vt_host_function look_up_with_faults(std::uint32_t id) {
    return id == injected_fault(&Faults::missing_id) ? nullptr : look_up(id);
}

}  // namespace valtrosse::host::api
