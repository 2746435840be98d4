#include "fuzz/random/run.hpp"

#include "fuzz/random/check.hpp"
#include "fuzz/random/generator.hpp"
#include "fuzz/random/session.hpp"

namespace valtrosse::random {

namespace {

/// Makes the steps that next() gives, until it gives none.
template <typename Next>
std::optional<Failure> make_steps(Session& session, Next next) {
    Step step;
    try {
        while (std::optional<Step> given = next()) {
            step = std::move(*given);
            session.perform(step);
        }
        step = {.function = "(the end)"};
        session.finish();
    } catch (const Mismatch& mismatch) {
        return Failure{step, mismatch.what()};
    }
    return std::nullopt;
}

/// What earlier runs left in the table of last messages does not concern this one.
void forget_messages(const host::Host& host) {
    if (auto* forget = host.symbol_as<void (*)()>("_x_removeAllMsgs")) forget();
}

}  // namespace

std::optional<Failure> run(Choices& choices, host::Host& host, std::uint32_t max_steps,
                           Coverage* coverage, const Listener& listener) {
    forget_messages(host);
    Session session(host, coverage);
    Generator generator(choices, session);
    std::uint32_t number = 0;
    return make_steps(session, [&]() -> std::optional<Step> {
        if (number == max_steps || choices.exhausted()) return std::nullopt;
        Step step = generator.next(++number);
        if (listener) listener(step);
        return step;
    });
}

std::optional<Failure> replay(const Script& script, host::Host& host, Coverage* coverage) {
    forget_messages(host);
    Session session(host, coverage);
    std::size_t at = 0;
    return make_steps(session, [&]() -> std::optional<Step> {
        if (at == script.size()) return std::nullopt;
        return script[at++];
    });
}

}  // namespace valtrosse::random
