// Runs JavaScript against a host: the script functions, LIBXMLLife and a few globals of our own.
//
//     host::Host host("build/release/libvaltrosse-dom.so");
//     script::Engine engine(host, {.args = {"menu.xml"}});
//     return engine.run_file("list.js");
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/host.hpp"

namespace valtrosse::script {

class CallObserver;
struct Runtime;

/// Keeps what the libraries below would write to standard error, from its making to its end.
class MessageCapture {
public:
    virtual ~MessageCapture() = default;
    virtual std::string text() const = 0;
};

struct Options {
    std::ostream* out = nullptr;  ///< print, console.log; null is std::cout
    std::ostream* err = nullptr;  ///< console.error, uncaught errors; null is std::cerr
    /// The script's global `args`, in UTF-8; bytes that are none can still open files.
    std::vector<std::string> args{};
    /// Where require and import look for names that do not start with ./ ../ or /, in this order. Errors
    /// do not point into modules from there.
    std::vector<std::string> module_directories{};
    /// Sees every call; outlives the engine. See observer.hpp.
    CallObserver* observer = nullptr;
    /// For the script's global messagesOf; without it nothing is kept from standard error.
    std::unique_ptr<MessageCapture> (*capture_messages)() = nullptr;
    /// For tests: all that can be collected is collected after every so many calls. 0: when it is time.
    unsigned calls_between_collections = 0;
};

/// The exit code of a script that ends with an uncaught error.
inline constexpr int uncaught_error = 1;

/// One JavaScript world. Globals live as long as the engine; so do the LIBXMLLife objects they
/// hold. The host must outlive it. A thread has one engine at a time.
class Engine {
public:
    /// Throws std::runtime_error when the globals cannot be set up.
    explicit Engine(host::Host& host, Options options = {});
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// Runs a script file, "-" for standard input. Returns the exit code: 0, what the script gave
    /// to exit(), or uncaught_error after reporting an uncaught error. Throws std::system_error
    /// when the file cannot be read.
    int run_file(const std::string& path);

    /// Runs a program given as UTF-8, with all that its promises and timers have to do; `name` stands for the
    /// file in error messages. require and import take relative names from the directory of `name`.
    int run_code(std::string_view source, const std::string& name = "code");

    /// Whether a script called exit(): until the next run nothing runs any more.
    bool exited() const;

    /// Ends what runs with the error "interrupted". May be called from another thread.
    void interrupt() noexcept;
    /// Whether the last run ended so.
    bool interrupted() const;

    /// Where the script makes the call that is running: "file:line", empty for nowhere.
    std::string caller() const;

    /// Ends what no variable leads to any more.
    void collect();

private:
    friend class Console;
    std::unique_ptr<Runtime> runtime_;
};

}  // namespace valtrosse::script
