// The frame that every script function runs in. A handler is only its work:
//
//     Result relative(Call& call, xmlNode* node, std::uint32_t step) { ... return call.handle(next); }
//     SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNodeGetRelative, relative)
//
// The parameter types say how the arguments are read, in binding order:
//
//     T*               a handle, 1 to 4294967295, of a libxml2 object
//     HandleOrZero<T>  the same with 0 allowed, which becomes null
//     std::uint32_t    an integer, 0 to 4294967295
//     Flag             an integer, 0 or 1
//     HostText, Blob   a string or bytes of the host, borrowed for the length of the call
//     Deferred<T>      any of these, read by the handler itself when its turn comes
//
// A number that is known to be no handle of a live object ends the call with no value (handle.hpp).
//
// The frame fetches the host API table, binds, reads, runs the work and passes the result. A script
// sees a value, no value, or a status; see Result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>
#include <utility>

#include "handles/handle.hpp"
#include "plugin/catalogue.hpp"
#include "plugin/host_api.hpp"
#include "plugin/readers.hpp"
#include "plugin/refusals.hpp"

namespace valtrosse {

/// How a handler ends: a status, and with status 0 the kind of the value that was made, or no value.
struct [[nodiscard]] Result {
    vt_status status;
    std::uint32_t kind;

    bool failed() const { return status != VT_OK; }
};

constexpr Result no_value{VT_OK, VT_NO_VALUE};
constexpr Result failure(vt_status status) { return {status, VT_NO_VALUE}; }

/// Text of the host: 16-bit units, not terminated. units may be null.
struct HostText {
    const char16_t* units;
    std::uint32_t count;

    bool absent() const { return units == nullptr; }
};

/// Bytes of the host. data may be null.
struct Blob {
    const std::uint8_t* data;
    std::uint32_t length;
};

/// An integer parameter that is 0 or 1.
struct Flag {
    bool set;
    explicit operator bool() const { return set; }
};

template <typename T>
struct HandleOrZero {
    T* object;
};

/// One call of a script function: the host's records and the value that the call makes.
class Call {
public:
    explicit Call(vt_call_context* context) : context_(context), runtime_(context->runtime) {
        hear_ends_on_this_thread();
    }

    vt_call_context* context() const { return context_; }
    vt_host_runtime* runtime() const { return runtime_; }
    const HostApi& api() const { return api_; }

    // The result. Each gives the host's status when it cannot make the value.
    Result integer(std::uint32_t value) {
        return made(api_.make_integer_value()(runtime_, &value_, 0, value), VT_INTEGER);
    }
    /// The handle of an object, which must be alive.
    Result handle(const void* object) {
        Handle handle = 0;
        if (vt_status status = give_handle(object, handle)) return failure(status);
        return integer(handle);
    }
    /// As handle, with no value for null.
    Result handle_or_no_value(const void* object) { return object ? handle(object) : no_value; }
    Result boolean(bool value) {
        return made(api_.make_boolean_value()(&value_, value), VT_BOOLEAN);
    }
    Result text(const char16_t* units, std::uint32_t count) {
        return made(api_.make_string_value()(runtime_, &value_, units, count), VT_STRING);
    }
    Result blob(const std::uint8_t* data, std::uint32_t length) {
        return made(api_.make_blob_value()(runtime_, &value_, data, length), VT_BLOB);
    }

    // The frame's own steps.
    vt_status fetch_api() { return TOVIK_GetExternalApiFuncs(runtime_->provider, &api_); }
    /// Binds the arguments; 41 when a parameter has none.
    vt_status bind(std::uint32_t* positions, const vt_name* names, std::uint32_t count,
                   std::uint32_t arg_count, vt_argument* args) const;
    /// Passes the result where the status allows it. Returns the status of the call.
    vt_status finish(Result result, void* result_slot);

private:
    static Result made(vt_status status, std::uint32_t kind) {
        return status == VT_OK ? Result{VT_OK, kind} : failure(status);
    }

