#include "host/call.hpp"

#include <array>
#include <stdexcept>

#include "host/api.hpp"
#include "host/arguments.hpp"
#include "host/core.hpp"

namespace valtrosse::host {

// ---- The current host of a thread ---------------------------------------------------------------

namespace {

constinit thread_local HostCore* current_host = nullptr;

}  // namespace

HostCore* entered_host() { return current_host; }

void forget_host(const HostCore* core) {
    if (current_host == core) current_host = nullptr;
}

std::uint32_t injected_fault(std::uint32_t Faults::*fault) {
    return current_host == nullptr ? 0 : current_host->faults.*fault;
}

vt_status injected_read_fault() {
    if (injected_fault(&Faults::read) == 0) return VT_OK;
    Faults& faults = current_host->faults;
    if (faults.reads_before == 0) return faults.read;
    --faults.reads_before;
    return VT_OK;
}

// ---- Frames -------------------------------------------------------------------------------------

/// One running call; handlers get its address as their result slot.
struct CallFrame {
    explicit CallFrame(CallContext& owner)
        : context(owner),
          outer(owner.frame_),
          values(owner.value_pool_) {
        context.frame_ = this;
    }
    ~CallFrame() { context.frame_ = outer; }
    CallFrame(const CallFrame&) = delete;
    CallFrame& operator=(const CallFrame&) = delete;

    CallContext& context;
    CallFrame* outer;
    CallValues values;
    Outcome::Value result{};
    bool result_set = false;
    std::uint32_t last_read = 0;
    const char* breach = nullptr;  // what the library did against the contract
};

namespace {

/// The argument records of one call; few of them need no allocation.
class Records {
public:
    Records(std::span<const Argument> args, std::uint32_t& last_read) {
        if (args.size() > few_.size()) many_.resize(args.size());
        for (std::size_t i = 0; i < args.size(); ++i) {
            write_argument(data()[i], args[i], static_cast<std::uint32_t>(i + 1), last_read);
        }
    }
    vt_argument* data() { return many_.empty() ? few_.data() : many_.data(); }

private:
    std::array<vt_argument, 8> few_;
    std::vector<vt_argument> many_;
};

}  // namespace

// ---- Call contexts ------------------------------------------------------------------------------

CallContext::CallContext(HostCore& core)
    : vt_call_context{0, &runtime_},
      core_(core),
      arena_(malloc_level_, core.tally, core.faults),
      value_pool_{core.tally},
      stray_values_(value_pool_) {
    provider_.get_function = api::look_up;
    runtime_.provider = &provider_;
    runtime_.allocator = &arena_;
    runtime_.context = this;
}

void CallContext::enter() {
    current_host = &core_;
    if (!core_.faults_in_use) return;
    const Faults& faults = core_.faults;
    provider_.get_function = faults.no_lookup         ? nullptr
                             : faults.missing_id != 0 ? api::look_up_with_faults
                                                      : api::look_up;
}

CallValues& CallContext::values() { return frame_ != nullptr ? frame_->values : stray_values_; }

Outcome CallContext::call(const Function& function, std::span<const Argument> args) {
    enter();
    CallFrame frame(*this);
    const RunningCall running{&function, args, ++calls_};
    const auto restore = [this](const RunningCall* outer) { running_call_ = outer; };
    const std::unique_ptr<const RunningCall, decltype(restore)> outer(
        std::exchange(running_call_, &running), restore);
    Records records(args, frame.last_read);
    const vt_status status = function.handler(this, static_cast<std::uint32_t>(args.size()),
                                              records.data(), nullptr, &frame);
    if (frame.result_set && status != VT_OK) frame.breach = "it set a result and failed";
    if (frame.breach != nullptr) throw ContractError(function.name + ": " + frame.breach);
    return {status, frame.result_set, std::move(frame.result), frame.last_read};
}

Outcome CallContext::call_method(Object& object, const ObjectType::Method& method,
                                 std::span<const Argument> args) {
    enter();
    CallFrame frame(*this);
    Records records(args, frame.last_read);
    const auto count = static_cast<std::uint32_t>(args.size());
    std::uint32_t consumed = ~count;
    vt_object_reference self{&object, 0};
    vt_object_value given{};
    const vt_status status = method.handler(this, count, records.data(), &consumed, &self, &given);

    // The reference that came with the object is this function's to release.
    ObjectHandle handle(given.object);
    if (given.object != nullptr) {
        api::release_object(given.object);
        if (given.first != api::look_up(VT_ID_OBJECT_VALUE_FIRST) ||
            given.second != api::look_up(VT_ID_OBJECT_VALUE_SECOND)) {
            frame.breach = "its object value does not begin with host functions 210 and 211";
        }
    }
    if (frame.result_set) frame.breach = "a method set a result";
    if (consumed != count) frame.breach = "it did not consume all arguments";
    if (frame.breach != nullptr) {
        throw ContractError(object.type.name + "." + method.name + ": " + frame.breach);
    }
    const bool gave_object = static_cast<bool>(handle);
    if (gave_object) frame.result = std::move(handle);
    return {status, gave_object && status == VT_OK, std::move(frame.result), frame.last_read};
}

// ---- Host functions that know the call ----------------------------------------------------------

namespace api {

namespace {

template <typename Content, typename Item>
vt_status make_copy(vt_host_runtime* runtime, vt_value* value, std::uint32_t kind,
                    const Item* items, std::uint32_t count) {
    if (const vt_status fault = injected_fault(&Faults::make)) return fault;
    try {
        CallValues& values = static_cast<RuntimeRecord*>(runtime)->context->values();
        values.add(*value, kind).emplace<Content>(items, items + count);
        return VT_OK;
    } catch (const std::bad_alloc&) {
        return VT_OUT_OF_MEMORY;
    } catch (const std::length_error&) {
        return VT_TOO_LARGE;
    }
}

}  // namespace

vt_status make_boolean_value(vt_value* value, std::uint16_t boolean) noexcept {
    if (const vt_status fault = injected_fault(&Faults::make)) return fault;
    write_boolean(*value, boolean != 0);
    return VT_OK;
}

vt_status make_integer_value(vt_host_runtime*, vt_value* value, std::uint32_t,
                             std::uint32_t integer) noexcept {
    if (const vt_status fault = injected_fault(&Faults::make)) return fault;
    write_integer(*value, integer);
    return VT_OK;
}

vt_status make_string_value(vt_host_runtime* runtime, vt_value* value, const vt_unit* text,
                            std::uint32_t count) noexcept {
    return make_copy<std::u16string>(runtime, value, VT_STRING, text, count);
}

vt_status make_blob_value(vt_host_runtime* runtime, vt_value* value, const std::uint8_t* data,
                          std::uint32_t length) noexcept {
    return make_copy<Blob>(runtime, value, VT_BLOB, data, length);
}

void release_value(std::uint32_t kind, vt_value* value) noexcept {
    Outcome::Value released;
    take_value(kind, *value, released);
}

void set_result(vt_call_context* context, void* result_slot, std::uint32_t kind,
                vt_value* value) noexcept {
    CallFrame* frame = static_cast<CallContext*>(context)->frame_;
    if (frame == nullptr || frame != result_slot) {
        // Somebody calls a handler without this host's call: there is nobody to take the result.
        if (kind != VT_NO_VALUE) release_value(kind, value);
        return;
    }
    if (frame->result_set) frame->breach = "it set a result twice";
    frame->result_set = true;
    if (kind != VT_NO_VALUE && !take_value(kind, *value, frame->result)) {
        frame->breach = "it set a result of another kind than the value it made";
    }
}

}  // namespace api

}  // namespace valtrosse::host
