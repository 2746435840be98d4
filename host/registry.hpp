// What the library registers: script functions, and object types for the object store.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/host.hpp"
#include "host/library.hpp"
#include "host/objects.hpp"

namespace valtrosse::host {

class Registry {
public:
    /// Lets the library register. Throws LoadError when it fails to.
    Registry(const Library& library, ObjectStore& objects);

    const std::vector<Function>& functions() const { return functions_; }
    /// Null for an unknown name.
    const Function* find_function(std::string_view name) const;

    vt_status add(const vt_function_record& record);
    vt_status add(const vt_type_record& record);

private:
    bool is_index(std::uint32_t name) const;
    const std::string& name_at(std::uint32_t index) const { return symbols_[index - 1]; }
    void resolve_functions();

    const std::vector<std::string>& symbols_;
    ObjectStore& objects_;
    std::vector<const vt_function_record*> function_records_;
    std::vector<Function> functions_;
    std::unordered_map<std::string_view, const Function*> by_name_;
};

}  // namespace valtrosse::host
