// Makes up the next call of a run.
#pragma once

#include "fuzz/random/choices.hpp"
#include "fuzz/random/functions.hpp"
#include "fuzz/random/script.hpp"
#include "fuzz/random/session.hpp"

namespace valtrosse::random {

/// Chooses functions by their weights and mostly arguments that make sense; now and then others.
class Generator {
public:
    Generator(Choices& choices, const Session& session) : choices_(choices), session_(session) {}

    Step next(std::uint32_t number);

private:
    const FunctionSpec& choose_function();
    Value argument(Taste taste, const Step& so_far);
    Value handle(Taste taste, const Step& so_far);
    Value no_handle();
    Value text(Taste taste, const Step& so_far);
    const Node* first_node(const Step& so_far) const;
    Value wrong(Taste taste);
    std::string xml_text();
    void xml_element(std::string& out, int depth);
    std::string xpath();

    Choices& choices_;
    const Session& session_;
};

}  // namespace valtrosse::random
