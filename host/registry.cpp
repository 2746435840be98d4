#include "host/registry.hpp"

#include <new>
#include <set>

#include "host/api.hpp"

namespace valtrosse::host {

namespace {

struct RegistrationContext : vt_registration_context {
    Registry* registry;
};

}  // namespace

Registry::Registry(const Library& library, ObjectStore& objects)
    : symbols_(library.symbols()),
      objects_(objects) {
    api::prepare();
    vt_api_provider provider{{}, api::look_up};
    RegistrationContext context{{0, &provider}, this};
    const auto run = [&](std::int32_t entry_id, const char* what) {
        const vt_status status =
            library.entry<vt_add_records>(entry_id)(nullptr, &context, nullptr);
        if (status == VT_OK) return;
        throw LoadError(library.path() + " failed to register its " + what + " (" +
                        std::to_string(status) + ")");
    };
    run(VT_ENTRY_ADD_TYPES, "types");
    run(VT_ENTRY_ADD_FUNCTIONS, "functions");
    resolve_functions();
}

const Function* Registry::find_function(std::string_view name) const {
    const auto found = by_name_.find(name);
    return found == by_name_.end() ? nullptr : found->second;
}

bool Registry::is_index(std::uint32_t name) const { return name >= 1 && name <= symbols_.size(); }

vt_status Registry::add(const vt_function_record& record) {
    if (!is_index(record.name) || record.handler == nullptr) return VT_HOST_BAD_RECORD;
    function_records_.push_back(&record);
    return VT_OK;
}

vt_status Registry::add(const vt_type_record& record) {
    if (!is_index(record.name)) return VT_HOST_BAD_RECORD;
    for (std::uint32_t i = 0; i < record.property_count; ++i) {
        const vt_property_record& property = record.properties[i];
        if (!is_index(property.name) || !is_index(property.type_name)) return VT_HOST_BAD_RECORD;
    }
    std::vector<ObjectType::Method> methods;
    for (std::uint32_t i = 0; i < record.method_count; ++i) {
        const vt_method_record& method = record.methods[i];
        if (!is_index(method.name) || method.handler == nullptr) return VT_HOST_BAD_RECORD;
        methods.push_back({name_at(method.name), method.handler});
    }
    objects_.add_type(record, name_at(record.name), std::move(methods));
    return VT_OK;
}

/// A function record names its function but not the parameters. Their names follow the function's
/// own in the symbols, up to the next name that a record refers to.
void Registry::resolve_functions() {
    std::set<std::uint32_t> referred{static_cast<std::uint32_t>(symbols_.size() + 1)};
    for (const vt_function_record* record : function_records_) referred.insert(record->name);
    for (const ObjectType& type : objects_.types()) {
        const vt_type_record& record = type.record;
        referred.insert(record.name);
        for (std::uint32_t i = 0; i < record.property_count; ++i) {
            referred.insert({record.properties[i].name, record.properties[i].type_name});
        }
        for (std::uint32_t i = 0; i < record.method_count; ++i) {
            referred.insert(record.methods[i].name);
        }
    }

    functions_.reserve(function_records_.size());
    for (const vt_function_record* record : function_records_) {
        Function& function =
            functions_.emplace_back(Function{name_at(record->name), {}, record->handler});
        const std::uint32_t end = *referred.upper_bound(record->name);
        for (std::uint32_t index = record->name + 1; index < end; ++index) {
            function.parameters.push_back(name_at(index));
        }
    }
    for (const Function& function : functions_) by_name_.emplace(function.name, &function);
}

// ---- Host functions -----------------------------------------------------------------------------

namespace api {

namespace {

template <typename Record>
vt_status add_record(vt_registration_context* context, const Record& record) {
    try {
        return static_cast<RegistrationContext*>(context)->registry->add(record);
    } catch (const std::bad_alloc&) {
        return VT_OUT_OF_MEMORY;
    }
}

}  // namespace

vt_status register_type(vt_registration_context* context, const vt_type_record* record,
                        void*) noexcept {
    return add_record(context, *record);
}

vt_status register_function(vt_registration_context* context, const vt_function_record* record,
                            void*) noexcept {
    return add_record(context, *record);
}

}  // namespace api

}  // namespace valtrosse::host
