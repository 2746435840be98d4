// A call context with all that hangs on it, and the calls made through it.
#pragma once

#include <cstdint>
#include <span>

#include "host/allocator.hpp"
#include "host/api.hpp"
#include "host/host.hpp"
#include "host/objects.hpp"
#include "host/values.hpp"

namespace valtrosse::host {

struct HostCore;
class CallContext;
struct CallFrame;

/// The runtime record that the library hands back to host functions.
struct RuntimeRecord : vt_host_runtime {
    CallContext* context;
};

/// A call context with a runtime record, a provider and allocators of its own. For one thread at a
/// time.
class CallContext : public vt_call_context {
public:
    explicit CallContext(HostCore& core);
    CallContext(const CallContext&) = delete;
    CallContext& operator=(const CallContext&) = delete;

    /// Makes the host the current one of this thread and puts its faults into effect. Comes before
    /// everything that hands the context to the library.
    void enter();

    Outcome call(const Function& function, std::span<const Argument> args);
    Outcome call_method(Object& object, const ObjectType::Method& method,
                        std::span<const Argument> args);

    /// The innermost call of a script function; null for none.
    const RunningCall* running_call() const { return running_call_; }

    /// Where values go that are made now: to the running call, or, when somebody uses the runtime
    /// record outside a call, to the context.
    CallValues& values();

private:
    friend struct CallFrame;
    friend void api::set_result(vt_call_context*, void*, std::uint32_t, vt_value*) noexcept;

    HostCore& core_;
    MallocLevel malloc_level_;
    Arena arena_;
    vt_api_provider provider_{};
    RuntimeRecord runtime_{};
    ValuePool value_pool_;
    CallValues stray_values_;
    CallFrame* frame_ = nullptr;  // the running call
    const RunningCall* running_call_ = nullptr;
    std::uint64_t calls_ = 0;
};

/// The host that this thread entered last; null before the first time and after that host is gone.
HostCore* entered_host();
/// To be called when a host goes.
void forget_host(const HostCore* core);

/// A fault of the current host, 0 for none.
std::uint32_t injected_fault(std::uint32_t Faults::*fault);
/// The same for an argument reader, which counts.
vt_status injected_read_fault();

}  // namespace valtrosse::host
