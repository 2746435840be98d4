#include "cli/options.hpp"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

namespace valtrosse::cli {

namespace {

constexpr const char* description =
    "Runs a JavaScript file with the functions of the Valtrosse DOM library.";
constexpr const char* footer =
    "Everything after SCRIPT belongs to the script and is in its global args; SCRIPT - reads "
    "standard "
    "input. Without SCRIPT, on a terminal, an interactive shell starts.\n"
    "Of -x, -p and --in-place FILE - is standard input, as is no FILE; .html and .htm files are "
    "HTML.\n"
    "Exit code: 0, what the script gives to exit(), 1 after an uncaught error or when -x found "
    "nothing, "
    "2 when nothing could run or a FILE not be read, 3 when --leaks found some in a script that "
    "ended "
    "with 0.";

class Help : public CLI::Formatter {
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: vtdom [OPTIONS] SCRIPT [ARG...]\n       vtdom [OPTIONS] -e CODE [ARG...]\n"
               "       vtdom [OPTIONS] -x XPATH [FILE...]\n"
               "       vtdom [OPTIONS] -p EXPRESSION [FILE...]\n"
               "       vtdom [OPTIONS] --in-place -e CODE FILE...\n"
               "       vtdom [OPTIONS]               an interactive shell, on a terminal\n";
    }
};

int complain(const std::string& message) {
    std::cerr << "vtdom: " << message << " (see vtdom --help)\n";
    return 2;
}

}  // namespace

std::optional<CommandLine> read_command_line(int argc, char** argv, int& exit_code) {
    CommandLine line;
    bool in_place = false;
    bool functions = false;
    bool types = false;
    bool version = false;

    CLI::App app(description, "vtdom");
    app.formatter(std::make_shared<Help>());
    app.footer(footer);
    app.prefix_command();  // the first word that is no option of ours ends our part
    auto* code = app.add_option("-e", line.script, "Run CODE instead of a file")->type_name("CODE");
    auto* const xpath =
        app.add_option("-x", line.script, "Print what XPATH finds in each FILE, one result a line")
            ->type_name("XPATH")
            ->excludes(code);
    auto* const expression =
        app.add_option(
               "-p", line.script,
               "Print the value of a JavaScript expression for each FILE, which is doc in it")
            ->type_name("EXPRESSION")
            ->excludes(code)
            ->excludes(xpath);
    app.add_flag("--in-place", in_place,
                 "Run CODE for each FILE, which is doc in it, and save what it changed")
        ->needs(code);
    app.add_option(
           "--plugin", line.plugin,
           "The library; otherwise $VALTROSSE_PLUGIN, or libvaltrosse-dom.so beside vtdom or "
           "where it is installed")
        ->type_name("PATH");
    app.add_flag("-i,--interactive", line.interactive,
                 "Read JavaScript line by line, after the script if there is one");
    app.add_flag("--leaks", line.leaks,
                 "At the end list the handles that were neither freed nor linked");
    app.add_flag("--trace", line.trace,
                 "Write each call to standard error: arguments, result, time");
    app.add_flag("--profile", line.profile,
                 "At the end write a table of the calls to standard error");
    app.add_flag("--no-network", line.no_network,
                 "Fetch no documents, DTDs or entities by network");
    app.add_flag(
        "--checked", line.checked,
        "Use libvaltrosse-dom-checked.so, and name every call with a handle of nothing alive");
    app.add_flag("--functions", functions, "List the script functions with their parameters");
    app.add_flag(
        "--types", types,
        "Write declarations for TypeScript: of the functions, the globals and require('dom')");
    app.add_flag("--version", version, "Show the library's versions");

    exit_code = 0;
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        app.exit(help);
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        exit_code = complain(error.what());
        return std::nullopt;
    }

    line.args = app.remaining();
    if (version) {
        line.action = Action::show_version;
    } else if (types) {
        line.action = Action::list_types;
    } else if (functions) {
        line.action = Action::list_functions;
    } else if (code->count() + xpath->count() + expression->count() != 0) {
        line.action = xpath->count() != 0        ? Action::select
                      : expression->count() != 0 ? Action::evaluate
                      : in_place                 ? Action::edit
                                                 : Action::run_code;
        if (!line.args.empty() && line.args.front() == "--") line.args.erase(line.args.begin());
        if (line.action == Action::run_code || !line.args.empty()) return line;
        if (line.action == Action::edit || isatty(STDIN_FILENO) != 0) {
            exit_code = complain("no file given");
            return std::nullopt;
        }
        line.args.emplace_back("-");
    } else if (line.args.empty() && (line.interactive || isatty(STDIN_FILENO) != 0)) {
        line.action = Action::shell;
        line.interactive = true;
    } else if (line.args.empty()) {
        exit_code = complain("no script given");
        return std::nullopt;
    } else if (line.args.front().starts_with("-") && line.args.front() != "-") {
        exit_code = complain("unknown option " + line.args.front());
        return std::nullopt;
    } else {
        line.script = line.args.front();
        line.args.erase(line.args.begin());
    }
    return line;
}

}  // namespace valtrosse::cli
