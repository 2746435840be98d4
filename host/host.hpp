// The reference host: loads libvaltrosse-dom.so through the C ABI alone and calls its functions.
//
//     host::Host host("build/release/libvaltrosse-dom.so");
//     auto doc = host.call("xmlDOMDocLoadXMLString", {u"<a/>", 1}).handle();
//     auto name = host.call("xmlDOMNodeGetName", {host.call("xmlDOMDocGetRootNode", {doc})});
//     host.call("xmlDOMNodeGetRelative", {{"node", doc}, {"relative", 3}});   // bound by name
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "valtrosse/host_abi.h"

namespace valtrosse::host {

class Host;
class Outcome;

/// The library cannot be loaded, or does not keep to the contract while it registers.
struct LoadError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The library does not keep to the contract while one of its functions is called.
struct ContractError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// An outcome was asked for a value that it does not hold, or a function or method name is unknown.
struct UsageError : std::logic_error {
    using std::logic_error::logic_error;
};

/// Statuses of the host's own; the library passes them on unchanged.
enum : vt_status {
    VT_HOST_WRONG_VALUE = 0x1001,       ///< a value record does not hold the kind that was named
    VT_HOST_NO_SUCH_PROPERTY = 0x1002,  ///< the object's type has no property of that name index
    VT_HOST_BAD_RECORD = 0x1003         ///< a record to register names an index outside the symbols
};

/// 16-bit text from UTF-8; characters above U+FFFF become two units, malformed bytes U+FFFD.
std::u16string to_units(std::string_view utf8);
/// UTF-8 from 16-bit text; a surrogate pair becomes one character, a lone surrogate U+FFFD.
std::string to_utf8(std::u16string_view units);

using Blob = std::vector<std::uint8_t>;

/// A counted reference to an object of the host (a LIBXMLLife object, or its type value).
class ObjectHandle {
public:
    ObjectHandle() = default;
    /// Takes one more reference.
    explicit ObjectHandle(vt_object* object);
    ObjectHandle(const ObjectHandle& other);
    ObjectHandle(ObjectHandle&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ObjectHandle& operator=(ObjectHandle other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~ObjectHandle();

    vt_object* get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    vt_object* object_ = nullptr;
};

/// One argument of a call. Text and bytes are borrowed, except that 8-bit text and temporary 16-bit
/// strings are kept. A named argument binds to the parameter of that name (the first, if several
/// have it); the k-th unnamed argument binds to parameter k unless that one is bound by name.
/// Arguments that are left over, and those that are not supplied, bind to nothing.
class Argument {
public:
    enum class Kind : std::uint8_t { missing, null, flagged, boolean, integer, string, blob };

    Argument() = default;                            ///< not supplied
    Argument(std::nullptr_t) : kind_(Kind::null) {}  ///< null
    Argument(bool value) : kind_(Kind::boolean), integer_(value) {}
    Argument(std::uint32_t value) : kind_(Kind::integer), integer_(value) {}
    Argument(int value) : Argument(static_cast<std::uint32_t>(value)) {}
    Argument(std::u16string_view text)
        : kind_(Kind::string),
          integer_(static_cast<std::uint32_t>(text.size())),
          text_(text.data()) {}
    Argument(const char16_t* text) : Argument(std::u16string_view(text)) {}
    Argument(const std::u16string& text) : Argument(std::u16string_view(text)) {}
    Argument(std::u16string&& text);  ///< kept
    Argument(std::string_view utf8);  ///< converted and kept
    Argument(const char* utf8) : Argument(std::string_view(utf8)) {}
    Argument(const std::string& utf8) : Argument(std::string_view(utf8)) {}
    Argument(std::span<const std::uint8_t> bytes)
        : kind_(Kind::blob),
          integer_(static_cast<std::uint32_t>(bytes.size())),
          bytes_(bytes.data()) {}
    Argument(const Blob& bytes) : Argument(std::span<const std::uint8_t>(bytes)) {}
    /// The outcome's value, borrowed; no value is null. Throws UsageError when the call failed or
    /// gave an object.
    Argument(const Outcome& outcome);
    Argument(const void*) = delete;  ///< pointers are no booleans

    /// An argument bound by parameter name.
    template <typename T>
    Argument(std::string_view name, T&& value) : Argument(std::forward<T>(value)) {
        name_ = name;
    }

    /// A string argument whose text pointer is null.
    static Argument string_without_text();
    /// An argument for which every reader raises its second flag.
    static Argument with_second_flag();

    Kind kind() const { return kind_; }
    std::string_view name() const { return name_; }
    std::uint32_t integer() const { return integer_; }
    std::u16string_view text() const { return {text_, integer_}; }
    const char16_t* units() const { return text_; }
    std::span<const std::uint8_t> bytes() const { return {bytes_, integer_}; }

private:
    Kind kind_ = Kind::missing;
    std::uint32_t integer_ = 0;  // integer, boolean, or a count of units or bytes
    const char16_t* text_ = nullptr;
    const std::uint8_t* bytes_ = nullptr;
    std::string_view name_;
    std::shared_ptr<const std::u16string> owned_;  // converted or temporary text
};

/// What a call gave: a status and, when it is 0, a value or no value.
class Outcome {
public:
    using Value =
        std::variant<std::monostate, bool, std::uint32_t, std::u16string, Blob, ObjectHandle>;

    Outcome() = default;
    Outcome(vt_status status, bool result_set, Value&& value, std::uint32_t last_read = 0)
        : status_(status),
          result_set_(result_set),
          last_read_(last_read),
          value_(std::move(value)) {}

    vt_status status() const { return status_; }
    /// SetResult was called (with a value or with none); never so when the status is not 0. For a
    /// method: it gave an object and the status 0.
    bool result_set() const { return result_set_; }
    /// 1-based position of the argument that the library read last, 0 when it read none. Where an
    /// argument was refused, it is this one.
    std::uint32_t last_read() const { return last_read_; }
    bool no_value() const { return std::holds_alternative<std::monostate>(value_); }
    const Value& value() const& { return value_; }
    Value&& value() && { return std::move(value_); }

    // Each throws UsageError when the outcome holds another kind.
    std::uint32_t integer() const;
    std::uint32_t handle() const { return integer(); }
    bool boolean() const;
    const std::u16string& text() const;
    std::string utf8() const;  ///< text() as UTF-8
    const Blob& blob() const;
    const ObjectHandle& object() const;
    /// The handles of a handle list ("4" and 8 digits each).
    std::vector<std::uint32_t> handles() const;

private:
    vt_status status_ = 0;
    bool result_set_ = false;
    std::uint32_t last_read_ = 0;
    Value value_;
};

/// A registered script function.
struct Function {
    std::string name;
    std::vector<std::string> parameters;
    vt_handler handler = nullptr;
};

/// A call that has not yet returned.
struct RunningCall {
    const Function* function;
    std::span<const Argument> arguments;
    std::uint64_t number;  ///< no other call of its context has it
};

/// What goes wrong on purpose. All fields are off by default; tests set and reset them while no
/// call runs. They take effect with the next call, or the next use of runtime(), call_context() or
/// raw().
struct Faults {
    std::uint32_t missing_id = 0;       ///< this host function id is answered with null
    bool no_lookup = false;             ///< the provider's get-function callback is null
    vt_status bind = 0;                 ///< BindArguments fails with this status
    vt_status make = 0;                 ///< every Make function fails with this status
    vt_status read = 0;                 ///< argument readers fail with this status,
    std::uint32_t reads_before = 0;     ///< after so many that do not
    std::uint32_t fail_allocation = 0;  ///< the n-th request to the arena from now on fails
    std::uint32_t move_data = 0;        ///< not 0: each look at an object's private data moves it
};

/// Numbers that tests and leak checks look at.
struct Counters {
    std::uint64_t allocations = 0;  ///< blocks handed out by the allocator
    std::uint64_t live_blocks = 0;  ///< handed out and not yet released
    std::uint64_t refills = 0;      ///< times the small arena was given a parent's block
    std::uint64_t live_values = 0;  ///< string and blob values made and not yet released
    std::uint64_t live_objects = 0;
    std::uint64_t unused_ids_called = 0;  ///< calls of host functions that no library should call
};

/// A loaded library and everything that it needs of a host. Functions may be called from several
/// threads at once when each thread uses a Context of its own; the members that use the host's own
/// context (call, create, call_method) belong to one thread at a time.
class Host {
public:
    /// Loads the library and lets it register its type and functions. Throws LoadError.
    explicit Host(const std::string& library_path);
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    const std::vector<Function>& functions() const;
    /// Null for an unknown name.
    const Function* find(std::string_view name) const;

    /// Calls a script function with the host's own call context. Throws UsageError for an unknown
    /// name, ContractError when the library breaks the contract.
    Outcome call(std::string_view function, std::initializer_list<Argument> args = {});
    Outcome call(const Function& function, std::span<const Argument> args);

    /// The innermost call of a script function through the host's own context, for who is asked meanwhile;
    /// null where none is running.
    const RunningCall* running_call() const;

    /// A call context of its own: last messages of failed loads are kept per thread and context.
    class Context {
    public:
        explicit Context(Host& host);
        ~Context();
        Context(const Context&) = delete;
        Context& operator=(const Context&) = delete;
        Outcome call(std::string_view function, std::initializer_list<Argument> args = {});
        Outcome call(const Function& function, std::span<const Argument> args);
        vt_call_context* raw();

    private:
        struct State;
        std::unique_ptr<State> state_;
    };

    // The object type LIBXMLLife.
    /// Calls method "new" on the type value; the outcome holds the object.
    Outcome create(std::string_view type = "LIBXMLLife");
    /// The type value, on which "new" is called.
    ObjectHandle type_value(std::string_view type = "LIBXMLLife");
    /// Calls a method of an object. The outcome holds the object that the method gave, whatever the
    /// status. Throws UsageError for an unknown method name, for any method but "new" of a type
    /// value, and for objects of another host; ContractError when the library breaks the contract.
    Outcome call_method(const ObjectHandle& object, std::string_view method,
                        std::initializer_list<Argument> args = {});
    Outcome call_method(const ObjectHandle& object, std::string_view method,
                        std::span<const Argument> args);

    /// What SetObjectProperty stored under the name index, or no value.
    const Outcome::Value& property(const ObjectHandle& object, std::uint32_t name) const;

    // Objects of libxml2, for hosts that work with libxml2 themselves.
    /// The object of a handle. Null for a number that the library knows to be no handle of a live one; a
    /// library whose handles are addresses takes every number for one.
    void* object_of(std::uint32_t handle) const;
    /// The handle of a live object. Throws UsageError when the library gives it none.
    std::uint32_t handle_of(const void* object) const;

    // What the library says of itself.
    std::string version_text() const;          ///< entry 110, "1.00.001"
    std::vector<std::string> symbols() const;  ///< the symbol names in order
    std::string description() const;           ///< from the version record

    // For tests, tools and benchmarks.
    Faults& faults();
    Counters counters() const;
    vt_call_context* call_context();
    vt_host_runtime* runtime();
    /// The address of an exported symbol, or null.
    void* symbol(const char* name) const;
    template <typename F>
    F symbol_as(const char* name) const {
        return reinterpret_cast<F>(symbol(name));
    }

private:
    struct State;
    std::unique_ptr<State> state_;
};

/// A sentence for a call that failed, such as
/// "parameter relative of xmlDOMNodeGetRelative is not supplied (41)".
std::string explain(const Function& function, std::span<const Argument> args,
                    const Outcome& outcome);
/// The same from the status alone: a refused argument is named only where just one can be meant.
std::string explain(const Function& function, std::span<const Argument> args, vt_status status);

}  // namespace valtrosse::host