    vt_call_context* context_;
    vt_host_runtime* runtime_;
    HostApi api_;
    vt_value value_;
};

/// Where the argument of one parameter is.
struct Place {
    std::uint32_t position;
    vt_argument* args;
    const vt_name* parameter;
};

namespace detail {

constexpr std::uint32_t max_integer = std::numeric_limits<std::uint32_t>::max();

inline vt_status read_integer(const Call& call, const Place& place, std::uint32_t& value,
                              std::uint32_t low, std::uint32_t high) {
    return TOVIKParam_Vtu32intParam(call.runtime(), &call.api(), place.position, place.args, &value,
                                    low, high);
}

template <typename T>
vt_status read_handle(const Call& call, const Place& place, T*& object, std::uint32_t low) {
    Handle handle = 0;
    const vt_status status = read_integer(call, place, handle, low, max_integer);
    if (status != VT_OK || handle == 0) return status;
    object = reinterpret_cast<T*>(passed_object(handle, *place.parameter));
    return object ? VT_OK : VT_NULL_STRING;
}

}  // namespace detail

/// How a parameter of type T is read: read() fills value, or gives the reader's status.
template <typename T>
struct Parameter;

template <>
struct Parameter<std::uint32_t> {
    std::uint32_t value = 0;
    vt_status read(const Call& call, const Place& place) {
        return detail::read_integer(call, place, value, 0, detail::max_integer);
    }
};

template <>
struct Parameter<Flag> {
    Flag value{};
    vt_status read(const Call& call, const Place& place) {
        std::uint32_t number = 0;
        const vt_status status = detail::read_integer(call, place, number, 0, 1);
        value.set = number == 1;
        return status;
    }
};

template <typename T>
struct Parameter<T*> {
    T* value = nullptr;
    vt_status read(const Call& call, const Place& place) {
        const vt_status status = detail::read_handle(call, place, value, 1);
#ifdef __clang_analyzer__
        if (status == VT_OK && !value)
            __builtin_trap();  // it never is: the analyser cannot see that
#endif
        return status;
    }
};

template <typename T>
struct Parameter<HandleOrZero<T>> {
    HandleOrZero<T> value{};
    vt_status read(const Call& call, const Place& place) {
        return detail::read_handle(call, place, value.object, 0);
    }
};

template <>
struct Parameter<HostText> {
    HostText value{};
    vt_status read(const Call& call, const Place& place) {
        return TOVIKParam_StrParam(call.runtime(), &call.api(), place.position, place.args,
                                   &value.count, &value.units);
    }
};

template <>
struct Parameter<Blob> {
    Blob value{};
    vt_status read(const Call& call, const Place& place) {
        return TOVIKParam_BlobParam(call.runtime(), &call.api(), place.position, place.args,
                                    &value.length, &value.data);
    }
};

/// A parameter that the handler reads itself: where what comes before it may end the call.
template <typename T>
class Deferred {
public:
    /// 0, or the status that ends the call; then value stays as it was.
    vt_status read(const Call& call, T& value) const {
        Parameter<T> parameter;
        const vt_status status = parameter.read(call, place_);
        if (status == VT_OK) value = parameter.value;
        return status;
    }

private:
    friend struct Parameter<Deferred<T>>;
    Place place_{};
};

template <typename T>
struct Parameter<Deferred<T>> {
    Deferred<T> value;
    vt_status read(const Call&, const Place& place) {
        value.place_ = place;
        return VT_OK;
    }
};

/// The frame around one handler's work.
template <auto work>
struct Frame;

template <typename... T, Result (*work)(Call&, T...)>
struct Frame<work> {
    static constexpr std::size_t count = sizeof...(T);

    static vt_status run(const vt_name* names, vt_call_context* context, std::uint32_t arg_count,
                         vt_argument* args, void* result_slot) {
        Call call(context);
        vt_status status = call.fetch_api();
        if (status != VT_OK) return call.finish(failure(status), result_slot);

        if constexpr (count == 0) {
            return call.finish(work(call), result_slot);
        } else {
            std::uint32_t positions[count] = {};
            status = call.bind(positions, names, count, arg_count, args);
            if (status != VT_OK) return call.finish(failure(status), result_slot);

            const auto read_and_work = [&]<std::size_t... i>(std::index_sequence<i...>) {
                std::tuple<Parameter<T>...> parameters;
                const bool all_read =
                    ((status = std::get<i>(parameters).read(call, {positions[i], args, names + i}),
                      status == VT_OK) &&
                     ...);
                if (!all_read) return failure(status);
                return work(call, std::get<i>(parameters).value...);
            };
            return call.finish(read_and_work(std::index_sequence_for<T...>{}), result_slot);
        }
    }
};

}  // namespace valtrosse

/// Whether a result is to be passed, 1 or 0: with status 0; and with the statuses of a null string or
/// blob argument (29, 71), which it turns into 0.
VALTROSSE_EXPORT std::uint16_t _x_ret_val(vt_status* status);

/// Defines the exported handler of a script function of the catalogue from its work.
#define SCRIPT_FUNCTION(prefix, function, work)                                                    \
    vt_status prefix##function(vt_call_context* context, std::uint32_t arg_count,                  \
                               vt_argument* args, void*, void* result_slot) {                      \
        using Handler = valtrosse::Frame<work>;                                                    \
        static_assert(Handler::count == function##_params_descs.size());                           \
        return Handler::run(function##_params_descs.data(), context, arg_count, args,              \
                            result_slot);                                                          \
    }
#define SCRIPT_FUNCTION_WITHOUT_PARAMETERS(prefix, function, work)                                 \
    vt_status prefix##function(vt_call_context* context, std::uint32_t arg_count,                  \
                               vt_argument* args, void*, void* result_slot) {                      \
        return valtrosse::Frame<work>::run(nullptr, context, arg_count, args, result_slot);        \
    }
