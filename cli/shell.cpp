#include "cli/shell.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <ostream>
#include <stdexcept>

#include "cli/completion.hpp"
#include "cli/format.hpp"

namespace valtrosse::cli {

namespace {

constexpr std::size_t table_rows = 50;
constexpr const char* prompt = "> ";
constexpr const char* prompt_for_more = "... ";

struct Command {
    const char* name;
    const char* words;
};
constexpr std::array<Command, 4> commands = {{
    {".help",
     "this; with the name of a function what the reference says of it; .help dom: DOM objects"},
    {".functions", "the functions with their parameters; with a word those that have it"},
    {".owned", "what is to be freed: documents, and nodes that hang nowhere"},
    {".quit", "leaves the shell, as exit, .exit and Ctrl-D do"},
}};

/// The command that a line alone means to people who come from other shells; empty for none.
std::string_view command_meant_by(std::string_view line) {
    if (line == "help" || line == "?") return ".help";
    if (line == "exit" || line == "quit" || line == ".exit") return ".quit";
    return line.starts_with('.') ? line : "";
}

std::vector<std::string> command_names() {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const Command& command : commands) names.emplace_back(command.name);
    return names;
}

std::string_view trimmed(std::string_view text) {
    const auto is_blank = [](char byte) {
        return std::isspace(static_cast<unsigned char>(byte)) != 0;
    };
    while (!text.empty() && is_blank(text.back())) text.remove_suffix(1);
    while (!text.empty() && is_blank(text.front())) text.remove_prefix(1);
    return text;
}

bool contains_word(std::string_view text, std::string_view word) {
    const auto same = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) ==
               std::tolower(static_cast<unsigned char>(b));
    };
    return std::search(text.begin(), text.end(), word.begin(), word.end(), same) != text.end();
}

/// An error without what every input of a single line has: its place, and the line itself.
std::string readable(std::string error, const std::string& input) {
    constexpr std::string_view bottom = "    at input:";
    for (std::size_t last = error.rfind(bottom);
         last != error.npos && error.find('\n', last) == error.size() - 1;
         last = error.rfind(bottom)) {
        error.erase(last);
    }
    if (input.find('\n') == input.npos && error.starts_with("input:1:")) {
        error.erase(0, error.find(' ') + 1);
    }
    return error;
}

}  // namespace

Shell::Shell(host::Host& host, script::Engine& engine, const Ownership& ownership,
             KnownHandles& handles, const Reference& reference, std::ostream& out)
    : host_(host),
      engine_(engine),
      ownership_(ownership),
      handles_(handles),
      reference_(reference),
      out_(out),
      console_(engine, *this) {}

int Shell::run(LineInput& input) {
    for (;;) {
        std::string line;
        out_.flush();
        const LineInput::Got got = input.read(pending_.empty() ? prompt : prompt_for_more, line);
        if (got == LineInput::Got::interrupt) {
            pending_.clear();
            continue;
        }
        if (got == LineInput::Got::end && pending_.empty()) return exit_code_;
        // An empty line, or the end, takes what is there as complete.
        const bool complete = got == LineInput::Got::end || trimmed(line).empty();
        const std::string command_line(pending_.empty() ? command_meant_by(trimmed(line)) : "");
        const bool is_command = !command_line.empty();
        pending_ += pending_.empty() ? line : '\n' + line;
        if (!is_command && !complete && console_.is_incomplete(pending_)) continue;

        std::string source;
        source.swap(pending_);
        if (trimmed(source).empty()) continue;
        input.remember(source);
        if ((is_command ? command(command_line) : take(source)) == Next::leave) return exit_code_;
    }
}

Shell::Next Shell::take(const std::string& source) {
    handles_.forget_last_call();
    const InterruptWatch watch(engine_);
    const script::Console::Reply reply = console_.evaluate(source);
    if (reply.kind == script::Console::Reply::Kind::exited) {
        exit_code_ = reply.exit_code;
        return Next::leave;
    }
    if (reply.kind == script::Console::Reply::Kind::error) {
        out_ << readable(reply.text, source);
    } else {
        show(reply);
    }
    return Next::go_on;
}

void Shell::show(const script::Console::Reply& reply) {
    if (!reply.defined) {
        // Of a statement nothing is to be said, but of a call that found nothing.
        const KnownHandles::LastCall& call = handles_.last_call();
        if (!call.no_value || !call.typed) return;
        const bool has_message = contains_word(call.function, "DocLoad");
        out_ << "undefined" << (has_message ? "  (see xmlDOMDocGetLastMsg(0))" : "") << '\n';
        return;
    }
    if (const auto* text = std::get_if<std::u16string>(&reply.value)) {
        const auto nodes = handles_.read_list(*text);
        // "4" may be just a text.
        if (nodes && (!nodes->empty() || handles_.last_call().gives == Gives::handle_list))
            return show_table(*nodes);
    } else if (const auto* numbers = std::get_if<std::vector<double>>(&reply.value)) {
        const bool are_handles =
            !numbers->empty() && std::all_of(numbers->begin(), numbers->end(), [this](double each) {
                return handles_.is_alive(each);
            });
        if (are_handles) return show_table({numbers->begin(), numbers->end()});
    } else if (const auto* number = std::get_if<double>(&reply.value)) {
        if (handles_.is_alive(*number)) {
            const auto node = static_cast<Handle>(*number);
            const std::string kind = kind_of(host_, node);
            const bool is_document = kind.ends_with("document");
            out_ << (is_document ? summary_of(host_, node) : markup_of(host_, node)) << "  " << node
                 << '\n';
            return;
        }
    }
    out_ << reply.text << '\n';
}

