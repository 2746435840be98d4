// Where the lines of the shell come from: a terminal, with editing, history and completion, or a
// stream.
#pragma once

#include <array>
#include <csignal>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "script/engine.hpp"

namespace valtrosse::cli {

class LineInput {
public:
    enum class Got { line, end, interrupt };

    virtual ~LineInput() = default;
    virtual Got read(const std::string& prompt, std::string& line) = 0;
    /// Remembers a complete input, of several lines perhaps.
    virtual void remember(const std::string&) {}
};

/// Lines of a stream, without prompts.
class StreamInput : public LineInput {
public:
    explicit StreamInput(std::istream& in) : in_(in) {}
    Got read(const std::string& prompt, std::string& line) override;

private:
    std::istream& in_;
};

/// Lines of a descriptor that is no terminal, without prompts. Ctrl-C drops the input; twice with nothing in
/// between it ends the process.
class DescriptorInput : public LineInput {
public:
    explicit DescriptorInput(int descriptor) : descriptor_(descriptor) {}
    Got read(const std::string& prompt, std::string& line) override;

private:
    int descriptor_;
    std::string buffer_;  // read, and not given yet
    bool was_interrupted_ = false;
};

/// For the one terminal of the process: at most one exists at a time.
class TerminalInput : public LineInput {
public:
    struct Completion {
        std::vector<std::string> words;  ///< each replaces the word before the cursor
        bool files = false;              ///< names of files are wanted instead
    };
    /// Gets the line up to the cursor.
    using Complete = std::function<Completion(const std::string& text)>;

    /// The history is kept in a file; an empty path keeps none.
    TerminalInput(std::string history_file, Complete complete);
    ~TerminalInput() override;
    Got read(const std::string& prompt, std::string& line) override;
    void remember(const std::string& input) override;

private:
    std::string history_file_;
};

/// Has a handler for Ctrl-C in place while it lives.
class InterruptHandler {
public:
    explicit InterruptHandler(void (*handler)(int));
    ~InterruptHandler();
    InterruptHandler(const InterruptHandler&) = delete;
    InterruptHandler& operator=(const InterruptHandler&) = delete;

private:
    struct sigaction earlier_ {};
};

/// While it lives, Ctrl-C interrupts what runs in the engine, and a second one ends the process. There is one
/// at a time.
class InterruptWatch {
public:
    explicit InterruptWatch(script::Engine& engine);
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

private:
    // A signal handler may do little: it wakes a thread.
    std::array<int, 2> pipe_{-1, -1};
    std::thread thread_;
    std::optional<InterruptHandler> handler_;
};

}  // namespace valtrosse::cli
