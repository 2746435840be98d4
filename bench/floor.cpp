#include "bench/floor.hpp"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace valtrosse::bench {

namespace {

constexpr std::array<std::uint32_t, VT_HOST_API_SLOTS> ids{VT_HOST_API_IDS};

constexpr std::size_t slot_of(std::uint32_t id) {
    return static_cast<std::size_t>(std::find(ids.begin(), ids.end(), id) - ids.begin());
}

}  // namespace

constinit std::uintptr_t FloorCall::origin = 0;

void FloorCall::find_origin() {
    if (sizeof(void*) == sizeof(std::uint32_t)) return;
    // Two GiB below a block of the heap: its other blocks lie less than four from there.
    const auto block = std::make_unique<char[]>(100);
    origin = reinterpret_cast<std::uintptr_t>(block.get()) - (std::uintptr_t{1} << 31);
}

FloorCall::FloorCall(vt_call_context* context, std::uint32_t arg_count, vt_argument* args,
                     void* slot, std::span<const vt_name> parameters)
    : context_(context),
      args_(args),
      slot_(slot) {
    const vt_get_function_by_id get_function = context->runtime->provider->get_function;
    for (std::size_t i = 0; i < VT_HOST_API_SLOTS; ++i) slots_[i] = get_function(ids[i]);
    get<vt_bind_arguments>(slot_of(VT_ID_BIND_ARGUMENTS))(
        positions_, parameters.data(), static_cast<std::uint32_t>(parameters.size()), arg_count,
        args);
}

std::uint32_t FloorCall::integer(std::size_t parameter) const {
    std::uint16_t null_flag = 0;
    std::uint16_t second_flag = 0;
    std::uint32_t value = 0;
    get<vt_get_integer_argument>(slot_of(VT_ID_GET_INTEGER_ARGUMENT))(
        context_->runtime, argument(parameter), &null_flag, nullptr, &second_flag, &value);
    return value;
}

FloorCall::Text::Text(const FloorCall& call, std::size_t parameter) {
    std::uint16_t null_flag = 0;
    std::uint16_t second_flag = 0;
    std::uint32_t count = 0;
    const vt_unit* units = nullptr;
    call.get<vt_get_string_argument>(slot_of(VT_ID_GET_STRING_ARGUMENT))(
        call.argument(parameter), &null_flag, &second_flag, &count, &units);
    xmlChar* end = text_;
    for (std::uint32_t i = 0; i < count; ++i) *end++ = static_cast<xmlChar>(units[i]);
    *end = 0;
}

vt_status FloorCall::give(std::uint32_t integer) {
    get<vt_make_integer_value>(slot_of(VT_ID_MAKE_INTEGER_VALUE))(context_->runtime, &value_, 0,
                                                                  integer);
    return set(VT_INTEGER);
}

vt_status FloorCall::give(const vt_unit* units, std::uint32_t count) {
    get<vt_make_string_value>(slot_of(VT_ID_MAKE_STRING_VALUE))(context_->runtime, &value_, units,
                                                                count);
    return set(VT_STRING);
}

vt_status FloorCall::give(const xmlChar* text) {
    std::array<vt_unit, 200> few;
    const auto length = static_cast<std::uint32_t>(xmlStrlen(text));
    if (length <= few.size()) {
        std::copy_n(text, length, few.begin());
        return give(few.data(), length);
    }
    const std::vector<vt_unit> many(text, text + length);
    return give(many.data(), length);
}

vt_status FloorCall::give_nothing() { return set(VT_NO_VALUE); }

vt_status FloorCall::set(std::uint32_t kind) {
    get<vt_set_result>(slot_of(VT_ID_SET_RESULT))(context_, slot_, kind, &value_);
    return VT_OK;
}

}  // namespace valtrosse::bench
