// Which trees are a script's own to free: learnt from the calls that it makes and what they gave.
#pragma once

#include <string>
#include <unordered_map>
#include <vector>

#include "cli/nodes.hpp"
#include "script/observer.hpp"

namespace valtrosse::cli {

class Ownership : public script::CallObserver {
public:
    /// The call by which a tree became the script's.
    struct Origin {
        std::string function;
        script::CallPath path;
        std::size_t number;  ///< counts such calls
    };

    explicit Ownership(host::Host& host) : host_(host) {}

    /// Whether the handle is a document, or a node that hangs nowhere, and alive.
    bool owns(Handle tree) const { return owned_.contains(tree); }
    /// Those trees with their origins.
    const std::unordered_map<Handle, Origin>& owned() const { return owned_; }
    /// Counts the occasions at which handles may have died.
    std::size_t deaths() const { return deaths_; }

    bool wants_path(const host::Function& function) const override;
    void before(const script::ObservedCall& call) override;
    void after(const script::ObservedCall& call, const host::Outcome& outcome,
               std::chrono::nanoseconds) override;
    void life_ends(const vt_object* object) override;

private:
    void give(Handle tree, const script::ObservedCall& call);
    void hold(const vt_object* object, Handle tree);
    bool is_within(Handle node, Handle tree);
    std::vector<const vt_object*> holders_within(Handle tree);

    host::Host& host_;
    std::unordered_map<Handle, Origin> owned_;
    std::unordered_map<const vt_object*, Handle> held_;  // by living LIBXMLLife objects
    std::vector<const vt_object*> bereaved_;  // objects whose tree goes if the running call frees
    std::size_t given_ = 0;
    std::size_t deaths_ = 0;
};

}  // namespace valtrosse::cli
