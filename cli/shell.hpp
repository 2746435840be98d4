// The interactive shell: reads a piece of JavaScript, runs it, shows what it gave.
#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "cli/handles.hpp"
#include "cli/line_input.hpp"
#include "cli/reference.hpp"
#include "script/console.hpp"

namespace valtrosse::cli {

class Shell : private script::NumberReader {
public:
    /// `ownership` and `handles` observe the engine. All outlive the shell.
    Shell(host::Host& host, script::Engine& engine, const Ownership& ownership,
          KnownHandles& handles, const Reference& reference, std::ostream& out);

    /// Until the input ends, .quit or exit(). Gives the exit code.
    int run(LineInput& input);

    TerminalInput::Completion complete(const std::string& line);

private:
    enum class Next { go_on, leave };

    std::string remark(double number) override;
    Next take(const std::string& source);
    Next command(std::string_view line);
    void show(const script::Console::Reply& reply);
    void show_table(const std::vector<Handle>& nodes);
    void show_help(std::string_view topic);
    void show_owned();
    std::string signature_of(std::string_view function) const;

    host::Host& host_;
    script::Engine& engine_;
    const Ownership& ownership_;
    KnownHandles& handles_;
    const Reference& reference_;
    std::ostream& out_;
    script::Console console_;
    std::string pending_;  // the lines of an input that is not complete
    int exit_code_ = 0;
};

}  // namespace valtrosse::cli
