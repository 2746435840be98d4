#include "fuzz/random/session.hpp"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <set>
#include <utility>

#include "fuzz/random/check.hpp"
#include "fuzz/random/oracle.hpp"

namespace valtrosse::random {

namespace {

std::string shown(std::u16string_view text) { return '"' + host::to_utf8(text) + '"'; }

std::string shown(const host::Outcome& outcome) {
    if (outcome.status() != 0) return "status " + std::to_string(outcome.status());
    struct Show {
        std::string operator()(std::monostate) const { return "no value"; }
        std::string operator()(bool value) const { return value ? "true" : "false"; }
        std::string operator()(std::uint32_t value) const { return std::to_string(value); }
        std::string operator()(const std::u16string& value) const { return shown(value); }
        std::string operator()(const host::Blob& value) const {
            return std::to_string(value.size()) + " bytes";
        }
        std::string operator()(const host::ObjectHandle&) const { return "an object"; }
    };
    return std::visit(Show{}, outcome.value());
}

template <typename T>
const T* held(const host::Outcome& outcome) {
    return outcome.status() == 0 ? std::get_if<T>(&outcome.value()) : nullptr;
}

/// Compares an outcome with what a call is to give.
class Comparer {
public:
    Comparer(const host::Host& host, Forest& forest, const Expected& expected,
             const host::Outcome& outcome)
        : host_(host),
          forest_(forest),
          expected_(expected),
          outcome_(outcome) {}

    void run() {
        using enum Expected::Kind;
        const auto* number = held<std::uint32_t>(outcome_);
        const auto* units = held<std::u16string>(outcome_);
        switch (expected_.kind) {
            case no_value:
                return require(
                    outcome_.status() == 0 && outcome_.result_set() && outcome_.no_value(),
                    "no value");
            case status:
                return require(outcome_.status() == expected_.number,
                               "status " + std::to_string(expected_.number));
            case integer:
                return require(number && *number == expected_.number,
                               std::to_string(expected_.number));
            case boolean: {
                const bool wanted = expected_.number != 0;
                const auto* value = held<bool>(outcome_);
                return require(value && *value == wanted, wanted ? "true" : "false");
            }
            case Expected::Kind::text:
                return require(units && *units == expected_.text, shown(expected_.text));
            case some_text: return require(units != nullptr, "a text");
            case dump: {
                // Surrogates in an attribute give 33.
                const vt_status status = outcome_.status();
                return require(units || status == VT_TOO_LARGE || status == VT_MALFORMED,
                               "a text, 33 or 62");
            }
            case file_size:
                return require(number && *number == std::filesystem::file_size(expected_.path),
                               "the size of the file");
            case bytes: {
                const auto* value = held<host::Blob>(outcome_);
                return require(value && *value == expected_.bytes, "other bytes");
            }
            case node: return require(number && is_handle(*number, expected_.node), "another node");
            case created:
                require(number && *number != 0, "a new object");
                bind(forest_, expected_.node,
                     static_cast<const xmlNode*>(host_.object_of(*number)));
                expected_.node->handle = *number;
                return;
            case list:
            case set: return handles();
            case notations: return chain();
            case anything: return;
        }
    }

private:
    void require(bool as_expected, const std::string& wanted) const {
        if (!as_expected) throw Mismatch("gave " + shown(outcome_) + ", expected " + wanted);
    }

    /// Whether it is the handle of the node, and the one that was given out before.
    bool is_handle(Handle handle, Node* node) const {
        if (handle == 0 || address_of(host_.object_of(handle)) != node->address) return false;
        const Handle before = std::exchange(node->handle, handle);
        return before == 0 || before == handle;
    }