std::string Shell::remark(double number) {
    return handles_.is_alive(number) ? markup_of(host_, static_cast<Handle>(number)) : "";
}

void Shell::show_table(const std::vector<Handle>& nodes) {
    std::size_t kind_width = 0;
    const std::size_t rows = std::min(nodes.size(), table_rows);
    std::vector<std::string> kinds;
    for (std::size_t k = 0; k < rows; ++k) {
        kinds.push_back(kind_of(host_, nodes[k]));
        kind_width = std::max(kind_width, kinds.back().size());
    }
    for (std::size_t k = 0; k < rows; ++k) {
        out_ << "  " << right_aligned(std::to_string(nodes[k]), 10) << "  "
             << left_aligned(kinds[k], kind_width) << "  " << markup_of(host_, nodes[k]) << '\n';
    }
    if (rows < nodes.size()) out_ << "  … " << nodes.size() - rows << " more\n";
    out_ << counted(nodes.size(), "node") << '\n';
}

void Shell::show_owned() {
    engine_.collect();
    std::vector<std::pair<std::size_t, Handle>> in_order;
    for (const auto& [tree, origin] : ownership_.owned()) {
        in_order.emplace_back(origin.number, tree);
    }
    std::sort(in_order.begin(), in_order.end());
    std::vector<Handle> trees;
    trees.reserve(in_order.size());
    for (const auto& [number, tree] : in_order) trees.push_back(tree);
    show_table(trees);
}

std::string Shell::signature_of(std::string_view name) const {
    const host::Function* function = host_.find(name);
    if (function == nullptr) return "";
    std::string text = function->name + '(';
    for (const std::string& parameter : function->parameters) {
        text += (text.ends_with('(') ? "" : ", ") + parameter;
    }
    return text + ')';
}

Shell::Next Shell::command(std::string_view line) {
    const std::size_t end = std::min(line.find(' '), line.size());
    const std::string_view name = line.substr(0, end);
    const std::string_view rest = trimmed(line.substr(end));
    if (name == ".quit") return Next::leave;
    if (name == ".help") {
        show_help(rest);
    } else if (name == ".owned") {
        show_owned();
    } else if (name == ".functions") {
        for (const host::Function& function : host_.functions()) {
            const std::string signature = signature_of(function.name);
            if (contains_word(signature, rest)) out_ << "  " << signature << '\n';
        }
    } else {
        out_ << "There is no command " << name << ": see .help\n";
    }
    return Next::go_on;
}

void Shell::show_help(std::string_view topic) {
    if (topic.empty()) {
        out_ << "Type JavaScript; what it gives is shown, and is in the variable _ then.\n"
                "Tab completes names, parameters (f({) and files (in strings), the arrows bring\n"
                "earlier input back, Ctrl-C drops the input or stops what runs.\n\n";
        for (const Command& command : commands) {
            out_ << "  " << left_aligned(command.name, 12) << command.words << '\n';
        }
        return;
    }
    topic = trimmed(topic.substr(0, topic.find('(')));
    if (const Reference::Entry* entry = reference_.find(topic)) {
        out_ << entry->text;
        if (topic == "dom")
            out_ << "\nMore of each: .help dom documents, .help dom nodes and so on\n";
        return;
    }
    if (const std::string signature = signature_of(topic); !signature.empty()) {
        out_ << signature << "\nThe reference, functions.md, is not installed.\n";
        return;
    }
    bool found = false;
    for (const Reference::Entry& entry : reference_.entries()) {
        const bool of_dom = entry.name.starts_with("dom");
        if (!contains_word(of_dom ? entry.text : entry.name, topic)) continue;
        found = true;
        out_ << "  "
             << (of_dom ? ".help " + entry.name : entry.text.substr(0, entry.text.find('\n')))
             << '\n';
    }
    if (!found) out_ << "The reference does not know " << topic << '\n';
}

TerminalInput::Completion Shell::complete(const std::string& line) {
    const std::string text = pending_.empty() ? line : pending_ + '\n' + line;
    if (Completer::ends_in_string(text)) return {.words = {}, .files = true};
    const Completer completer(host_.functions(), command_names(),
                              [this](std::string_view path) { return console_.properties(path); });
    return {.words = completer.complete(text), .files = false};
}

}  // namespace valtrosse::cli
