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
    "Exit code: 0, what the script gives to exit(), 1 after an uncaught error, 2 when nothing "
    "could run, 3 when --leaks found some in a script that ended with 0.";

class Help : public CLI::Formatter {
    std::string make_usage(const CLI::App*, std::string) const override {
        return "Usage: vtdom [OPTIONS] SCRIPT [ARG...]\n       vtdom [OPTIONS] -e CODE [ARG...]\n"
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
    bool functions = false;
    bool version = false;

    CLI::App app(description, "vtdom");
    app.formatter(std::make_shared<Help>());
    app.footer(footer);
    app.prefix_command();  // the first word that is no option of ours ends our part
    auto* code = app.add_option("-e", line.script, "Run CODE instead of a file")->type_name("CODE");
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
    } else if (functions) {
        line.action = Action::list_functions;
    } else if (code->count() != 0) {
        line.action = Action::run_code;
        if (!line.args.empty() && line.args.front() == "--") line.args.erase(line.args.begin());
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
