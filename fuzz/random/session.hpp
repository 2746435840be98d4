// One run: the model beside the library, call by call.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/random/functions.hpp"
#include "fuzz/random/run.hpp"
#include "fuzz/random/tree.hpp"
#include "host/host.hpp"
#include "valtrosse/handles.h"

namespace valtrosse::random {

/// What a call is to give.
struct Expected {
    enum class Kind : std::uint8_t {
        no_value,
        status,
        integer,
        boolean,
        text,
        some_text,  // text of any wording
        file_size,  // of the file `path`
        bytes,
        node,
        created,    // `node`, not yet bound
        list,       // `nodes` in this order
        set,        // `nodes` in any order
        notations,  // a new chain of `nodes` in any order
        dump,       // text, or 62 for a character that cannot cross
        anything,   // nothing is promised but that the call ends
    };

    Kind kind = Kind::no_value;
    std::uint32_t number = 0;
    std::u16string text{};
    std::vector<std::uint8_t> bytes{};
    std::string path{};
    Node* node = nullptr;
    std::vector<Node*> nodes{};
    std::function<void()> then{};  // after the outcome was found right and new objects are bound
};

class Session {
public:
    explicit Session(host::Host& host, Coverage* coverage);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// What a LIBXMLLife object holds, as the model has it.
    struct Life {
        host::ObjectHandle object;
        Node* held = nullptr;
    };

    const Forest& forest() const { return forest_; }
    const std::map<Ref, Life>& lives() const { return lives_; }
    /// Whether the library knows which numbers are handles of live objects. Then calls with others are
    /// allowed, and give no value.
    bool knows_handles() const { return object_of_handle_ != nullptr; }
    /// The handles that have ended, by their objects.
    const std::map<Ref, Handle>& ended() const { return ended_; }

    /// Makes the call of a step and compares. False when the rules do not allow the step. Throws
    /// Mismatch.
    bool perform(const Step& step);
    /// Frees everything. Throws Mismatch when the host is left with blocks or values.
    void finish();

private:
    /// The arguments of one call as the function has read them, by position.
    struct Args {
        std::vector<Node*> nodes;
        std::vector<std::uint32_t> integers;
        std::vector<std::u16string> units;
        std::vector<std::string> texts;  // UTF-8
        std::vector<std::vector<std::uint8_t>> bytes;
    };
    using Predict = Expected (Session::*)(const Args&);
    static const std::map<std::string_view, Predict>& predictions();

    bool life_step(const Step& step);
    bool is_ended(const Value& value) const {
        return value.kind == Value::Kind::object && ended_.contains(value.object);
    }
    bool is_allowed_handle(const Value& value, Taste taste) const;
    Handle handle_of(Node* node) const;
    bool is_allowed(const FunctionSpec& spec, const Step& step) const;
    /// The outcome that the arguments decide before the work begins; else they are in `args`.
    std::optional<Expected> read(const FunctionSpec& spec, const Step& step, Args& args) const;
    host::Argument argument(const Value& value);
    void compare(const Expected& expected, const host::Outcome& outcome);
    void count(const FunctionSpec& spec, const host::Outcome& outcome);
    std::string expand(const std::u16string& text) const;

    // Outcomes.
    static Expected none() { return {}; }
    static Expected integer(std::uint32_t number) {
        return {.kind = Expected::Kind::integer, .number = number};
    }
    static Expected boolean(bool value) {
        return {.kind = Expected::Kind::boolean, .number = value};
    }
    static Expected node_or_none(Node* node) {
        return node ? Expected{.kind = Expected::Kind::node, .node = node} : none();
    }
    static Expected created(Node* node) { return {.kind = Expected::Kind::created, .node = node}; }
    static Expected text(const Text& utf8);
    static Expected list(std::vector<Node*> nodes) {
        return {.kind = Expected::Kind::list, .nodes = std::move(nodes)};
    }

