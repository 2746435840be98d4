// The floor of a call: the same host functions in the same order as the library's frame calls them,
// around the bare libxml2 work and nothing else.
#pragma once

#include <libxml/tree.h>

#include <span>
#include <string>
#include <string_view>

#include "valtrosse/host_abi.h"

namespace valtrosse::bench {

/// One call of a handler without a library around it. Arguments are taken by their place in the
/// parameter list, as the host bound them.
class FloorCall {
public:
    static constexpr std::size_t max_parameters = 4;

    /// Fetches the 75 host functions and binds.
    FloorCall(vt_call_context* context, std::uint32_t arg_count, vt_argument* args, void* slot,
              std::span<const vt_name> parameters);

    /// To be called once before all else: numbers count from what it finds.
    static void find_origin();
    /// What stands for an object here: its address, with 64 bits its distance from where objects lie.
    static std::uint32_t number_of(const void* object) {
        return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(object) - origin);
    }

    std::uint32_t integer(std::size_t parameter) const;
    xmlNode* node(std::size_t parameter) const {
        return reinterpret_cast<xmlNode*>(origin + integer(parameter));
    }
    /// As terminated 8-bit text of at most 200 bytes: the benchmarks use ASCII.
    class Text {
    public:
        Text(const FloorCall& call, std::size_t parameter);
        const xmlChar* get() const { return text_; }

    private:
        xmlChar text_[201];
    };

    // Makes the value and sets the result.
    vt_status give(std::uint32_t integer);
    vt_status give(const void* object) { return give(number_of(object)); }
    vt_status give(const vt_unit* units, std::uint32_t count);
    /// ASCII text.
    vt_status give(const xmlChar* text);
    vt_status give_nothing();

private:
    static std::uintptr_t origin;

    template <typename F>
    F get(std::size_t slot) const {
        return reinterpret_cast<F>(slots_[slot]);
    }
    vt_argument* argument(std::size_t parameter) const { return args_ + positions_[parameter] - 1; }
    vt_status set(std::uint32_t kind);

    vt_call_context* context_;
    vt_argument* args_;
    void* slot_;
    vt_host_function slots_[VT_HOST_API_SLOTS];
    std::uint32_t positions_[max_parameters];
    vt_value value_;
};

/// A parameter name as the host's binding reads it.
constexpr vt_name parameter(std::u16string_view name) {
    return {static_cast<std::uint32_t>(2 * name.size()), name.data()};
}

}  // namespace valtrosse::bench
