// The command line of vtdom.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace valtrosse::cli {

enum class Action {
    run_file,
    run_code,
    select,
    evaluate,
    edit,
    shell,
    list_functions,
    list_types,
    show_version
};

struct CommandLine {
    Action action = Action::run_file;
    std::string script;             ///< a path, or the code or expression that an option gave
    std::vector<std::string> args;  ///< everything after it: of select, evaluate and edit the files
    std::string plugin;             ///< empty: not given
    bool interactive = false;       ///< the shell, after the script if there is one
    bool leaks = false;             ///< report what is neither freed nor linked
    bool trace = false;             ///< write each call
    bool profile = false;           ///< write a table of the calls
    bool no_network = false;        ///< let libxml2 fetch nothing
    bool checked = false;  ///< use the library that checks handles, and report what it refuses
};

/// Reads the command line. Nothing is left to do when there is no result: help or a complaint has
/// been written and exit_code says with what to end.
std::optional<CommandLine> read_command_line(int argc, char** argv, int& exit_code);

}  // namespace valtrosse::cli
