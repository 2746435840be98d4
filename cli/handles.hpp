// Which numbers are handles: those that calls gave as such, for as long as they are known to be
// alive. Nobody looks at what another number might point to.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "cli/ownership.hpp"

namespace valtrosse::cli {

/// What the functions give that is no plain number or text.
enum class Gives { other, handle, handle_list };
Gives result_kind(std::string_view function);

class KnownHandles : public script::CallObserver {
public:
    /// `ownership` sees each call before this does.
    explicit KnownHandles(const Ownership& ownership) : ownership_(ownership) {}

    /// Documents and nodes that hang nowhere are known until they are freed; others until anything
    /// is freed, since they may be in it.
    bool is_alive(double number);

    /// The handles of a handle list, if it is the text of one and all are alive.
    std::optional<std::vector<Handle>> read_list(std::u16string_view text);

    struct LastCall {
        std::string function;  ///< empty: none was made
        Gives gives = Gives::other;
        bool no_value = false;
        bool typed = false;  ///< made by the input itself, not by a module
    };
    const LastCall& last_call() const { return last_call_; }
    void forget_last_call() { last_call_ = {}; }

    bool wants_path(const host::Function&) const override { return true; }
    void after(const script::ObservedCall& call, const host::Outcome& outcome,
               std::chrono::nanoseconds) override;

private:
    void forget_the_dead();
    void note(Handle handle);

    const Ownership& ownership_;
    std::unordered_set<Handle> inside_;  // of trees
    std::size_t deaths_seen_ = 0;
    LastCall last_call_;
};

}  // namespace valtrosse::cli
