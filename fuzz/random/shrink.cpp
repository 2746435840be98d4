#include "fuzz/random/shrink.hpp"

#include <libxml/xmlmemory.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <stdexcept>

namespace valtrosse::random {

/// What the children leave behind.
struct Isolation::Shared {
    Coverage coverage;
    char what[4096];
    std::size_t log_size;
    char log[1 << 22];  // the steps of the run

    void write(const std::string& line) {
        if (log_size + line.size() + 1 > sizeof log) return;
        std::memcpy(log + log_size, line.data(), line.size());
        log_size += line.size();
        log[log_size++] = '\n';
    }
};

namespace {

/// Blocks that libxml2 and the library have of its allocator.
long live_blocks = 0;

void* counted_malloc(std::size_t bytes) {
    void* const block = std::malloc(bytes);
    live_blocks += block != nullptr;
    return block;
}
void* counted_realloc(void* block, std::size_t bytes) {
    if (!block) return counted_malloc(bytes);
    return std::realloc(block, bytes);
}
void counted_free(void* block) {
    live_blocks -= block != nullptr;
    std::free(block);
}
char* counted_strdup(const char* text) {
    const std::size_t bytes = std::strlen(text) + 1;
    void* const copy = counted_malloc(bytes);
    return copy ? static_cast<char*>(std::memcpy(copy, text, bytes)) : nullptr;
}

/// Replays a script that went well until the tables that stay are as large as they get: then another
/// replay must leave no block behind.
std::optional<Failure> find_leak(const Script& script, host::Host& host) {
    long before = 0;
    for (int i = 0; i < 4; ++i) {
        if (auto failure = replay(script, host)) return failure;
        if (i > 0 && live_blocks <= before) return std::nullopt;
        before = live_blocks;
    }
    return Failure{{.function = "(the end)"}, "leaves more blocks behind each time"};
}

}  // namespace

Isolation::Isolation(const std::string& plugin)
    : host_((xmlMemSetup(counted_free, counted_malloc, counted_realloc, counted_strdup), plugin)) {
    void* const memory =
        mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("no memory to share");
    shared_ = new (memory) Shared{};
}

Isolation::~Isolation() { munmap(shared_, sizeof(Shared)); }

const Coverage& Isolation::coverage() const { return shared_->coverage; }

template <typename Work>
std::optional<std::string> Isolation::in_child(Work work) {
    constexpr unsigned hanging_after_seconds = 120;
    shared_->what[0] = 0;
    shared_->log_size = 0;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process can be forked");
    if (child == 0) {
        alarm(hanging_after_seconds);
        const std::optional<Failure> failure = work();
        if (failure) {
            const std::string what = to_text(failure->step) + "\n    " + failure->what;
            std::snprintf(shared_->what, sizeof shared_->what, "%s", what.c_str());
        }
        std::exit(failure ? 1 : 0);  // as it is with a leak checker, which speaks at the end
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return signal == SIGALRM ? std::string("hangs")
                                 : "ends with signal " + std::to_string(signal);
    }
    if (shared_->what[0]) return std::string(shared_->what);
    if (WEXITSTATUS(status) == 0) return std::nullopt;
    return "ends with exit status " + std::to_string(WEXITSTATUS(status));
}

std::optional<Found> Isolation::run(std::uint64_t seed, std::uint32_t steps, bool look_for_leaks) {
    const auto what = in_child([&] {
        SeededChoices choices(seed);
        auto failure = random::run(choices, host_, steps, &shared_->coverage,
                                   [this](const Step& step) { shared_->write(to_text(step)); });
        if (!failure && look_for_leaks) failure = find_leak(logged_script(), host_);
        return failure;
    });
    if (!what) return std::nullopt;
    return Found{logged_script(), *what};
}

std::optional<std::string> Isolation::replay(const Script& script) {
    return in_child([&] { return find_leak(script, host_); });
}

Script Isolation::logged_script() const { return parse_script({shared_->log, shared_->log_size}); }

namespace {

/// What kind of fault it is: the failing function, or how the process ended.
std::string kind_of(const std::string& what) {
    const std::size_t start = std::isdigit(what[0]) ? what.find(' ') + 1 : 0;
    return what.substr(start, what.find_first_of(" \n", start) - start);
}

/// Whether the script fails in the same way; then it takes the place of what was found.
bool fails_too(Isolation& isolation, Found& found, Script script) {
    const auto what = isolation.replay(script);
    if (!what || kind_of(*what) != kind_of(found.what)) return false;
    found = {std::move(script), *what};
    return true;
}

/// Leaves out runs of steps, ever shorter ones, for as long as the rest fails.
bool drop_steps(Isolation& isolation, Found& found) {
    bool shorter = false;
    for (std::size_t size = std::max<std::size_t>(found.script.size() / 2, 1);; size /= 2) {
        for (std::size_t end = found.script.size(); end > 0;) {
            const std::size_t begin = end > size ? end - size : 0;
            Script rest = found.script;
            rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(begin),
                       rest.begin() + static_cast<std::ptrdiff_t>(end));
            shorter |= fails_too(isolation, found, std::move(rest));
            end = std::min(begin, found.script.size());
        }
        if (size <= 1) return shorter;
    }
}

/// Simpler values to try in the place of one.
std::vector<Value> simpler(const Value& value) {
    std::vector<Value> values;
    if (value.kind == Value::Kind::integer && value.integer > 0)
        values.push_back({.kind = Value::Kind::integer});
    if (value.kind == Value::Kind::text && !value.text.empty() && !value.text.starts_with(u"$/")) {
        const std::u16string& text = value.text;
        values.push_back({.kind = Value::Kind::text});
        if (text != u"a") values.push_back({.kind = Value::Kind::text, .text = u"a"});
        if (text.starts_with('<') && text != u"<a/>")
            values.push_back({.kind = Value::Kind::text, .text = u"<a/>"});
        if (text.size() > 20)
            values.push_back({.kind = Value::Kind::text, .text = text.substr(0, text.size() / 2)});
    }
    return values;
}

bool simplify_arguments(Isolation& isolation, Found& found) {
    bool simplified = false;
    for (std::size_t i = 0; i < found.script.size(); ++i)
        for (std::size_t k = 0; k < found.script[i].args.size(); ++k)
            for (const Value& value : simpler(found.script[i].args[k])) {
                Script other = found.script;
                other[i].args[k] = value;
                if (!fails_too(isolation, found, std::move(other))) continue;
                simplified = true;
                break;
            }
    return simplified;
}

}  // namespace

Found shrink(Isolation& isolation, Found found) {
    const auto what = isolation.replay(found.script);
    if (!what) return found;  // fails in the generator's company only
    found.what = *what;
    drop_steps(isolation, found);
    while (simplify_arguments(isolation, found) && drop_steps(isolation, found)) {
    }
    return found;
}

}  // namespace valtrosse::random
