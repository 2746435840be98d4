#include "cli/line_input.hpp"

#include <fcntl.h>
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

// What the thread of the watch is told.
constexpr char interrupt_now = 'i';
constexpr char go_away = 'g';
volatile std::sig_atomic_t watch_pipe = -1;

void tell_watch(int pipe, char what) {
    const int error = errno;
    while (write(pipe, &what, 1) < 0 && errno == EINTR) {
    }
    errno = error;
}

void wake_watch(int number) {
    if (signals != 0) {
        std::signal(number, SIG_DFL);
        std::raise(number);
    }
    note_signal(number);
    tell_watch(watch_pipe, interrupt_now);
}

void watch(int pipe, script::Engine& engine) {
    for (char told = 0; told != go_away;) {
        if (read(pipe, &told, 1) == 1 && told == interrupt_now) engine.interrupt();
    }
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

InterruptWatch::InterruptWatch(script::Engine& engine) {
    if (pipe2(pipe_.data(), O_CLOEXEC) != 0) return;  // Ctrl-C then ends the process
    thread_ = std::thread(watch, pipe_[0], std::ref(engine));
    watch_pipe = pipe_[1];
    handler_.emplace(wake_watch);
}

InterruptWatch::~InterruptWatch() {
    if (!thread_.joinable()) return;
    handler_.reset();
    tell_watch(pipe_[1], go_away);
    thread_.join();
    for (const int end : pipe_) close(end);
}

LineInput::Got StreamInput::read(const std::string&, std::string& line) {
    return std::getline(in_, line) ? Got::line : Got::end;
}

LineInput::Got DescriptorInput::read(const std::string&, std::string& line) {
    std::optional<InterruptHandler> handler;
    if (!was_interrupted_) handler.emplace(note_signal);
    std::size_t end = buffer_.find('\n');
    while (end == buffer_.npos) {
        std::array<char, 4096> block;
        const ssize_t count = ::read(descriptor_, block.data(), block.size());
        if (count < 0 && errno == EINTR) {
            if (signals == 0) continue;
            was_interrupted_ = true;
            buffer_.clear();
            return Got::interrupt;
        }
        if (count <= 0 && buffer_.empty()) return Got::end;
        end = buffer_.size();
        if (count <= 0) break;
        buffer_.append(block.data(), static_cast<std::size_t>(count));
        end = buffer_.find('\n', end);
    }
    was_interrupted_ = false;
    line = buffer_.substr(0, end);
    buffer_.erase(0, end + 1);
    return Got::line;
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
