#include "host/library.hpp"

#include <dlfcn.h>
#include <elf.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace valtrosse::host {

namespace {

constexpr char own_class = sizeof(void*) == 4 ? ELFCLASS32 : ELFCLASS64;

/// What dlopen says of a file that does not fit is hard to understand; this says it first.
void check_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw LoadError(path + ": " + std::strerror(errno));
    std::array<char, EI_NIDENT> head{};
    file.read(head.data(), head.size());
    if (!std::string_view(head.data(), head.size()).starts_with(ELFMAG)) {
        throw LoadError(path + " is not a shared library");
    }
    if (head[EI_CLASS] != own_class) {
        throw LoadError(path + " is not a " + std::to_string(8 * sizeof(void*)) + "-bit library");
    }
}

std::string text_of(const vt_name& name) {
    return to_utf8({name.units, name.bytes / sizeof(vt_unit)});
}

void* open(const std::string& path) {
    check_file(path);
    // A path without a slash would send dlopen to the system's directories.
    void* handle = dlopen(std::filesystem::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) throw LoadError(dlerror());
    return handle;
}

}  // namespace

void Library::Closer::operator()(void* handle) const { dlclose(handle); }

Library::Library(const std::string& path) : path_(path), handle_(open(path)) {
    dispatcher_ = reinterpret_cast<vt_dispatcher>(symbol("TOVIK"));
    if (dispatcher_ == nullptr) throw LoadError(path_ + " has no entry TOVIK");
    version_record_ = reinterpret_cast<vt_get_version_record>(symbol("VTGetVer"));
    if (version_record_ == nullptr) throw LoadError(path_ + " has no entry VTGetVer");
    object_of_handle_ = reinterpret_cast<vt_object_of_handle>(symbol("valtrosse_object_of_handle"));
    handle_of_object_ = reinterpret_cast<vt_handle_of_object>(symbol("valtrosse_handle_of_object"));
    read_symbols();
}

void* Library::object_of(std::uint32_t handle) const {
    if (object_of_handle_ != nullptr) return object_of_handle_(handle);
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(handle));
}

std::uint32_t Library::handle_of(const void* object) const {
    auto handle = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(object));
    if (handle_of_object_ == nullptr) return handle;
    if (const vt_status status = handle_of_object_(object, &handle)) {
        throw UsageError("the library has no handle for an object (" + std::to_string(status) +
                         ")");
    }
    return handle;
}

void* Library::symbol(const char* name) const { return dlsym(handle_.get(), name); }

vt_host_function Library::required_entry(std::int32_t id) const {
    const vt_host_function found = dispatcher_(id);
    if (found == nullptr) throw LoadError(path_ + " has no entry " + std::to_string(id));
    return found;
}

void Library::read_symbols() {
    std::uint32_t count = 0;
    vt_status status = entry<vt_get_symbol_count>(VT_ENTRY_GET_SYMBOL_COUNT)(nullptr, &count);
    const auto get_symbol = entry<vt_get_symbol>(VT_ENTRY_GET_SYMBOL);
    for (std::uint32_t index = 1; status == VT_OK && index <= count; ++index) {
        vt_name name{};
        status = get_symbol(nullptr, index, &name);
        if (status == VT_OK) symbols_.push_back(text_of(name));
    }
    if (status != VT_OK) {
        throw LoadError(path_ + " does not tell its symbol names (" + std::to_string(status) + ")");
    }
}

std::string Library::version_text() const {
    std::array<char16_t, 32> buffer;
    std::uint32_t length = 0;
    const vt_status status =
        entry<vt_get_version>(VT_ENTRY_GET_VERSION)(nullptr, buffer.data(), buffer.size(), &length);
    if (status != VT_OK || length > buffer.size()) {
        throw ContractError(path_ + " does not tell its version (" + std::to_string(status) + ")");
    }
    return to_utf8({buffer.data(), length});
}

std::string Library::description() const {
    const vt_version_record& record = *version_record_();
    return {record.descriptions[0], strnlen(record.descriptions[0], record.description_sizes[0])};
}

}  // namespace valtrosse::host
