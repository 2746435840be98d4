// vtdom: runs JavaScript with the script functions of the Valtrosse DOM library.
#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "cli/leaks.hpp"
#include "cli/network.hpp"
#include "cli/options.hpp"
#include "cli/ownership.hpp"
#include "cli/places.hpp"
#include "cli/profile.hpp"
#include "cli/trace.hpp"
#include "host/host.hpp"
#include "script/engine.hpp"
#include "script/observer.hpp"
#include "valtrosse/checked_handles.h"

namespace {

using namespace valtrosse;

constexpr int cannot_start = 2;
constexpr int output_lost = 1;
constexpr int leaks_found = 3;

int complain(std::string message, int exit_code = cannot_start) {
    std::replace(message.begin(), message.end(), '\n', ' ');
    std::cout.flush();
    std::cerr << "vtdom: " << message << '\n';
    return exit_code;
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

void on_refused_handle(void*, const vt_name* function, const vt_name* parameter,
                       std::uint32_t handle) {
    const auto text = [](const vt_name& name) {
        return host::to_utf8({name.units, name.bytes / sizeof(vt_unit)});
    };
    std::ostringstream message;
    message << text(*function) << ": " << text(*parameter) << " 0x" << std::hex << std::uppercase
            << std::setw(8) << std::setfill('0') << handle << " (" << std::dec << handle
            << ") is no handle of a live object";
    complain(message.str());
}

void report_refused_handles(host::Host& host, const std::string& plugin) {
    const auto set = host.symbol_as<vt_on_refused_handle>("valtrosse_on_refused_handle");
    if (set == nullptr) throw std::runtime_error(plugin + " does not check handles");
    set(on_refused_handle, nullptr);
}

int run_script(const cli::CommandLine& line, host::Host& host, script::CallObserver* observer) {
    script::Engine engine(
        host,
        {.args = line.args, .module_directories = cli::module_directories(), .observer = observer});
    if (line.action == cli::Action::run_code) return engine.run_code(line.script, "-e");
    return engine.run_file(line.script);
}

/// Runs the script with what looks at its calls, and writes what that has seen.
int run(const cli::CommandLine& line, host::Host& host) {
    cli::Trace trace(std::cerr, std::cout);
    cli::Profile profile;
    cli::Ownership ownership(host);
    script::CallObservers observers;
    if (line.leaks) observers.add(ownership);
    if (line.profile) observers.add(profile);
    if (line.trace) observers.add(trace);

    int exit_code = run_script(line, host, observers.empty() ? nullptr : &observers);
    std::cout.flush();
    if (line.profile) profile.report(std::cerr);
    if (line.leaks && cli::report_leaks(std::cerr, host, ownership) != 0 && exit_code == 0) {
        exit_code = leaks_found;
    }
    return exit_code;
}

int execute(const cli::CommandLine& line) {
    if (line.no_network) cli::forbid_network();
    const std::string plugin = cli::find_plugin(line.plugin, line.checked);
    host::Host host(plugin);
    if (line.checked) report_refused_handles(host, plugin);
    switch (line.action) {
        case cli::Action::list_functions: list_functions(host); return 0;
        case cli::Action::show_version: show_version(host, plugin); return 0;
        default: return run(line, host);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::ios::sync_with_stdio(false);
    try {
        int exit_code = 0;
        const auto line = cli::read_command_line(argc, argv, exit_code);
        if (line) exit_code = execute(*line);
        std::cout.flush();
        if (!std::cout) return complain("cannot write to standard output", output_lost);
        return exit_code;
    } catch (const std::system_error& error) {
        return complain(std::string("cannot read ") + error.what());
    } catch (const std::exception& error) {
        return complain(error.what());
    }
}
