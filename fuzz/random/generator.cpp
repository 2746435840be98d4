#include "fuzz/random/generator.hpp"

#include <algorithm>

namespace valtrosse::random {

namespace {

constexpr std::size_t plenty_of_nodes = 200;

using Words = std::vector<std::string_view>;

const Words names{"a",  "b", "c", "k", "id",  "lang", "item", "a", "b",   "k",
                  "id", "é", "e", "e", "pic", "meta", "x y",  "",  "p:k", "1st"};
const Words qnames{"p:a",  "p:k",      "q:a",    "q:k",     "p:b",     ":a",     ":k",    "p:id",
                   "q:id", "xml:lang", "xml:id", "xmlns:p", "xmlns:q", "xmlns:", "a:b:c", "plain"};
const Words uris{"urn:p", "urn:q", "urn:x", "a<b>\"'\tc"};
const Words contents{"text",  "t",     "i1",         "i2",   "i3",   " i1  i2 ", "",
                     " ",     "\n  ",  "a&b<c>\"'d", "é",    "中文", "a--b",     "]]>",
                     "urn:p", "urn:x", "tail-",      "\x01", "😀"};
const Words encodings{"UTF-8", "ISO-8859-1", "UTF-16LE", "UTF-16BE", "ASCII", "US-ASCII",
                      "HTML",  "utf-8",      "nonsense", "1",        "1.0"};
const Words html_texts{
    "<p>one<p>two<br>three",
    "<html><head><title>t</title></head><body id=i1><a name=i2>link</a></body></html>",
    ("<html><head><meta http-equiv=Content-Type content='text/html; charset=iso-8859-1'></head>"
     "<body><p class=x>&eacute;</p></body></html>"),
    "<p><b>not closed</p><nonsense>",
    "<input checked><table><tr><td>1<td>2</table>",
    "<p> <i> </i> </p>",
    "",
};
const Words malformed{"<a>",    "",           "<a></b>", "<a/><b/>", "<a k='1' k='2'/>",
                      "<p:a/>", "<a>&no;</a>"};
const Words doctypes{
    "<!DOCTYPE a [<!ATTLIST a id ID #IMPLIED lang CDATA \"en\"><!ATTLIST b id ID #IMPLIED>"
    "<!ATTLIST p:a id ID #IMPLIED p:k CDATA \"default\"><!ATTLIST item p:id ID #IMPLIED>]>",
    "<!DOCTYPE a [<!NOTATION gif SYSTEM \"viewer\"><!NOTATION png PUBLIC \"-//png\">"
    "<!NOTATION jpg PUBLIC \"-//jpg\" \"j\"><!ENTITY e \"text of e\"><!ENTITY % pe \"x\">"
    "<!ENTITY pic SYSTEM \"p.gif\" NDATA gif><!ELEMENT a ANY><!ATTLIST a id ID #IMPLIED>]>",
};
const Words tests{"*", "node()", "text()", "comment()", "a",   "b",
                  "k", "id",     "item",   "p:a",       "q:k", "processing-instruction()"};
const Words axes{"child",    "descendant", "attribute",         "parent",
                 "ancestor", "self",       "following-sibling", "preceding-sibling"};

bool suits(const Node* node, Taste taste) {
    const bool free =
        !node->parent && !node->is_document() && !node->external && node->type != XML_NOTATION_NODE;
    switch (taste) {
        case Taste::document:
        case Taste::owner: return node->is_document();
        case Taste::xml_document: return node->type == XML_DOCUMENT_NODE;
        case Taste::html_document: return node->type == XML_HTML_DOCUMENT_NODE;
        case Taste::element: return node->is_element();
        case Taste::attribute:
        case Taste::child_attribute: return node->is_attribute();
        case Taste::attribute_to_link: return node->is_attribute() && free;
        case Taste::node_to_link:
            return free && !node->is_attribute() && node->type != XML_DOCUMENT_FRAG_NODE;
        case Taste::parent:
            return node->is_element() || node->is_document() || node->is_attribute() ||
                   node->is_reference() || node->type == XML_DOCUMENT_FRAG_NODE;
        case Taste::node_to_free:
            return free || node->type == XML_NOTATION_NODE || node->is_document();
        case Taste::copy_source: return !node->is_declaration();
        case Taste::character_data: return node->is_character_data();
        case Taste::text_node: return node->has_text();
        case Taste::dtd: return node->is_dtd();
        case Taste::dtd_to_link: return node->is_dtd() && free;
        case Taste::entity: return node->type == XML_ENTITY_DECL;
        case Taste::notation: return node->type == XML_NOTATION_NODE;
        case Taste::attribute_or_declaration:
            return node->is_attribute() || node->type == XML_ATTRIBUTE_DECL;
        default: return true;
    }
}

Value text_value(std::string_view utf8) {
    return {.kind = Value::Kind::text, .text = host::to_units(utf8)};
}
Value integer_value(std::uint32_t number) {
    return {.kind = Value::Kind::integer, .integer = number};
}
Value object_value(Ref ref) { return {.kind = Value::Kind::object, .object = ref}; }

}  // namespace

// ---- Steps --------------------------------------------------------------------------------------

const FunctionSpec& Generator::choose_function() {
    const auto& all = functions();
    const auto& nodes = session_.forest().nodes();
    if (nodes.empty()) return *find_function("xmlDOMDocLoadXMLString");
    if (nodes.size() > plenty_of_nodes && choices_.chance(30))
        return *find_function(choices_.chance(20) ? "xmlDOMDocFreeDoc" : "xmlDOMNodeFreeNode");
    std::uint32_t total = 0;
    for (const FunctionSpec& spec : all) total += spec.weight;
    std::uint32_t chosen = choices_.below(total);
    for (const FunctionSpec& spec : all) {
        if (chosen < spec.weight) return spec;
        chosen -= spec.weight;
    }
    return all.front();
}

Step Generator::next(std::uint32_t number) {
    const FunctionSpec* spec = &choose_function();
    const bool needs_life = spec->name == release_step || (spec->name.starts_with("LIBXMLLife.") &&
                                                           !spec->name.ends_with(".new"));
    const auto& lives = session_.lives();
    if (needs_life && lives.empty()) spec = find_function("LIBXMLLife.new");

    Step step{number, std::string(spec->name), {}};
    for (const Taste taste : spec->parameters) step.args.push_back(argument(taste, step));
    if (!step.args.empty() && choices_.chance(5)) {
        const std::uint32_t at = choices_.below(static_cast<std::uint32_t>(step.args.size()));
        step.args[at] = wrong(spec->parameters[at]);
    }
    if (needs_life && !lives.empty()) {
        auto life = lives.begin();
        std::advance(life, choices_.below(static_cast<std::uint32_t>(lives.size())));
        step.args.insert(step.args.begin(), object_value(life->first));
    }
    return step;
}

// ---- Arguments ----------------------------------------------------------------------------------

Value Generator::wrong(Taste taste) {
    switch (choices_.below(5)) {
        case 0: return {};
        case 1: return {.kind = Value::Kind::null};
        case 2: return {.kind = Value::Kind::boolean, .integer = 1};
        case 3:
            if (reading_of(taste) != Reading::text) return text_value("text");
            return integer_value(0);
        default:
            if (reading_of(taste) <= Reading::handle_or_zero) return integer_value(0);
            return integer_value(choices_.chance(50) ? 7 : 0xFFFFFFFF);
    }
}

Value Generator::argument(Taste taste, const Step& so_far) {
    using enum Taste;
    switch (reading_of(taste)) {
        case Reading::handle:
        case Reading::handle_or_zero: return handle(taste, so_far);
        case Reading::text: return text(taste, so_far);
        case Reading::bytes: {
            Value value{.kind = Value::Kind::bytes};
            for (std::uint32_t i = choices_.below(20); i > 0; --i)
                value.bytes.push_back(static_cast<std::uint8_t>(
                    choices_.chance(60) ? choices_.below(128) : choices_.below(256)));
            return value;
        }
        default: break;
    }
    static constexpr std::uint32_t types[]{1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 5, 7, 8, 11, 6};
    switch (taste) {
        case position: return integer_value(choices_.chance(50) ? 0 : choices_.below(4));
        case node_type: return integer_value(choices_.pick(types));
        case ns_node_type: return integer_value(choices_.chance(97) ? 1 + choices_.below(2) : 3);
        case keep_blanks:
        case format:
        case strict_flag: return integer_value(choices_.chance(95) ? choices_.below(2) : 2);
        case relative: return integer_value(choices_.below(6));
        default: return integer_value(choices_.below(5));
    }
}

Value Generator::handle(Taste taste, const Step& so_far) {
    if (session_.knows_handles() && choices_.chance(4)) return no_handle();
    if (taste == Taste::message_node && choices_.chance(30)) return integer_value(0);
    if (taste == Taste::owner && choices_.chance(3)) return integer_value(4097);
    if (taste == Taste::parent && choices_.chance(60)) taste = Taste::element;
    std::vector<const Node*> candidates;
    const bool picky = !choices_.chance(4);
    for (const auto& [id, node] : session_.forest().nodes())
        if (!picky || suits(node.get(), taste)) candidates.push_back(node.get());
    if (candidates.empty())
        for (const auto& [id, node] : session_.forest().nodes()) candidates.push_back(node.get());
    if (candidates.empty()) return integer_value(0);
    // An attribute of the element chosen before, and a node that must come from elsewhere.
    if (taste == Taste::child_attribute && picky) {
        const Node* const element = first_node(so_far);
        if (element && !element->attributes.empty() && choices_.chance(80))
            return object_value(choices_.pick(element->attributes)->id);
    }
    // Often an attribute that is to take the place of another.
    if (taste == Taste::attribute_to_link && first_node(so_far) && choices_.chance(50)) {
        std::vector<const Node*> replacing;
        for (const Node* candidate : candidates)
            for (const Node* attr : first_node(so_far)->attributes)
                if (attr->name == candidate->name && !attr->ns == !candidate->ns)
                    replacing.push_back(candidate);
        if (!replacing.empty()) return object_value(choices_.pick(replacing)->id);
    }
    if (taste == Taste::node_to_link && choices_.chance(25))
        return handle(Taste::node, so_far);  // one that still hangs somewhere
    return object_value(choices_.pick(candidates)->id);
}

/// A handle that has ended, or a number that never was one.
Value Generator::no_handle() {
    const auto& ended = session_.ended();
    if (!ended.empty() && choices_.chance(60)) {
        auto object = ended.begin();
        std::advance(object, choices_.below(static_cast<std::uint32_t>(ended.size())));
        return object_value(object->first);
    }
    std::uint32_t number = choices_.below(0x10000) << 16 | choices_.below(0x10000);
    if (choices_.chance(30)) number = choices_.below(100);
    // One bit off a handle, live or not.
    if (!ended.empty() && choices_.chance(50))
        number = ended.rbegin()->second ^ 1U << choices_.below(32);
    return integer_value(number);
}

/// The element that was chosen as the first argument, if one was.
const Node* Generator::first_node(const Step& so_far) const {
    if (so_far.args.empty() || so_far.args[0].kind != Value::Kind::object) return nullptr;
    const Node* const node = session_.forest().at(so_far.args[0].object);
    return node && node->is_element() ? node : nullptr;
}

Value Generator::text(Taste taste, const Step& so_far) {
    using enum Taste;
    const auto integer_at = [&](std::size_t i) {
        return i < so_far.args.size() ? so_far.args[i].integer : 0;
    };
    switch (taste) {
        case xml: return text_value(xml_text());
        case html: return text_value(choices_.pick(html_texts));
        case Taste::version: return text_value(choices_.chance(80) ? "1.0" : "1.1");
        case name: {
            const Node* const node = first_node(so_far);
            if (node && !node->attributes.empty() && choices_.chance(60))
                return text_value(choices_.pick(node->attributes)->name);
            return text_value(choices_.pick(names));
        }
        case qname: return text_value(choices_.pick(qnames));
        case uri: {
            const Node* const node = first_node(so_far);
            if (node && !node->attributes.empty() && choices_.chance(70))
                for (const Node* attr : node->attributes)
                    if (attr->ns) return text_value(attr->ns->uri);
            const std::u16string qname_text = so_far.args.size() > 2 ? so_far.args[2].text : u"";
            if (qname_text.starts_with(u"xml:") && choices_.chance(90))
                return text_value("http://www.w3.org/XML/1998/namespace");
            if (qname_text.starts_with(u"xmlns:") && choices_.chance(90))
                return text_value("http://www.w3.org/2000/xmlns/");
            return text_value(choices_.pick(uris));
        }
        case content: {
            const std::uint32_t type = integer_at(1);
            const bool is_name = type == 1 || type == 2 || type == 5 || type == 7;
            if (so_far.function == "xmlDOMDocCreateNode" && is_name)
                return text_value(choices_.pick(names));
            if (choices_.chance(2)) return text_value(std::string(300, 'x'));
            return text_value(choices_.pick(contents));
        }
        case id_value: return text_value("i" + std::to_string(1 + choices_.below(3)));
        case Taste::xpath: return text_value(this->xpath());
        case encoding: return text_value(choices_.pick(encodings));
        case xml_path: return text_value(choices_.pick(Words{"$/a.xml", "$/b.xml", "$/no/a.xml"}));
        case html_path: return text_value(choices_.pick(Words{"$/a.html", "$/no/a.html"}));
        case dtd_path: return text_value(choices_.chance(80) ? "$/a.dtd" : "$/no.dtd");
        case xslt_input:
            return text_value(
                choices_.pick(Words{"$/in.xml", "$/in.xml", "$/bad.xml", "$/no/in.xml"}));
        case stylesheet:
            return text_value(
                choices_.pick(Words{"$/copy.xsl", "$/copy.xsl", "$/bad.xsl", "$/no.xsl"}));
        case short_text: return text_value(choices_.pick(Words{"", "a", "t", "text", "é", "aa"}));
        default: break;
    }
    // Any units, surrogates among them, for what does not go into a tree.
    std::u16string units;
    for (std::uint32_t i = choices_.below(40); i > 0; --i)
        units += static_cast<char16_t>(choices_.chance(80) ? 'a' + choices_.below(3)
                                                           : 1 + choices_.below(0xFFFF));
    return {.kind = Value::Kind::text, .text = units};
}

// ---- Texts --------------------------------------------------------------------------------------

std::string Generator::xpath() {
    if (choices_.chance(15)) return "id('i" + std::to_string(1 + choices_.below(3)) + "')";
    if (choices_.chance(5))
        return std::string(
            choices_.pick(Words{"count(*)", "1 + 1", "((", "''", "no(", "string()"}));
    return std::string(choices_.pick(axes)) + "::" + std::string(choices_.pick(tests));
}

void Generator::xml_element(std::string& out, int depth) {
    static const Words elements{"a", "b", "c", "item", "p:a", "q:b"};
    const std::string name(choices_.pick(elements));
    out += "<" + name;
    if (name[0] == 'p' || choices_.chance(15)) out += " xmlns:p='urn:p'";
    if (name[0] == 'q' || choices_.chance(10))
        out += choices_.chance(50) ? " xmlns:q='urn:q'" : " xmlns:q='urn:x'";
    if (choices_.chance(10)) out += " xmlns='urn:x'";
    if (choices_.chance(50)) out += " id='i" + std::to_string(1 + choices_.below(3)) + "'";
    if (choices_.chance(20)) out += " k='v &amp; w'";
    if (choices_.chance(10)) out += " xml:lang='en'";
    if (choices_.chance(7)) out += " xml:id='i" + std::to_string(1 + choices_.below(3)) + "'";
    if (name[0] == 'p' && choices_.chance(40)) out += " p:k='pk'";
    out += ">";
    for (std::uint32_t i = choices_.below(depth > 0 ? 5 : 2); i > 0; --i) {
        switch (choices_.below(depth > 0 ? 9 : 5)) {
            case 0: out += "text &lt;" + std::to_string(i); break;
            case 1: out += "<!--comment-->"; break;
            case 2: out += "<![CDATA[<cdata>]]>"; break;
            case 3: out += "<?target data?>"; break;
            case 4: out += "\n  "; break;
            default: xml_element(out, depth - 1);
        }
    }
    out += "</" + name + ">";
}

std::string Generator::xml_text() {
    if (choices_.chance(8)) return std::string(choices_.pick(malformed));
    std::string out;
    if (choices_.chance(15)) out += "<?xml version='1.0' standalone='yes'?>";
    if (choices_.chance(15)) out += "<!--before-->";
    const std::string_view doctype = choices_.chance(30) ? "" : choices_.pick(doctypes);
    out += doctype;
    if (doctype.find("ENTITY e") != std::string_view::npos) {
        std::string inner;
        xml_element(inner, 1);
        return out + "<a k='with &e;'>&e;" + inner + (choices_.chance(50) ? "&e;" : "") + "</a>";
    }
    xml_element(out, 2);
    if (choices_.chance(15)) out += "<?after it?>";
    return out;
}

}  // namespace valtrosse::random
