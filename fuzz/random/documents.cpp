// What the functions on documents and DTDs are to give.
#include <libxml/encoding.h>
#include <libxml/parser.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <regex>
#include <set>

#include "fuzz/random/check.hpp"
#include "fuzz/random/oracle.hpp"
#include "fuzz/random/session.hpp"

namespace valtrosse::random {

namespace {

bool belongs_to_document(const Node* dtd) { return dtd->parent || dtd->external; }

bool is_same_word(const std::string& text, const char* word) {
    return xmlStrcasecmp(to_xml(text), to_xml(word)) == 0;
}

/// A message as it comes back: U+FFFD where something cannot cross.
std::u16string message_text(const std::string& bytes) {
    if (bytes.size() > 4998) return {};
    std::u16string units;
    if (decode_bytes(bytes, units) == 0) return units;
    units.clear();
    bool is_second = false;
    for (const char16_t unit : host::to_units(bytes)) {
        if (!is_second) units += unit >= 0xD800 && unit < 0xDC00 ? u'\uFFFD' : unit;
        is_second = !is_second && unit >= 0xD800 && unit < 0xDC00;
    }
    return units;
}

}  // namespace

// ---- Documents ----------------------------------------------------------------------------------

Expected Session::load(const Args& args, bool html, bool is_file) {
    if (args.integers[1] > 1) return none();
    Parsed parsed =
        parse(args.texts[0], html ? Syntax::html : Syntax::xml, is_file, args.integers[1] == 1);
    if (!parsed.doc) {
        if (!(parsed.message + parsed.reason).empty())
            messages_[0] = message_text(parsed.message) + host::to_units(parsed.reason);
        return none();
    }
    Expected expected = created(to_model(forest_, step_, parsed.doc.get()));
    const auto name_owner = [](Node* root, Address owner) {
        for_subtree(root, [owner](Node* node) { node->owner = owner; });
    };
    expected.then = [this, document = expected.node, message = parsed.message, name_owner] {
        name_owner(document, document->address);
        if (document->external_subset) name_owner(document->external_subset, document->address);
        if (!message.empty()) messages_[document->address] = message_text(message);
    };
    return expected;
}

Expected Session::create_doc(const Args& args) {
    Expected expected = created(forest_.make(step_, XML_DOCUMENT_NODE));
    expected.node->version = args.texts[0];
    expected.then = [document = expected.node] { document->owner = document->address; };
    return expected;
}

Expected Session::root_node(const Args& args) {
    if (!args.nodes[0]->is_document()) return none();
    for (Node* child : args.nodes[0]->children)
        if (child->is_element()) return node_or_none(child);
    return none();
}

Expected Session::free_doc(const Args& args) {
    if (!args.nodes[0]->is_document()) return none();
    end_tree(args.nodes[0]);
    return integer(0);
}

Expected Session::keep_blanks_default(const Args& args) {
    return args.integers[0] > 1 ? none() : integer(0);
}

Expected Session::element_by_id(const Args& args) {
    Node* const document = args.nodes[0];
    if (!document->is_document() || !document->internal_subset) return none();
    Node* found = nullptr;
    for_subtree(document, [&](Node* node) {
        if (found || !node->is_element()) return;
        for (const Node* attr : node->attributes) {
            const auto first =
                std::find_if(node->attributes.begin(), node->attributes.end(),
                             [&](const Node* other) { return other->name == attr->name; });
            if (forest_.is_declared_id(document, node, attr, true) &&
                forest_.attribute_value(*first) == args.texts[1])
                found = node;
        }
    });
    return node_or_none(found);
}

// ---- Files --------------------------------------------------------------------------------------

bool Session::can_write(const std::string& path) const {
    return std::filesystem::is_directory(std::filesystem::path(path).parent_path());
}

namespace {

/// Also those of names and comments, which cannot be references.
bool keeps_all_characters(const std::string& encoding) { return encoding == "UTF-8"; }

/// What a file in this encoding holds without references and with them; two surrogates are a character in
/// UTF-16.
struct Repertoire {
    Repertoire(std::string_view encoding, bool html)
        : limit(encoding == "ISO-8859-1"                                              ? 0xFF
                : encoding == "ASCII" || encoding == "US-ASCII" || encoding == "HTML" ? 0x7F
                                                                                      : 0x10FFFF),
          has_pairs(encoding.starts_with("UTF-16") && !html) {}

