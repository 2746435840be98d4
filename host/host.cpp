#include "host/host.hpp"

#include "host/core.hpp"

namespace valtrosse::host {

struct Host::State : HostCore {
    using HostCore::HostCore;

    const Function& function(std::string_view name) const {
        if (const Function* found = registry.find_function(name)) return *found;
        throw UsageError("there is no function " + std::string(name));
    }

    ObjectType& type(std::string_view name) {
        if (ObjectType* found = objects.find_type(name)) return *found;
        throw UsageError("there is no object type " + std::string(name));
    }

    /// The object behind a handle, which must be one of this host's.
    Object& object(const ObjectHandle& handle) {
        auto* object = static_cast<Object*>(handle.get());
        if (object == nullptr) throw UsageError("there is no object");
        if (object->store != &objects) throw UsageError("the object belongs to another host");
        return *object;
    }
};

struct Host::Context::State : CallContext {
    explicit State(Host::State& host) : CallContext(host), functions(host) {}

    const Host::State& functions;
};

Host::Host(const std::string& library_path) : state_(std::make_unique<State>(library_path)) {}
Host::~Host() = default;

// ---- Functions ----------------------------------------------------------------------------------

const std::vector<Function>& Host::functions() const { return state_->registry.functions(); }

const Function* Host::find(std::string_view name) const {
    return state_->registry.find_function(name);
}

Outcome Host::call(std::string_view function, std::initializer_list<Argument> args) {
    return call(state_->function(function), args);
}

Outcome Host::call(const Function& function, std::span<const Argument> args) {
    return state_->context.call(function, args);
}

const RunningCall* Host::running_call() const { return state_->context.running_call(); }

Host::Context::Context(Host& host) : state_(std::make_unique<State>(*host.state_)) {}
Host::Context::~Context() = default;

Outcome Host::Context::call(std::string_view function, std::initializer_list<Argument> args) {
    return call(state_->functions.function(function), args);
}

Outcome Host::Context::call(const Function& function, std::span<const Argument> args) {
    return state_->call(function, args);
}

vt_call_context* Host::Context::raw() {
    state_->enter();
    return state_.get();
}

// ---- Objects ------------------------------------------------------------------------------------

ObjectHandle Host::type_value(std::string_view type) { return state_->type(type).value; }

Outcome Host::create(std::string_view type) { return call_method(type_value(type), "new"); }

Outcome Host::call_method(const ObjectHandle& object, std::string_view method,
                          std::initializer_list<Argument> args) {
    return call_method(object, method, std::span<const Argument>(args));
}

Outcome Host::call_method(const ObjectHandle& object, std::string_view method,
                          std::span<const Argument> args) {
    Object& self = state_->object(object);
    const ObjectType::Method* found = self.type.find_method(method);
    if (found == nullptr) {
        throw UsageError(self.type.name + " has no method " + std::string(method));
    }
    // Other methods would take the type value's private data for an object's.
    if (self.is_type_value && method != "new") {
        throw UsageError("method " + std::string(method) + " needs an object, not the type");
    }
    return state_->context.call_method(self, *found, args);
}

const Outcome::Value& Host::property(const ObjectHandle& object, std::uint32_t name) const {
    static const Outcome::Value none;
    const auto& properties = state_->object(object).properties;
    const auto found = properties.find(name);
    return found == properties.end() ? none : found->second;
}

// ---- Objects of libxml2 --------------------------------------------------------------------------

void* Host::object_of(std::uint32_t handle) const { return state_->library.object_of(handle); }

std::uint32_t Host::handle_of(const void* object) const {
    return state_->library.handle_of(object);
}

// ---- The library, tests and tools ---------------------------------------------------------------

std::string Host::version_text() const { return state_->library.version_text(); }
std::vector<std::string> Host::symbols() const { return state_->library.symbols(); }
std::string Host::description() const { return state_->library.description(); }

Faults& Host::faults() {
    state_->faults_in_use = true;
    return state_->faults;
}

Counters Host::counters() const { return state_->tally.snapshot(); }

vt_call_context* Host::call_context() {
    state_->context.enter();
    return &state_->context;
}

vt_host_runtime* Host::runtime() { return call_context()->runtime; }

void* Host::symbol(const char* name) const { return state_->library.symbol(name); }

}  // namespace valtrosse::host