    // documents.cpp
    Expected load(const Args& args, bool html, bool is_file);
    Expected load_xml_file(const Args& args) { return load(args, false, true); }
    Expected load_xml_string(const Args& args) { return load(args, false, false); }
    Expected load_html_file(const Args& args) { return load(args, true, true); }
    Expected load_html_string(const Args& args) { return load(args, true, false); }
    Expected create_doc(const Args& args);
    Expected root_node(const Args& args);
    Expected free_doc(const Args& args);
    Expected keep_blanks_default(const Args& args);
    Expected save_xml(const Args& args);
    Expected save_xml_format(const Args& args);
    Expected save_html_format(const Args& args);
    Expected get_message(const Args& args);
    Expected set_message(const Args& args);
    Expected transform(const Args& args);
    Expected validate(const Args& args);
    Expected create_doctype(const Args& args);
    Expected load_doctype(const Args& args);
    Expected set_external_dtd(const Args& args);
    Expected get_doc_property(const Args& args);
    Expected set_doc_property(const Args& args);
    Expected get_doctype_property(const Args& args);
    Expected set_doctype_property(const Args& args);
    Expected entities(const Args& args);
    Expected notations(const Args& args);
    Expected entity_property(const Args& args);
    Expected notation_property(const Args& args);
    Expected element_by_id(const Args& args);
    bool can_write(const std::string& path) const;
    /// Whether the document has a character that a file in this encoding cannot hold, or what XML has no
    /// markup for: then the call gives no value, and the document has a message.
    bool refuses_to_write(const Node* document, const std::string& encoding,
                          const Node* except = nullptr);
    void read_back(Node* document, const std::string& path);
    void absorb_meta(Node* document);
    void end_tree(Node* node);

    // nodes.cpp
    Expected type(const Args& args);
    Expected name(const Args& args);
    Expected value(const Args& args);
    Expected set_value(const Args& args);
    Expected is_blank(const Args& args);
    Expected text_length(const Args& args);
    Expected relative(const Args& args);
    Expected owner_doc(const Args& args);
    Expected create_node(const Args& args);
    Expected create_node_ns(const Args& args);
    Expected add_child(const Args& args);
    Expected unlink(const Args& args);
    Expected replace(const Args& args);
    Expected free_node(const Args& args);
    Expected clone(const Args& args);
    Expected import(const Args& args);
    Expected select(const Args& args);
    Expected dump(const Args& args);
    void forget_ended_documents(Node* node);
    static bool may_be_linked(const Node* parent, const Node* node);
    static bool may_be_freed(const Node* node);

    // attributes.cpp, with the functions on texts
    Node* find_attribute(Node* element, const std::string& name) const;
    Node* find_attribute_ns(Node* element, const std::string& name, const std::string& uri) const;
    Expected value_of_found(const Node* found) const;
    Expected get_attribute(const Args& args);
    Expected get_attribute_node(const Args& args);
    Expected get_attribute_ns(const Args& args);
    Expected get_attribute_node_ns(const Args& args);
    Expected set_attribute_node(const Args& args);
    Expected set_attribute_node_ns(const Args& args);
    Expected remove_attribute_node(const Args& args);
    Expected first_attribute(const Args& args);
    Expected next_attribute(const Args& args);
    Expected specified(const Args& args);
    Expected is_id(const Args& args);
    Expected property_ns(const Args& args);
    Expected level1(const Args& args);
    Expected level2(const Args& args);
    Expected valid_name(const Args& args);
    Expected str_replace(const Args& args);
    Expected encode(const Args& args);
    Expected decode(const Args& args);
    Expected version(const Args& args);

    host::Host& host_;
    // Null where handles are addresses.
    const vt_object_of_handle object_of_handle_ =
        host_.symbol_as<vt_object_of_handle>("valtrosse_object_of_handle");
    Coverage* coverage_;
    std::filesystem::path folder_;
    Forest forest_;
    std::map<Ref, Life> lives_;
    std::map<Ref, Handle> ended_;
    std::map<Address, std::u16string> messages_;  // by owner; 0: the thread's
    std::uint32_t step_ = 0;
};

/// UTF-8 of each unit by itself, as first principles have it.
std::string encode_units(std::u16string_view units);
/// The units of UTF-8 bytes, or the status: 33 malformed, 62 a character above U+FFFF.
std::uint32_t decode_bytes(std::string_view bytes, std::u16string& units);

}  // namespace valtrosse::random
