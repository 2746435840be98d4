#include "cli/line_input.hpp"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <istream>

#include <readline/history.h>
#include <readline/readline.h>

namespace valtrosse::cli {

namespace {

constexpr int longest_history = 1000;

volatile std::sig_atomic_t signals = 0;

void note_signal(int) {
    const int earlier = signals;
    signals = earlier + 1;
}

void end_on_second_signal(int number) {
    if (signals != 0) {
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
    note_signal(number);
}

// What readline's callbacks, which get no data of ours, work on.
struct Reading {
    std::string line;
    bool complete = false;
    bool at_end = false;
} reading;
TerminalInput::Complete complete_line;
std::vector<std::string> words;
std::size_t next_word = 0;

void take_line(char* line) {
    reading.complete = true;
    reading.at_end = line == nullptr;
    if (line != nullptr) reading.line = line;
    std::free(line);
    rl_callback_handler_remove();  // or the prompt would be shown again at once
}

char* give_word(const char*, int state) {
    if (state == 0) next_word = 0;
    return next_word < words.size() ? strdup(words[next_word++].c_str()) : nullptr;
}

char** attempt_completion(const char* text, int, int end) {
    const TerminalInput::Completion completion =
        complete_line(std::string(rl_line_buffer, static_cast<std::size_t>(end)));
    rl_completion_append_character = '\0';
    if (completion.files) return nullptr;
    rl_attempted_completion_over = 1;
    words = completion.words;
    return rl_completion_matches(text, give_word);
}

/// Waits for a key. False after Ctrl-C.
bool wait_for_key() {
    pollfd terminal{fileno(rl_instream), POLLIN, 0};
    while (poll(&terminal, 1, -1) < 0) {
        if (errno != EINTR) return true;  // readline will see what is wrong
        if (signals != 0) return false;
        rl_resize_terminal();  // the other signal there is
    }
    return signals == 0;
}

}  // namespace

InterruptHandler::InterruptHandler(void (*handler)(int)) {
    signals = 0;
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &earlier_);
}

InterruptHandler::~InterruptHandler() { sigaction(SIGINT, &earlier_, nullptr); }

InterruptWatch::InterruptWatch() : handler_(end_on_second_signal) {}

bool InterruptWatch::interrupted() { return signals != 0; }

LineInput::Got StreamInput::read(const std::string&, std::string& line) {
    return std::getline(in_, line) ? Got::line : Got::end;
}

TerminalInput::TerminalInput(std::string history_file, Complete complete)
    : history_file_(std::move(history_file)) {
    complete_line = std::move(complete);
    rl_readline_name = "vtdom";
    rl_catch_signals = 0;
    rl_attempted_completion_function = attempt_completion;
    rl_basic_word_break_characters = " \t\n()[]{}.,;:+-*/%=<>!&|^~?'\"";
    rl_completer_word_break_characters = rl_basic_word_break_characters;
    rl_completer_quote_characters = "'\"";
    // With a time before each entry, one can have several lines.
    history_comment_char = '#';
    history_write_timestamps = 1;
    using_history();
    stifle_history(longest_history);
    if (history_file_.empty()) return;
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(history_file_).parent_path(),
                                        ignored);
    read_history(history_file_.c_str());
}

TerminalInput::~TerminalInput() {
    if (!history_file_.empty()) history_truncate_file(history_file_.c_str(), longest_history);
    complete_line = nullptr;
}

LineInput::Got TerminalInput::read(const std::string& prompt, std::string& line) {
    const InterruptHandler handler(note_signal);
    reading = {};
    rl_callback_handler_install(prompt.c_str(), take_line);
    while (!reading.complete) {
        if (wait_for_key()) {
            rl_callback_read_char();
            continue;
        }
        std::fputs("^C", rl_outstream);
        rl_callback_sigcleanup();
        rl_free_line_state();
        rl_callback_handler_remove();
        std::fputc('\n', rl_outstream);
        return Got::interrupt;
    }
    if (reading.at_end) std::fputc('\n', rl_outstream);
    line = reading.line;
    return reading.at_end ? Got::end : Got::line;
}

void TerminalInput::remember(const std::string& input) {
    const HIST_ENTRY* last = history_get(history_base + history_length - 1);
    if (input.empty() || (last != nullptr && input == last->line)) return;
    add_history(input.c_str());
    if (history_file_.empty()) return;
    if (append_history(1, history_file_.c_str()) == ENOENT) write_history(history_file_.c_str());
}

}  // namespace valtrosse::cli
