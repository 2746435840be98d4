#include "cli/ownership.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace valtrosse::cli {

namespace {

enum class Effect {
    none,
    gives,            // the result is the script's own
    frees,            // `node` is freed
    links,            // `newnode` is its tree's; another result means that it was merged into that
    links_and_gives,  // the same; another result is what it took the place of, the script's own
    links_dtd,        // `dtd` is its document's
    holds,            // a LIBXMLLife object will free `internal`
    lets_go           // or does so no more
};

struct FunctionEffect {
    std::string_view function;
    Effect effect;
};

constexpr std::array<FunctionEffect, 23> effects = {{
    {"xmlDOMDocLoadXMLFile", Effect::gives},
    {"xmlDOMDocLoadXMLString", Effect::gives},
    {"xmlDOMDocCreateDoc", Effect::gives},
    {"xmlHTMLDocLoadFile", Effect::gives},
    {"xmlHTMLDocLoadString", Effect::gives},
    {"xmlDOMDocCreateDoctype", Effect::gives},
    {"xmlDOMDocLoadDoctype", Effect::gives},
    {"xmlDOMDocGetNotations", Effect::gives},
    {"xmlDOMDocCreateNode", Effect::gives},
    {"xmlDOMDocCreateNodeNS", Effect::gives},
    {"xmlDOMNodeCloneNode", Effect::gives},
    {"xmlDOMNodeImportNode", Effect::gives},
    {"xmlDOMNodeUnlinkNode", Effect::gives},
    {"xmlDOMElementRemoveAttributeNode", Effect::gives},
    {"xmlDOMNodeAddChild", Effect::links},
    {"xmlDOMNodeReplaceNode", Effect::links_and_gives},
    {"xmlDOMElementSetAttributeNode", Effect::links_and_gives},
    {"xmlDOMElementSetAttributeNodeNS", Effect::links_and_gives},
    {"xmlDOMDocSetExternalDtd", Effect::links_dtd},
    {"xmlDOMDocFreeDoc", Effect::frees},
    {"xmlDOMNodeFreeNode", Effect::frees},
    {"LIBXMLLife.addInternal", Effect::holds},
    {"LIBXMLLife.removeInternal", Effect::lets_go},
}};

Effect effect_of(const host::Function& function) {
    const auto found = std::find_if(
        effects.begin(), effects.end(),
        [&](const FunctionEffect& candidate) { return candidate.function == function.name; });
    return found == effects.end() ? Effect::none : found->effect;
}

Handle handle_argument(const script::ObservedCall& call, std::string_view parameter) {
    const host::Argument* argument = call.argument(parameter);
    return argument != nullptr ? argument->integer() : 0;
}

}  // namespace

bool Ownership::wants_path(const host::Function& function) const {
    const Effect effect = effect_of(function);
    return effect == Effect::gives || effect == Effect::links_and_gives;
}

void Ownership::before(const script::ObservedCall& call) {
    // What hangs in the tree can only be asked while it is there.
    if (effect_of(call.function) == Effect::frees) {
        bereaved_ = holders_within(handle_argument(call, "node"));
    }
}

void Ownership::after(const script::ObservedCall& call, const host::Outcome& outcome,
                      std::chrono::nanoseconds) {
    const Effect effect = effect_of(call.function);
    if (effect == Effect::none || outcome.status() != 0 || outcome.no_value()) return;
    if (effect == Effect::holds) {
        return hold(call.object, handle_argument(call, "internal"));
    }
    if (effect == Effect::lets_go) {
        held_.erase(call.object);
        return;
    }

    const Handle result = outcome.handle();
    const Handle newnode = handle_argument(call, "newnode");
    switch (effect) {
        case Effect::gives: give(result, call); break;
        case Effect::frees: {
            for (const vt_object* object : bereaved_) held_.erase(object);
            owned_.erase(handle_argument(call, "node"));
            ++deaths_;
            break;
        }
        case Effect::links:
            owned_.erase(newnode);
            if (result == newnode) break;
            std::erase_if(held_, [=](const auto& entry) { return entry.second == newnode; });
            ++deaths_;
            break;
        case Effect::links_and_gives:
            if (result == 0) break;  // a namespace was declared, and the attribute stays
            owned_.erase(newnode);
            if (result != newnode) give(result, call);
            break;
        case Effect::links_dtd: owned_.erase(handle_argument(call, "dtd")); break;
        default: break;
    }
}

void Ownership::life_ends(const vt_object* object) {
    const auto found = held_.find(object);
    if (found == held_.end()) return;
    const Handle tree = found->second;
    held_.erase(found);
    // What hangs under another node stays; but a notation takes those after it along.
    if (!owns(tree) && type_of(host_, tree) != NodeType::notation) return;
    for (const vt_object* holder : holders_within(tree)) held_.erase(holder);
    owned_.erase(tree);
    ++deaths_;
}

void Ownership::give(Handle tree, const script::ObservedCall& call) {
    // Unlinking what hangs nowhere gives nothing new: the first origin stays.
    owned_.try_emplace(tree, Origin{call.function.name, call.path, given_++});
}

void Ownership::hold(const vt_object* object, Handle tree) {
    const NodeType type = type_of(host_, tree);
    // Declarations are not held, and what has no type is a declaration or an HTML document.
    const bool declaration = type == NodeType::entity || (type == NodeType::none && !owns(tree));
    if (declaration) {
        held_.erase(object);
    } else {
        held_[object] = tree;
    }
}

/// Whether the node is the tree or in it. The node is alive.
bool Ownership::is_within(Handle node, Handle tree) {
    while (node != tree) {
        const Handle parent = parent_of(host_, node);
        if (parent == 0) {
            // The external subset of a document hangs nowhere.
            return type_of(host_, node) == NodeType::doctype &&
                   host_.call("xmlDOMNodeGetOwnerDoc", {node}).handle() == tree;
        }
        node = parent;
    }
    return true;
}

std::vector<const vt_object*> Ownership::holders_within(Handle tree) {
    std::vector<const vt_object*> holders;
    for (const auto& [object, node] : held_) {
        const bool within = owns(node) ? node == tree : is_within(node, tree);
        if (within) holders.push_back(object);
    }
    return holders;
}

}  // namespace valtrosse::cli
