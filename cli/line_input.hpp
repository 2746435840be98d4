// Where the lines of the shell come from: a terminal, with editing, history and completion, or a
// stream.
#pragma once

#include <csignal>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

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

/// Ctrl-C while a script runs: noted, and a second one ends the process.
class InterruptWatch {
public:
    InterruptWatch();
    static bool interrupted();

private:
    InterruptHandler handler_;
};

}  // namespace valtrosse::cli
