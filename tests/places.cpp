// Where the build puts what the tests load: in one file, so that no other depends on the folder.
#include "tests/fixture.hpp"

namespace valtrosse::host {

std::string plugin_path() {
    const char* const path = std::getenv("VALTROSSE_PLUGIN");
    return path ? path : VALTROSSE_PLUGIN_PATH;
}

std::string checked_plugin_path() { return VALTROSSE_CHECKED_PLUGIN_PATH; }

std::string source_path(const std::string& file) { return VALTROSSE_SOURCE_DIR "/" + file; }

}  // namespace valtrosse::host

/// With AddressSanitizer, too, an allocation that is too large fails as one without memory.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