    bool holds(const Text& text, bool has_references) const {
        const std::string bytes = text.value_or("");
        bool is_second_due = false;
        for (std::size_t i = 0; i < bytes.size();) {
            int length = static_cast<int>(bytes.size() - i);
            const int read = xmlGetUTF8Char(to_xml(bytes) + i, &length);
            if (read < 0) return false;
            i += static_cast<std::size_t>(length);
            const auto character = static_cast<unsigned>(read);
            const bool is_first = character >= 0xD800 && character < 0xDC00;
            const bool is_second = character >= 0xDC00 && character < 0xE000;
            if (is_second != is_second_due) return false;
            is_second_due = is_first && has_pairs;
            if (is_first || is_second) {
                if (!has_pairs) return false;
                continue;
            }
            const bool is_character =
                character >= 0x20 ? character != 0xFFFE && character != 0xFFFF
                                  : character == '\t' || character == '\n' || character == '\r';
            if (!is_character || (!has_references && character > limit)) return false;
        }
        return !is_second_due;
    }

    unsigned limit;
    bool has_pairs;
};

bool holds(const Repertoire& repertoire, bool html, const Node* node) {
    const auto raw = [&](const Text& text) { return repertoire.holds(text, false); };
    const auto referable = [&](const Text& text) { return repertoire.holds(text, true); };
    const auto name = [&] { return raw(node->name) && raw(node->ns ? node->ns->prefix : Text()); };
    switch (node->type) {
        case XML_DOCUMENT_NODE: return raw(node->version);
        case XML_ELEMENT_NODE:
            for (const NamespaceRef& ns : node->declarations)
                if (!raw(ns->prefix) || !referable(ns->uri)) return false;
            return name();
        case XML_ATTRIBUTE_NODE: return name();
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE: {
            const bool is_source =
                html && (node->parent->name == "script" || node->parent->name == "style");
            return (html ? !is_source : node->is_text()) ? referable(node->content)
                                                         : raw(node->content);
        }
        case XML_COMMENT_NODE: return raw(node->content);
        case XML_PI_NODE: return raw(node->name) && raw(node->content);
        case XML_ENTITY_REF_NODE: return raw(node->name);
        case XML_DTD_NODE: return raw(node->name) && raw(node->public_id) && raw(node->system_id);
        default: return true;
    }
}

/// What is not ASCII in the generator's words are letters.
bool is_name(const Text& text) {
    const auto starts = [](char c) {
        return std::isalpha(static_cast<unsigned char>(c)) || c == '_' || c == ':' || c < 0;
    };
    return text && !text->empty() && starts(text->front()) &&
           std::all_of(text->begin(), text->end(), [&](char c) {
               return starts(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
           });
}

/// Whether each attribute and declaration of an element is written with another name.
bool are_written_apart(const Node* element) {
    std::set<std::string> names;
    for (const NamespaceRef& ns : element->declarations)
        names.insert(ns->prefix ? "xmlns:" + *ns->prefix : "xmlns");
    return std::all_of(
        element->attributes.begin(), element->attributes.end(),
        [&](const Node* attr) { return names.insert(attr->qualified_name()).second; });
}

/// Whether XML has markup for a node, whatever its characters.
bool has_markup(const Node* node) {
    const auto contains = [](const Text& text, const char* part) {
        return text && text->find(part) != text->npos;
    };
    const auto is_name_or_none = [](const Text& text) { return !text || is_name(text); };
    const bool has_names =
        is_name(node->name) && is_name_or_none(node->ns ? node->ns->prefix : Text());
    const auto is_public = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) ||
               std::strchr(" \r\n-'()+,./:=?;!*#@$_%", c);
    };
    switch (node->type) {
        case XML_DOCUMENT_NODE: {
            static const std::regex version("[0-9]\\.[0-9]*");
            return !node->version || std::regex_match(*node->version, version);
        }
        case XML_ELEMENT_NODE:
            for (const NamespaceRef& ns : node->declarations)
                if (!is_name_or_none(ns->prefix)) return false;
            return has_names && are_written_apart(node);
        case XML_ATTRIBUTE_NODE:
        case XML_ENTITY_REF_NODE: return has_names;
        case XML_COMMENT_NODE:
            return !contains(node->content, "--") &&
                   !(node->content && node->content->ends_with('-'));
        case XML_PI_NODE: return has_names && node->name != "xml" && !contains(node->content, "?>");
        case XML_DTD_NODE:
            return has_names &&
                   !(contains(node->system_id, "\"") && contains(node->system_id, "'")) &&
                   (!node->public_id ||
                    std::all_of(node->public_id->begin(), node->public_id->end(), is_public));
        default: return true;
    }
}

/// `except` and what hangs below it is left out.
bool holds_all(const Repertoire& repertoire, bool html, const Node* node, const Node* except) {
    if (node == except) return true;
    const auto below = [&](const std::vector<Node*>& nodes) {
        return std::all_of(nodes.begin(), nodes.end(), [&](const Node* child) {
            return holds_all(repertoire, html, child, except);
        });
    };
    // What hangs below a reference is in no file, and the DTDs of the generator are ASCII.
    if (!holds(repertoire, html, node) || (!html && !has_markup(node))) return false;
    return node->is_reference() || node->is_dtd() ||
           (below(node->attributes) && below(node->children));
}

/// The content attribute of an element that names the content type; null for another element.
const Node* content_type_of(const Node* meta) {
    const Node* content = nullptr;
    bool names_type = false;
    for (const Node* attr : meta->attributes) {
        if (attr->children.size() != 1 || !attr->children.front()->is_text()) continue;
        const std::string value = attr->children.front()->content.value_or("");
        if (is_same_word(attr->name, "http-equiv") && is_same_word(value, "Content-Type"))
            names_type = true;
        else if (is_same_word(attr->name, "content"))
            content = attr;
        if (names_type && content) return content;
    }
    return nullptr;
}

/// The attribute that the HTML writer gives another text before it writes; null where there is none. It
/// looks in the head or, where there is a meta element before that, around this one.
const Node* set_by_html_writer(const Node* document, const std::string& encoding) {
    const auto place_of = [](const Node* parent, std::initializer_list<const char*> names) {
        return std::find_if(
            parent->children.begin(), parent->children.end(), [&](const Node* child) {
                return child->is_element() &&
                       std::any_of(names.begin(), names.end(), [child](const char* name) {
                           return is_same_word(child->name, name);
                       });
            });
    };
    const Node* parent = document;
    auto place = place_of(parent, {"html", "head", "meta"});
    for (const char* const name : {"html", "head"}) {
        if (place == parent->children.end() || !is_same_word((*place)->name, name)) continue;
        parent = *place;
        place = is_same_word(name, "html") ? place_of(parent, {"head", "meta"})
                                           : parent->children.begin();
    }
    for (; place != parent->children.end(); ++place) {
        if (!(*place)->is_element() || !is_same_word((*place)->name, "meta")) continue;
        const Node* const content = content_type_of(*place);
        if (!content) continue;
        const std::string value = content->children.front()->content.value_or("");
        const bool stays = xmlStrcasestr(to_xml(value), to_xml(encoding)) != nullptr;
        return stays || content->ns ? nullptr : content;
    }
    return nullptr;
}

const std::string accepted_encodings[] = {"UTF-8", "UTF-16LE", "UTF-16BE", "ISO-8859-1",
                                          "ASCII", "US-ASCII", "HTML"};

/// Stands for a message that says what cannot be written.
const std::u16string not_written = u"\uFFFF";

}  // namespace

