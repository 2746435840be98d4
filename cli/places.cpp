#include "cli/places.hpp"

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>

namespace valtrosse::cli {

namespace fs = std::filesystem;

namespace {

fs::path executable_directory() {
    std::error_code ignored;
    return fs::read_symlink("/proc/self/exe", ignored).parent_path();
}

/// The first of these files, as seen from the directories of the modules; empty for none.
std::string find_beside_modules(std::initializer_list<const char*> places) {
    for (const std::string& directory : module_directories()) {
        for (const char* place : places) {
            const fs::path path = (fs::path(directory) / place).lexically_normal();
            std::error_code ignored;
            if (fs::is_regular_file(path, ignored)) return path.string();
        }
    }
    return "";
}

}  // namespace

std::string find_plugin(const std::string& given, bool checked) {
    if (!given.empty()) return given;
    if (const char* path = std::getenv("VALTROSSE_PLUGIN"); path != nullptr && *path != '\0') {
        return path;
    }
    // Where there is no library for this alone, the one library checks handles.
    std::vector<const char*> names = {"libvaltrosse-dom.so"};
    if (checked) names.insert(names.begin(), "libvaltrosse-dom-checked.so");
    const fs::path directory = executable_directory();
    for (const char* name : names) {
        for (const char* place : {"", VALTROSSE_PLUGIN_FROM_VTDOM}) {
            const fs::path path = (directory / place / name).lexically_normal();
            if (fs::exists(path)) return path.string();
        }
    }
    throw std::runtime_error(std::string("cannot find ") + names.back() + " beside vtdom in " +
                             directory.string() +
                             " or in " VALTROSSE_PLUGIN_FROM_VTDOM
                             " from there: use --plugin PATH or set VALTROSSE_PLUGIN");
}

std::vector<std::string> module_directories() {
    const fs::path installed = executable_directory() / "../share/valtrosse";
    return {installed.lexically_normal().string(), VALTROSSE_MODULE_DIR};
}

std::string find_reference() {
    return find_beside_modules({"functions.md", "../../docs/functions.md"});
}

std::string find_types() { return find_beside_modules({"dom.d.ts", "../types/dom.d.ts"}); }

std::string history_file() {
    if (const char* file = std::getenv("VTDOM_HISTORY")) return file;
    const char* state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && *state == '/') return fs::path(state) / "valtrosse/history";
    const char* home = std::getenv("HOME");
    if (home == nullptr || *home == '\0') return "";
    return fs::path(home) / ".local/state/valtrosse/history";
}

}  // namespace valtrosse::cli
