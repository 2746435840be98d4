// Scripts against the model of fuzz/random, their steps chosen by the input.
#include <libxml/parser.h>

#include "fuzz/random/run.hpp"
#include "fuzz/targets/target.hpp"

namespace valtrosse::fuzz {
namespace {

constexpr std::uint32_t max_steps = 300;

/// As in a new process: XSLT switches these on for good.
void reset_libxml2() {
    xmlSubstituteEntitiesDefault(0);
    xmlLoadExtDtdDefaultValue = 0;
    xmlKeepBlanksDefault(1);
}

std::string text_of(const random::Script& script) {
    std::string text;
    for (const random::Step& step : script) text += '\n' + random::to_text(step);
    return text;
}

}  // namespace
}  // namespace valtrosse::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace valtrosse::fuzz;
    namespace random = valtrosse::random;
    // Of a crash, VALTROSSE_SHOW_STEPS shows the script: `./dev fuzz random --replay` runs it.
    static const bool show = std::getenv("VALTROSSE_SHOW_STEPS") != nullptr;
    reset_libxml2();
    random::ByteChoices choices({data, size});
    random::Script script;
    const auto failure = random::run(choices, library(), max_steps, nullptr, [&](const auto& step) {
        script.push_back(step);
        if (show) std::fprintf(stderr, "%s\n", random::to_text(step).c_str());
    });
    if (failure) fail(failure->what, text_of(script));
    end_of_input();
    return 0;
}
