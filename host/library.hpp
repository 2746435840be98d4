// The shared object and what it says of itself; no registration yet.
#pragma once

#include <string>
#include <vector>

#include "host/host.hpp"
#include "valtrosse/handles.h"

namespace valtrosse::host {

class Library {
public:
    /// Throws LoadError, with a text that says what is wrong with the file.
    explicit Library(const std::string& path);
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    const std::string& path() const { return path_; }
    /// The address of an exported symbol, or null.
    void* symbol(const char* name) const;

    /// An entry point by its id. Throws LoadError when the library has none.
    template <typename F>
    F entry(std::int32_t id) const {
        return reinterpret_cast<F>(required_entry(id));
    }

    /// The symbol names; the name with index i (from 1) is at position i - 1.
    const std::vector<std::string>& symbols() const { return symbols_; }
    std::string version_text() const;
    std::string description() const;

    // As Host says of them.
    void* object_of(std::uint32_t handle) const;
    std::uint32_t handle_of(const void* object) const;

private:
    struct Closer {
        void operator()(void* handle) const;
    };

    vt_host_function required_entry(std::int32_t id) const;
    void read_symbols();

    std::string path_;
    std::unique_ptr<void, Closer> handle_;
    vt_dispatcher dispatcher_ = nullptr;
    vt_get_version_record version_record_ = nullptr;
    std::vector<std::string> symbols_;
    // Null where handles are addresses.
    vt_object_of_handle object_of_handle_ = nullptr;
    vt_handle_of_object handle_of_object_ = nullptr;
};

}  // namespace valtrosse::host