bool Session::refuses_to_write(const Node* document, const std::string& encoding,
                               const Node* except) {
    const bool html = document->type == XML_HTML_DOCUMENT_NODE;
    if (holds_all(Repertoire(encoding, html), html, document, except)) return false;
    messages_[document->owner] = not_written;
    return true;
}

void Session::read_back(Node* document, const std::string& path) {
    if (!can_round_trip(forest_, document)) return;
    if (coverage_) ++coverage_->round_trips;
    check_round_trip(forest_, document, path, true);
}

Expected Session::save_xml(const Args& args) {
    Node* const document = args.nodes[0];
    if (document->type != XML_DOCUMENT_NODE) return none();
    std::string encoding = "UTF-8";
    if (document->encoding) {
        const auto* const handler = xmlFindCharEncodingHandler(document->encoding->c_str());
        if (!handler) return none();
        encoding = handler->name;
    }
    if (refuses_to_write(document, encoding) || !can_write(args.texts[1])) return none();
    Expected expected = node_or_none(document);
    if (keeps_all_characters(document->encoding.value_or("UTF-8")))
        expected.then = [this, document, path = args.texts[1]] { read_back(document, path); };
    return expected;
}

Expected Session::save_xml_format(const Args& args) {
    Node* const document = args.nodes[0];
    if (document->type != XML_DOCUMENT_NODE) return none();
    forest_.normalise(document);
    if (refuses_to_write(document, args.texts[2]) || !can_write(args.texts[1])) return none();
    Expected expected = integer(0);
    if (args.integers[3] == 0 && keeps_all_characters(args.texts[2]))
        expected.then = [this, document, path = args.texts[1]] { read_back(document, path); };
    return expected;
}

