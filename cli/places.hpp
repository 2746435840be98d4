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

/// The reference of the functions, functions.md, where it is installed or in the source tree; empty
/// when it is not there.
std::string find_reference();

/// The declarations of globals and modules for TypeScript, dom.d.ts; empty when it is not there.
std::string find_types();

/// Where the shell keeps its history: $VTDOM_HISTORY, which may be empty for nowhere, else a file in
/// the user's state directory. Empty when there is no home.
std::string history_file();

}  // namespace valtrosse::cli
