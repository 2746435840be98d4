// vtdom: runs JavaScript with the script functions of the Valtrosse DOM library.
#include <fcntl.h>
#include <libexslt/exslt.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <system_error>

#include "cli/handles.hpp"
#include "cli/leaks.hpp"
#include "cli/line_input.hpp"
#include "cli/messages.hpp"
#include "cli/network.hpp"
#include "cli/options.hpp"
#include "cli/ownership.hpp"
#include "cli/places.hpp"
#include "cli/profile.hpp"
#include "cli/reference.hpp"
#include "cli/refused_handles.hpp"
#include "cli/shell.hpp"
#include "cli/standard_error.hpp"
#include "cli/trace.hpp"
#include "cli/types.hpp"
#include "host/host.hpp"
#include "script/engine.hpp"
#include "script/observer.hpp"

namespace {

using namespace valtrosse;

constexpr int cannot_start = 2;
constexpr int output_lost = 1;
constexpr int leaks_found = 3;
constexpr int handles_refused = 4;
constexpr int interrupted = -SIGINT;  // no script ends with that

int complain(std::string message, int exit_code = cannot_start) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::cout.flush();
    std::cerr << "vtdom: " << message << '\n';
    return exit_code;
}

/// Opens something in the place of what is closed of standard input, output and error: else the next file has
/// its number, and what a script prints is in that file. Reading or writing there fails, as before.
void hold_standard_places() {
    for (int place = STDIN_FILENO; place <= STDERR_FILENO; ++place) {
        if (fcntl(place, F_GETFD) < 0)
            open("/dev/null", place == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void list_functions(const host::Host& host) {
    for (const host::Function& function : host.functions()) {
        std::cout << function.name << '(';
        const char* separator = "";
        for (const std::string& parameter : function.parameters) {
            std::cout << separator << parameter;
            separator = ", ";
        }
        std::cout << ")\n";
    }
}

void show_version(host::Host& host, const std::string& plugin) {
    std::cout << "library " << host.version_text() << " (" << plugin << ")\n"
              << "xmlDOMUtilGetVersion " << host.call("xmlDOMUtilGetVersion").utf8() << '\n';
}

/// What looks at the calls of a script, as the options ask for it.
struct Watchers {
    Watchers(const cli::CommandLine& line, host::Host& host, const std::string& plugin)
        : ownership(host),
          handles(ownership),
          trace(std::cerr, std::cout) {
        if (line.leaks || line.interactive) all.add(ownership);
        if (line.interactive) all.add(handles);
        if (line.profile) all.add(profile);
        if (line.trace) all.add(trace);
        if (line.checked) refused.emplace(host, plugin);
    }
    script::CallObserver* observer() { return all.empty() ? nullptr : &all; }

    cli::Ownership ownership;
    cli::KnownHandles handles;
    cli::Profile profile;
    cli::Trace trace;
    script::CallObservers all;
    std::optional<cli::RefusedHandles> refused{};
};

/// Lets reports of refused handles name the place in the script, while there is an engine.
class PlaceOfRefused {
public:
    PlaceOfRefused(Watchers& watchers, const script::Engine& engine) : refused_(watchers.refused) {
        if (refused_) refused_->set_engine(&engine);
    }
    ~PlaceOfRefused() {
        if (refused_) refused_->set_engine(nullptr);
    }
    PlaceOfRefused(const PlaceOfRefused&) = delete;
    PlaceOfRefused& operator=(const PlaceOfRefused&) = delete;

private:
    std::optional<cli::RefusedHandles>& refused_;
};

/// For tests: so often everything is collected that can be.
unsigned calls_between_collections() {
    const char* const number = std::getenv("VALTROSSE_COLLECT_EVERY");
    return number == nullptr ? 0 : static_cast<unsigned>(std::atoi(number));
}

int run_shell(host::Host& host, script::Engine& engine, Watchers& watchers) {
    const cli::Reference reference = cli::Reference::read(cli::find_reference());
    cli::Shell shell(host, engine, watchers.ownership, watchers.handles, reference, std::cout);
    if (isatty(STDIN_FILENO) == 0) {
        cli::DescriptorInput input(STDIN_FILENO);
        return shell.run(input);
    }
    std::cout << "vtdom " << host.version_text() << ": .help for help, Ctrl-D to leave\n";
    cli::TerminalInput input(cli::history_file(),
                             [&](const std::string& text) { return shell.complete(text); });
    return shell.run(input);
}

/// The program of an action on files; empty for another action. Its args are the expression and the files.
std::string program_for_files(cli::Action action) {
    // A terminal that gets the results needs no other sign of progress.
    const bool shows_progress =
        isatty(STDERR_FILENO) != 0 && (action == cli::Action::edit || isatty(STDOUT_FILENO) == 0);
    const std::string end = shows_progress ? "(args, true)" : "(args, false)";
    switch (action) {
        case cli::Action::select: return "require('dom/commands').select" + end;
        case cli::Action::evaluate: return "require('dom/commands').evaluate" + end;
        case cli::Action::edit: return "require('dom/commands').edit" + end;
        default: return {};
    }
}

int run_in_engine(const cli::CommandLine& line, host::Host& host, Watchers& watchers) {
    const std::string program = program_for_files(line.action);
    std::vector<std::string> args = line.args;
    if (!program.empty()) args.insert(args.begin(), line.script);
    script::Engine engine(host, {.args = args,
                                 .module_directories = cli::module_directories(),
                                 .observer = watchers.observer(),
                                 .capture_messages = cli::capture_messages,
                                 .calls_between_collections = calls_between_collections()});
    const PlaceOfRefused place(watchers, engine);
    int exit_code = 0;
    {
        const cli::InterruptWatch watch(engine);
        switch (line.action) {
            case cli::Action::run_code: exit_code = engine.run_code(line.script, "-e"); break;
            case cli::Action::run_file: exit_code = engine.run_file(line.script); break;
            default:
                if (!program.empty()) exit_code = engine.run_code(program, "vtdom");
                break;
        }
    }
    // PlaceOfRefused takes the engine's address back. NOLINTBEGIN(clang-analyzer-core.StackAddressEscape)
    if (engine.interrupted() && !line.interactive) return interrupted;
    // After exit() nothing runs any more.
    return line.interactive && !engine.exited() ? run_shell(host, engine, watchers) : exit_code;
    // NOLINTEND(clang-analyzer-core.StackAddressEscape)
}

/// Runs the script or the shell with what looks at its calls, and writes what that has seen.
int run(const cli::CommandLine& line, host::Host& host, const std::string& plugin) {
    Watchers watchers(line, host, plugin);
    int exit_code = run_in_engine(line, host, watchers);
    std::cout.flush();
    if (line.profile) watchers.profile.report(std::cerr);
    if (line.leaks && cli::report_leaks(std::cerr, host, watchers.ownership) != 0 &&
        exit_code == 0) {
        exit_code = leaks_found;
    }
    if (watchers.refused && watchers.refused->any() && exit_code == 0) exit_code = handles_refused;
    return exit_code;
}

int execute(const cli::CommandLine& line) {
    if (line.no_network) cli::forbid_network();
    // For stylesheets, as in xsltproc: the library itself registers no extensions.
    exsltRegisterAll();
    const std::string plugin = cli::find_plugin(line.plugin, line.checked);
    host::Host host(plugin);
    switch (line.action) {
        case cli::Action::list_functions: list_functions(host); return 0;
        case cli::Action::list_types:
            cli::write_types(std::cout, host, cli::Reference::read(cli::find_reference()),
                             cli::find_types());
            return 0;
        case cli::Action::show_version: show_version(host, plugin); return 0;
        default: {
            const cli::OneLineACall messages(host);
            return run(line, host, plugin);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    hold_standard_places();
    std::ios::sync_with_stdio(false);
    try {
        int exit_code = 0;
        const auto line = cli::read_command_line(argc, argv, exit_code);
        if (line) exit_code = execute(*line);
        std::cout.flush();
        if (!std::cout) return complain("cannot write to standard output", output_lost);
        if (exit_code != interrupted) return exit_code;
        std::raise(SIGINT);  // who started this sees why it ended
        return 128 + SIGINT;
    } catch (const std::system_error& error) {
        return complain(std::string("cannot read ") + error.what());
    } catch (const std::exception& error) {
        return complain(error.what());
    }
}
