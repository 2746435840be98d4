#include "cli/handles.hpp"

#include <algorithm>
#include <array>
#include <cmath>

#include "script/console.hpp"

namespace valtrosse::cli {

namespace {

constexpr std::array<std::string_view, 28> giving_handles = {
    "xmlDOMDocLoadXMLFile",
    "xmlDOMDocLoadXMLString",
    "xmlDOMDocCreateDoc",
    "xmlDOMDocGetRootNode",
    "xmlDOMDocSaveXMLFile",
    "xmlHTMLDocLoadFile",
    "xmlHTMLDocLoadString",
    "xmlDOMDocCreateDoctype",
    "xmlDOMDocLoadDoctype",
    "xmlDOMNodeSetValue",
    "xmlDOMNodeGetRelative",
    "xmlDOMNodeGetOwnerDoc",
    "xmlDOMDocCreateNode",
    "xmlDOMDocCreateNodeNS",
    "xmlDOMNodeAddChild",
    "xmlDOMNodeUnlinkNode",
    "xmlDOMNodeReplaceNode",
    "xmlDOMNodeCloneNode",
    "xmlDOMNodeImportNode",
    "xmlDOMElementGetAttributeNode",
    "xmlDOMElementGetAttributeNodeNS",
    "xmlDOMElementSetAttributeNode",
    "xmlDOMElementSetAttributeNodeNS",
    "xmlDOMElementRemoveAttributeNode",
    "xmlDOMNodeGetFirstAttribute",
    "xmlDOMNodeGetNextAttribute",
    "xmlDOMDocGetElementById",
    "xmlDOMDocGetNotations",
};
constexpr std::array<std::string_view, 2> giving_lists = {"xmlDOMNodeSelectNodes",
                                                          "xmlDOMDocGetEntities"};

constexpr std::size_t most_known = 1000000;

int digit_of(char16_t unit) {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    if (unit >= u'A' && unit <= u'F') return unit - u'A' + 10;
    return -1;
}

/// The form alone: "4", then eight upper-case hexadecimal digits each.
std::optional<std::vector<Handle>> parse_list(std::u16string_view text) {
    if (text.size() % 8 != 1 || text[0] != u'4') return std::nullopt;
    std::vector<Handle> handles;
    for (std::size_t k = 1; k < text.size(); k += 8) {
        Handle handle = 0;
        for (const char16_t unit : text.substr(k, 8)) {
            const int digit = digit_of(unit);
            if (digit < 0) return std::nullopt;
            handle = handle * 16 + static_cast<Handle>(digit);
        }
        handles.push_back(handle);
    }
    return handles;
}

}  // namespace

Gives result_kind(std::string_view function) {
    const auto contains = [=](const auto& names) {
        return std::find(names.begin(), names.end(), function) != names.end();
    };
    return contains(giving_handles) ? Gives::handle
           : contains(giving_lists) ? Gives::handle_list
                                    : Gives::other;
}

bool KnownHandles::is_alive(double number) {
    if (!(number >= 1 && number <= 4294967295.0) || number != std::floor(number)) return false;
    forget_the_dead();
    const auto handle = static_cast<Handle>(number);
    return ownership_.owns(handle) || inside_.contains(handle);
}

std::optional<std::vector<Handle>> KnownHandles::read_list(std::u16string_view text) {
    auto handles = parse_list(text);
    const auto alive = [this](Handle handle) { return is_alive(handle); };
    if (!handles || !std::all_of(handles->begin(), handles->end(), alive)) return std::nullopt;
    return handles;
}

void KnownHandles::after(const script::ObservedCall& call, const host::Outcome& outcome,
                         std::chrono::nanoseconds) {
    forget_the_dead();
    const Gives gives = result_kind(call.function.name);
    last_call_ = {call.function.name, gives, outcome.status() == 0 && outcome.no_value(),
                  !call.path.empty() && call.path[0].file == script::Console::program_name};
    if (const auto* handle = std::get_if<std::uint32_t>(&outcome.value())) {
        // A node may name a document that is gone.
        const bool may_be_dead = call.function.name == "xmlDOMNodeGetOwnerDoc";
        if (gives == Gives::handle && !may_be_dead) note(*handle);
    } else if (const auto* text = std::get_if<std::u16string>(&outcome.value())) {
        if (gives != Gives::handle_list) return;
        if (const auto handles = parse_list(*text)) {
            for (const Handle each : *handles) note(each);
        }
    }
}

void KnownHandles::forget_the_dead() {
    if (ownership_.deaths() == deaths_seen_) return;
    deaths_seen_ = ownership_.deaths();
    inside_.clear();
}

void KnownHandles::note(Handle handle) {
    if (handle == 0) return;
    if (inside_.size() == most_known) inside_.clear();
    inside_.insert(handle);
}

}  // namespace valtrosse::cli