    void handles() {
        require(held<std::u16string>(outcome_) != nullptr, "a handle list");
        const std::vector<Handle> found = outcome_.handles();
        std::vector<Node*> rest = expected_.nodes;
        require(found.size() == rest.size(), std::to_string(rest.size()) + " handles");
        for (std::size_t i = 0; i < found.size(); ++i) {
            const auto wanted =
                expected_.kind == Expected::Kind::list
                    ? rest.begin() + static_cast<std::ptrdiff_t>(i)
                    : std::find(rest.begin(), rest.end(),
                                forest_.by_address(address_of(host_.object_of(found[i]))));
            require(wanted != rest.end() && *wanted && is_handle(found[i], *wanted),
                    "another node at place " + std::to_string(i));
            *wanted = expected_.kind == Expected::Kind::list ? *wanted : nullptr;
        }
    }

    /// Links the records of the model as the real chain has them: the order is the library's.
    void chain() {
        const auto* number = held<std::uint32_t>(outcome_);
        require(number && *number != 0, "a chain of notations");
        std::vector<Node*> rest = expected_.nodes;
        Node* previous = nullptr;
        const auto* found = static_cast<const xmlNode*>(host_.object_of(*number));
        for (; found; found = found->children) {
            const auto match = std::find_if(rest.begin(), rest.end(), [&](const Node* record) {
                return record->name == to_string(found->name);
            });
            if (match == rest.end()) throw Mismatch("a notation that the DTD does not declare");
            Node* const record = *match;
            rest.erase(match);
            forest_.bind(record, address_of(found));
            record->parent = previous;
            if (previous) previous->children.push_back(record);
            previous = record;
        }
        if (!rest.empty()) throw Mismatch("a notation is missing");
    }

