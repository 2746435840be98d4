// Where vtdom finds the library and the bundled modules.
#pragma once

#include <string>
#include <vector>

namespace valtrosse::cli {

/// The library, or the one that checks handles: the path given, else $VALTROSSE_PLUGIN, else the file
/// beside the executable or where it is installed. Throws std::runtime_error when there is none.
std::string find_plugin(const std::string& given, bool checked);

/// The directories in which require looks for bundled modules.
std::vector<std::string> module_directories();

}  // namespace valtrosse::cli