Expected Session::save_html_format(const Args& args) {
    Node* const document = args.nodes[0];
    if (document->type != XML_HTML_DOCUMENT_NODE) return none();
    forest_.normalise(document);
    const auto* const accepted =
        std::find(std::begin(accepted_encodings), std::end(accepted_encodings), args.texts[2]);
    const bool is_accepted = accepted != std::end(accepted_encodings);
    const std::string& named = args.texts[2];
    const Node* const set =
        named == "HTML" ? nullptr : set_by_html_writer(document, is_accepted ? named : "UTF-8");
    if (refuses_to_write(document, is_accepted ? named : "HTML", set) || !can_write(args.texts[1]))
        return none();
    Expected expected = integer(0);
    expected.then = [this, document] { absorb_meta(document); };
    return expected;
}

/// The HTML writer may have set the text of a meta element, or placed a new one into the head.
void Session::absorb_meta(Node* document) {
    for_subtree(document, [this](Node* head) {
        if (!head->is_element()) return;
        const xmlNode* const first = real_node(head)->children;
        const bool is_new =
            first && !forest_.by_address(address_of(first)) && to_string(first->name) == "meta";
        if (is_new) {
            const OwnedDoc copy(xmlNewDoc(nullptr));
            xmlNode* const root = xmlDocCopyNode(const_cast<xmlNode*>(first), copy.get(), 1);
            xmlDocSetRootElement(copy.get(), root);
            Node* const holder = to_model(forest_, step_, copy.get());
            Node* const meta = holder->children.front();
            holder->children.clear();
            meta->parent = head;
            head->children.insert(head->children.begin(), meta);
            for_subtree(meta, [head](Node* node) { node->owner = head->owner; });
            forest_.end(holder);
            bind(forest_, meta, first);
        }
        if (head->name != "meta") return;
        for (Node* attr : head->attributes)
            for (Node* part : attr->children)
                if (part->is_text()) part->content = to_text(real_node(part)->content);
    });
}

Expected Session::transform(const Args& args) {
    const bool works =
        args.units[0] == u"$/in.xml" && args.units[1] == u"$/copy.xsl" && can_write(args.texts[2]);
    if (!works) return none();
    return {.kind = Expected::Kind::file_size, .path = args.texts[2]};
}

// ---- Messages -----------------------------------------------------------------------------------

Expected Session::get_message(const Args& args) {
    const auto found = messages_.find(args.nodes[0] ? args.nodes[0]->owner : 0);
    if (found == messages_.end()) return none();
    if (found->second == not_written) return {.kind = Expected::Kind::some_text};
    return {.kind = Expected::Kind::text, .text = found->second};
}

Expected Session::set_message(const Args& args) {
    messages_[args.nodes[0] ? args.nodes[0]->owner : 0] = args.units[1];
    return integer(0);
}

// ---- Properties ---------------------------------------------------------------------------------

Expected Session::get_doc_property(const Args& args) {
    const Node* const document = args.nodes[0];
    if (!document->is_document()) return none();
    switch (args.integers[1]) {
        case 0: return text(document->version);
        case 1: return text(document->encoding);
        case 2:
            if (document->standalone != 0 && document->standalone != 1) return none();
            return text(std::to_string(document->standalone));
        case 3: return text(document->url);
        default: return none();
    }
}