    const host::Host& host_;
    Forest& forest_;
    const Expected& expected_;
    const host::Outcome& outcome_;
};

constexpr std::string_view stylesheet_head =
    "<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>";

void write_file(const std::filesystem::path& path, std::string_view content) {
    std::ofstream(path, std::ios::binary) << content;
}

}  // namespace

// ---- Units and bytes ----------------------------------------------------------------------------

std::string encode_units(std::u16string_view units) {
    std::string out;
    for (const char16_t unit : units) {
        if (unit < 0x80) {
            out += static_cast<char>(unit);
        } else if (unit < 0x800) {
            out += static_cast<char>(0xC0 | unit >> 6);
            out += static_cast<char>(0x80 | (unit & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | unit >> 12);
            out += static_cast<char>(0x80 | (unit >> 6 & 0x3F));
            out += static_cast<char>(0x80 | (unit & 0x3F));
        }
    }
    return out;
}

std::uint32_t decode_bytes(std::string_view bytes, std::u16string& units) {
    units.clear();
    for (std::size_t i = 0; i < bytes.size();) {
        const auto lead = static_cast<unsigned char>(bytes[i++]);
        int more = 0;
        std::uint64_t value = lead;
        if (lead >= 0x80) {
            while (more < 6 && (lead & (0x40 >> more)) != 0) ++more;
            if (more == 0 || more > 5) return VT_MALFORMED;
            value = lead & (0x3Fu >> more);
        }
        for (; more > 0; --more) {
            if (i == bytes.size() || (static_cast<unsigned char>(bytes[i]) & 0xC0) != 0x80)
                return VT_MALFORMED;
            value = value << 6 | (static_cast<unsigned char>(bytes[i++]) & 0x3F);
            if (value > 0xFFFF) return VT_TOO_LARGE;
        }
        units += static_cast<char16_t>(value);
    }
    return 0;
}

// ---- The run ------------------------------------------------------------------------------------

Session::Session(host::Host& host, Coverage* coverage) : host_(host), coverage_(coverage) {
    std::string pattern = (std::filesystem::temp_directory_path() / "valtrosse-random-XXXXXX");
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no folder for files: " + pattern);
    folder_ = pattern;
    write_file(folder_ / "in.xml", "<list><item>1</item><item>2</item></list>");
    write_file(folder_ / "bad.xml", "<list><item></list>");
    write_file(folder_ / "copy.xsl", std::string(stylesheet_head) +
                                         "<xsl:template match='/'><xsl:copy-of select='.'/>"
                                         "</xsl:template></xsl:stylesheet>");
    write_file(folder_ / "bad.xsl", std::string(stylesheet_head) + "<xsl:template/>");
    write_file(folder_ / "a.dtd",
               "<!ELEMENT a ANY><!ATTLIST a id ID #IMPLIED k CDATA 'default'>"
               "<!NOTATION gif SYSTEM 'viewer'><!ENTITY e 'text'>");
    forest_.on_end = [this](Node* node) {
        if (knows_handles() && node->handle != 0) ended_[node->id] = node->handle;
        for (auto& [ref, life] : lives_)
            if (life.held == node) life.held = nullptr;
    };
}

Session::~Session() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string Session::expand(const std::u16string& text) const {
    std::string utf8 = encode_units(text);
    if (utf8.starts_with("$/")) utf8.replace(0, 1, folder_.string());
    return utf8;
}

host::Argument Session::argument(const Value& value) {
    using Kind = Value::Kind;
    switch (value.kind) {
        case Kind::null: return nullptr;
        case Kind::boolean: return value.integer != 0;
        case Kind::integer: return value.integer;
        case Kind::text:
            if (value.text.starts_with(u"$/")) return expand(value.text);
            return value.text;
        case Kind::bytes: return value.bytes;
        case Kind::object:
            return is_ended(value) ? ended_.at(value.object) : handle_of(forest_.at(value.object));
        case Kind::missing: break;
    }
    return {};
}

/// The model finds objects in the tree as well as in what calls give.
Handle Session::handle_of(Node* node) const {
    if (node->handle == 0) node->handle = host_.handle_of(real_node(node));
    return node->handle;
}

/// An object must be there, unless the library knows that it is not; nor is a number a handle.
bool Session::is_allowed_handle(const Value& value, Taste taste) const {
    if (value.kind == Value::Kind::object) return forest_.at(value.object) || is_ended(value);
    if (value.kind != Value::Kind::integer || value.integer == 0) return true;
    return knows_handles() ? !host_.object_of(value.integer) : taste == Taste::owner;
}

bool Session::is_allowed(const FunctionSpec& spec, const Step& step) const {
    if (step.args.size() > spec.parameters.size()) return false;
    for (std::size_t i = 0; i < step.args.size(); ++i) {
        const Value& value = step.args[i];
        const Taste taste = spec.parameters[i];
        const bool is_handle = reading_of(taste) <= Reading::handle_or_zero;
        if (value.kind == Value::Kind::object || is_handle)
            if (!is_allowed_handle(value, taste)) return false;
        const bool is_path = taste >= Taste::xml_path && taste <= Taste::stylesheet;
        if (value.kind == Value::Kind::text && is_path && !value.text.starts_with(u"$/"))
            return false;
        if (value.kind == Value::Kind::text && taste == Taste::xslt_input &&
            value.text != u"$/in.xml" && value.text != u"$/bad.xml" && value.text != u"$/no/in.xml")
            return false;
    }
    // An HTML document without a DOCTYPE has one whose address libxml2 would fetch.
    if (spec.name == "xmlDOMDocValidateDTD" && !step.args.empty() &&
        step.args[0].kind == Value::Kind::object && !is_ended(step.args[0]))
        return forest_.at(step.args[0].object)->type != XML_HTML_DOCUMENT_NODE;
    return true;
}

std::optional<Expected> Session::read(const FunctionSpec& spec, const Step& step,
                                      Args& args) const {
    using Kind = Value::Kind;
    const std::size_t count = spec.parameters.size();
    args.nodes.resize(count);
    args.integers.resize(count);
    args.units.resize(count);
    args.texts.resize(count);
    args.bytes.resize(count);
    const auto status = [](std::uint32_t number) {
        return Expected{.kind = Expected::Kind::status, .number = number};
    };
    for (std::size_t i = 0; i < count; ++i)
        if (i >= step.args.size() || step.args[i].kind == Kind::missing)
            return status(VT_MISSING_ARGUMENT);
    for (std::size_t i = 0; i < count; ++i) {
        const Value& value = step.args[i];
        const Reading reading = reading_of(spec.parameters[i]);
        if (reading == Reading::text) {
            if (value.kind == Kind::null) return none();
            if (value.kind != Kind::text) return status(VT_BUFFER_TOO_SMALL);
            args.texts[i] = expand(value.text);
            args.units[i] = value.text;
        } else if (reading == Reading::bytes) {
            if (value.kind == Kind::null) return none();
            if (value.kind != Kind::bytes) return status(VT_BAD_BLOB);
            args.bytes[i] = value.bytes;
        } else {
            if (value.kind == Kind::object)
                args.nodes[i] = forest_.at(value.object);
            else if (value.kind != Kind::integer)
                return status(VT_BAD_INTEGER);
            const bool is_handle = reading <= Reading::handle_or_zero;
            if (is_handle && knows_handles() && !args.nodes[i] &&
                (value.kind == Kind::object || value.integer != 0))
                return none();
            const std::uint32_t number = args.nodes[i] ? handle_of(args.nodes[i]) : value.integer;
            args.integers[i] = number;
            if ((reading == Reading::handle && number == 0) ||
                (reading == Reading::flag && number > 1))
                return status(VT_BAD_INTEGER);
        }
        // Two functions decide before they read on.
        if (spec.name == "xmlDOMNodeAddChild" && i == 0 && args.integers[0] > 2) return none();
        if (spec.name == "xmlDOMDocCreateNodeNS" && i == 2 &&
            std::count(args.texts[2].begin(), args.texts[2].end(), ':') != 1)
            return none();
    }
    return std::nullopt;
}

bool Session::perform(const Step& step) {
    const FunctionSpec* const spec = find_function(step.function);
    if (!spec) throw Mismatch("there is no function " + step.function);
    step_ = step.number;
    silence();
    if (!host_.find(step.function)) return life_step(step);
    if (!is_allowed(*spec, step)) return false;

    Args args;
    std::vector<host::Argument> arguments;
    for (const Value& value : step.args) arguments.push_back(argument(value));
    Expected expected;
    if (auto decided = read(*spec, step, args))
        expected = std::move(*decided);
    else
        expected = (this->*predictions().at(spec->name))(args);
    silence();
    const host::Outcome outcome = host_.call(*host_.find(step.function), arguments);
    count(*spec, outcome);
    compare(expected, outcome);
    return true;
}

void Session::compare(const Expected& expected, const host::Outcome& outcome) {
    Comparer(host_, forest_, expected, outcome).run();
    if (expected.then) expected.then();
    if (expected.kind == Expected::Kind::dump && outcome.status() == 0 &&
        can_round_trip(forest_, expected.node)) {
        if (coverage_) ++coverage_->round_trips;
        check_round_trip(forest_, expected.node, encode_units(outcome.text()), false);
    }
    check_trees(forest_);
}

void Session::count(const FunctionSpec& spec, const host::Outcome& outcome) {
    if (!coverage_) return;
    ++coverage_->steps;
    Outcomes& outcomes = coverage_->outcomes[static_cast<std::size_t>(&spec - functions().data())];
    if (outcome.status() != 0)
        ++outcomes.statuses[std::min<std::size_t>(outcome.status(), outcomes.statuses.size() - 1)];
    else
        ++(outcome.no_value() ? outcomes.no_values : outcomes.values);
}

// ---- LIBXMLLife ---------------------------------------------------------------------------------

bool Session::life_step(const Step& step) {
    const FunctionSpec& spec = *find_function(step.function);
    if (step.function == "LIBXMLLife.new") {
        const host::Outcome outcome = host_.create();
        count(spec, outcome);
        if (outcome.status() != 0) throw Mismatch("gave " + shown(outcome));
        lives_[{step.number, 0}] = {outcome.object()};
        return true;
    }
    if (step.args.empty() || step.args[0].kind != Value::Kind::object) return false;
    const auto found = lives_.find(step.args[0].object);
    if (found == lives_.end()) return false;
    Life& life = found->second;

    if (step.function == release_step) {
        Node* const tree = life.held;
        const bool frees = tree && may_be_freed(tree);
        lives_.erase(found);
        if (frees) end_tree(tree);
        count(spec, {});
    } else if (step.function == "LIBXMLLife.removeInternal") {
        count(spec, host_.call_method(life.object, "removeInternal"));
        life.held = nullptr;
    } else {
        const Step handle{step.number, step.function, {step.args.begin() + 1, step.args.end()}};
        if (!is_allowed(spec, handle)) return false;
        Args args;
        const auto decided = read(spec, handle, args);
        std::vector<host::Argument> arguments;
        for (const Value& value : handle.args) arguments.push_back(argument(value));
        const host::Outcome outcome = host_.call_method(life.object, "addInternal", arguments);
        count(spec, outcome);
        const std::uint32_t status = decided ? decided->number : 0;
        if (outcome.status() != status)
            throw Mismatch("gave " + shown(outcome) + ", expected status " +
                           std::to_string(status));
        if (!decided) life.held = args.nodes[0]->is_declaration() ? nullptr : args.nodes[0];
    }
    check_trees(forest_);
    return true;
}

void Session::end_tree(Node* node) {
    if (node->is_document()) messages_.erase(node->address);
    if (node->type == XML_NOTATION_NODE)
        forest_.end_notations(node);
    else
        forest_.end(node);
}

void Session::finish() {
    silence();
    while (!lives_.empty()) {
        const Node* const tree = lives_.begin()->second.held;
        const bool frees = tree && may_be_freed(tree);
        Node* const held = lives_.begin()->second.held;
        lives_.erase(lives_.begin());
        if (frees) end_tree(held);
    }
    check_trees(forest_);
    while (!forest_.nodes().empty()) {
        Node* const top = topmost(forest_.nodes().begin()->second.get());
        Node* tree = top;
        if (top->external)  // goes with its document
            for (const auto& [id, node] : forest_.nodes())
                if (node->external_subset == top) tree = node.get();
        const host::Outcome outcome = host_.call("xmlDOMNodeFreeNode", {handle_of(tree)});
        if (outcome.no_value()) throw Mismatch("a tree could not be freed at the end");
        end_tree(tree);
    }
    const host::Counters counters = host_.counters();
    if (counters.live_blocks != 0 || counters.live_values != 0 || counters.live_objects != 0)
        throw Mismatch("the host is left with blocks, values or objects");
    if (counters.unused_ids_called != 0) throw Mismatch("a host function of no use was called");
}

Expected Session::text(const Text& utf8) {
    if (!utf8) return none();
    Expected expected{.kind = Expected::Kind::text};
    if (const std::uint32_t status = decode_bytes(*utf8, expected.text))
        return {.kind = Expected::Kind::status, .number = status};
    return expected;
}

const std::map<std::string_view, Session::Predict>& Session::predictions() {
    static const std::map<std::string_view, Predict> all{
        {"xmlUTF8Encode", &Session::encode},
        {"xmlUTF8Decode", &Session::decode},
        {"xmlDOMDocLoadXMLFile", &Session::load_xml_file},
        {"xmlDOMDocGetRootNode", &Session::root_node},
        {"xmlDOMNodeGetRelative", &Session::relative},
        {"xmlDOMNodeGetName", &Session::name},
        {"xmlDOMNodeGetValue", &Session::value},
        {"xmlDOMElementGetAttribute", &Session::get_attribute},
        {"xmlDOMNodeGetType", &Session::type},
        {"xmlDOMNodeSetValue", &Session::set_value},
        {"xmlDOMDocCreateNode", &Session::create_node},
        {"xmlDOMNodeFreeNode", &Session::free_node},
        {"xmlDOMDocFreeDoc", &Session::free_doc},
        {"xmlDOMNodeUnlinkNode", &Session::unlink},
        {"xmlDOMNodeReplaceNode", &Session::replace},
        {"xmlDOMElementGetAttributeNode", &Session::get_attribute_node},
        {"xmlDOMElementSetAttributeNode", &Session::set_attribute_node},
        {"xmlDOMElementRemoveAttributeNode", &Session::remove_attribute_node},
        {"xmlDOMDocSaveXMLFile", &Session::save_xml},
        {"xmlDOMNodeIsBlankNode", &Session::is_blank},
        {"xmlDOMNodeGetFirstAttribute", &Session::first_attribute},
        {"xmlDOMNodeGetNextAttribute", &Session::next_attribute},
        {"xmlDOMNodeSelectNodes", &Session::select},
        {"xmlDOMNodeCloneNode", &Session::clone},
        {"xmlDOMDocValidateDTD", &Session::validate},
        {"xmlDOMDocLoadXMLString", &Session::load_xml_string},
        {"xmlDOMDocCreateDoc", &Session::create_doc},
        {"xmlDOMDocGetEntities", &Session::entities},
        {"xmlDOMDocGetNotations", &Session::notations},
        {"xmlDOMEntityGetProperty", &Session::entity_property},
        {"xmlDOMNotationGetProperty", &Session::notation_property},
        {"xmlDOMDocGetProperty", &Session::get_doc_property},
        {"xmlDOMDoctypeGetProperty", &Session::get_doctype_property},
        {"xmlDOMDocKeepBlanksDefault", &Session::keep_blanks_default},
        {"xmlDOMDocSaveXMLFormatFile", &Session::save_xml_format},
        {"xmlDOMDocCreateNodeNS", &Session::create_node_ns},
        {"xmlDOMNodeGetPropertyNS", &Session::property_ns},
        {"xmlDOMElementGetAttributeNS", &Session::get_attribute_ns},
        {"xmlDOMElementGetAttributeNodeNS", &Session::get_attribute_node_ns},
        {"xmlDOMElementSetAttributeNodeNS", &Session::set_attribute_node_ns},
        {"xmlDOMNodeDumpNode", &Session::dump},
        {"xmlDOMNodeGetOwnerDoc", &Session::owner_doc},
        {"xmlDOMUtilIsLevel1Name", &Session::level1},
        {"xmlDOMUtilIsLevel2Name", &Session::level2},
        {"xmlDOMDoctypeSetProperty", &Session::set_doctype_property},
        {"xmlDOMDocCreateDoctype", &Session::create_doctype},
        {"xmlDOMDocLoadDoctype", &Session::load_doctype},
        {"xmlDOMDocSetExternalDtd", &Session::set_external_dtd},
        {"xmlDOMDocSetProperty", &Session::set_doc_property},
        {"xmlDOMNodeImportNode", &Session::import},
        {"xmlDOMUtilStrReplace", &Session::str_replace},
        {"xmlDOMTextGetLength", &Session::text_length},
        {"xmlDOMAttrGetSpecified", &Session::specified},
        {"xmlDOMAttrIsId", &Session::is_id},
        {"xmlDOMDocGetElementById", &Session::element_by_id},
        {"xmlDOMUtilGetVersion", &Session::version},
        {"xmlDOMNodeAddChild", &Session::add_child},
        {"xmlDOMUtilIsValidXMLName", &Session::valid_name},
        {"xmlXSLTransformFile", &Session::transform},
        {"xmlHTMLDocLoadFile", &Session::load_html_file},
        {"xmlHTMLDocSaveFormatFile", &Session::save_html_format},
        {"xmlHTMLDocLoadString", &Session::load_html_string},
        {"xmlDOMDocGetLastMsg", &Session::get_message},
        {"xmlDOMDocSetLastMsg", &Session::set_message},
    };
    return all;
}

}  // namespace valtrosse::random