Expected Session::set_doc_property(const Args& args) {
    Node* const document = args.nodes[0];
    if (!document->is_document() || args.integers[1] > 3) return none();
    if (args.integers[1] == 2) {
        document->standalone = args.texts[2] == "1";
        return integer(0);
    }
    Text* const fields[] = {&document->version, &document->encoding, nullptr, &document->url};
    *fields[args.integers[1]] = args.texts[2];
    return integer(0);
}

Expected Session::get_doctype_property(const Args& args) {
    const Node* const dtd = args.nodes[0];
    if (!dtd->is_dtd() || args.integers[1] > 1) return none();
    return text(args.integers[1] == 0 ? dtd->public_id : dtd->system_id);
}

Expected Session::set_doctype_property(const Args& args) {
    Node* const dtd = args.nodes[0];
    if (!dtd->is_dtd() || args.integers[1] > 2) return none();
    if (args.integers[1] == 2)
        dtd->name = args.texts[2];
    else
        (args.integers[1] == 0 ? dtd->public_id : dtd->system_id) = args.texts[2];
    return integer(0);
}

// ---- DTDs ---------------------------------------------------------------------------------------

Expected Session::validate(const Args& args) {
    Node* const document = args.nodes[0];
    if (!document->is_document()) return none();
    Expected expected{.kind = Expected::Kind::some_text};
    if (document->ids.empty())
        expected.then = [this, document] { take_over_ids(forest_, document); };
    return expected;
}

Expected Session::create_doctype(const Args& args) {
    Expected expected = created(forest_.make(step_, XML_DTD_NODE));
    expected.node->name = args.texts[0];
    return expected;
}

Expected Session::load_doctype(const Args& args) {
    const xmlChar* const public_id = args.texts[0].empty() ? nullptr : to_xml(args.texts[0]);
    const OwnedDtd dtd(xmlParseDTD(public_id, to_xml(args.texts[1])));
    return dtd ? created(to_model(forest_, step_, dtd.get())) : none();
}

Expected Session::set_external_dtd(const Args& args) {
    Node* const document = args.nodes[0];
    Node* const dtd = args.nodes[1];
    if (document->type != XML_DOCUMENT_NODE || !dtd->is_dtd()) return none();
    if (document->internal_subset || belongs_to_document(dtd)) return none();
    const auto& children = document->children;
    if (std::any_of(children.begin(), children.end(), [](const Node* n) { return n->is_dtd(); }))
        return none();
    const auto element = std::find_if(children.begin(), children.end(),
                                      [](const Node* node) { return node->is_element(); });
    forest_.make_subset(document, dtd, static_cast<std::size_t>(element - children.begin()));
    return integer(0);
}

namespace {

const Node* dtd_of(const Node* node) {
    if (!node->is_document()) return nullptr;
    for (const Node* child : node->children)
        if (child->is_dtd()) return child;
    return nullptr;
}

}  // namespace

Expected Session::entities(const Args& args) {
    const Node* const dtd = dtd_of(args.nodes[0]);
    if (!dtd) return none();
    Expected expected{.kind = Expected::Kind::set};
    for (Node* child : dtd->children)
        if (child->type == XML_ENTITY_DECL && !child->parameter_entity)
            expected.nodes.push_back(child);
    return expected;
}

Expected Session::notations(const Args& args) {
    const Node* const dtd = dtd_of(args.nodes[0]);
    if (!dtd || dtd->notations.empty()) return none();
    Expected expected{.kind = Expected::Kind::notations};
    for (const Notation& notation : dtd->notations) {
        Node* const record = forest_.make(step_, XML_NOTATION_NODE);
        record->name = notation.name;
        record->public_id = notation.public_id;
        record->system_id = notation.system_id;
        expected.nodes.push_back(record);
    }
    return expected;
}

Expected Session::entity_property(const Args& args) {
    const Node* const entity = args.nodes[0];
    if (entity->type != XML_ENTITY_DECL || args.integers[1] > 2) return none();
    const Text* const fields[] = {&entity->public_id, &entity->system_id, &entity->notation};
    return text(*fields[args.integers[1]]);
}

Expected Session::notation_property(const Args& args) {
    const Node* const record = args.nodes[0];
    if (record->type != XML_NOTATION_NODE || args.integers[1] > 1) return none();
    return text(args.integers[1] == 0 ? record->public_id : record->system_id);
}

}  // namespace valtrosse::random
