#include "fuzz/random/oracle.hpp"

#include <libxml/HTMLparser.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/valid.h>

#include <libxslt/xsltutils.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace valtrosse::random {

namespace {

void hear_nothing(void*, const char*, ...) {}

/// Reads one document or DTD into the model.
class Reader {
public:
    Reader(Forest& forest, std::uint32_t step) : forest_(forest), step_(step) {}

    Node* document(xmlDoc* doc) {
        Node* const made = node(reinterpret_cast<xmlNode*>(doc));
        made->version = to_text(doc->version);
        made->encoding = to_text(doc->encoding);
        made->url = to_text(doc->URL);
        made->standalone = doc->standalone;
        if (doc->extSubset) {
            made->external_subset = node(reinterpret_cast<xmlNode*>(doc->extSubset));
            made->external_subset->external = true;
        }
        if (doc->intSubset) made->internal_subset = read_[doc->intSubset];
        const auto add = [](void* id, void* self, const xmlChar* name) {
            auto& [reader, document] = *static_cast<std::pair<Reader*, Node*>*>(self);
            document->ids[to_string(name)] = reader->read_[static_cast<xmlID*>(id)->attr];
        };
        std::pair<Reader*, Node*> self{this, made};
        if (doc->ids) xmlHashScan(static_cast<xmlHashTable*>(doc->ids), add, &self);
        for (const auto& [reference, entity] : references_)
            if (const auto found = read_.find(entity); found != read_.end())
                reference->entity = found->second;
        return made;
    }

    Node* node(xmlNode* from) {
        Node* const made = forest_.make(step_, from->type);
        read_[from] = made;
        const bool is_dtd_part = made->is_declaration() || made->is_dtd();
        if (!made->is_document()) made->name = to_string(from->name);
        if (made->is_character_data() || made->is_reference())
            made->content = to_text(from->content);
        if (made->is_element() || made->is_attribute()) made->ns = namespace_of(from->ns);
        if (made->is_reference() && from->children && from->children->type == XML_ENTITY_DECL) {
            references_.emplace_back(made, from->children);
            return made;
        }
        if (is_dtd_part) read_declaration(from, made);
        if (made->is_element()) {
            for (xmlNs* ns = from->nsDef; ns; ns = ns->next) {
                made->declarations.push_back(namespace_of(ns));
            }
            made->ns = namespace_of(from->ns);
            for (xmlAttr* attr = from->properties; attr; attr = attr->next) {
                Node* const child = node(reinterpret_cast<xmlNode*>(attr));
                child->parent = made;
                made->attributes.push_back(child);
            }
        }
        if (made->is_declaration()) return made;
        for (xmlNode* child = from->children; child; child = child->next) {
            Node* const below = node(child);
            below->parent = made;
            made->children.push_back(below);
        }
        return made;
    }

private:
    NamespaceRef namespace_of(xmlNs* ns) {
        if (!ns) return nullptr;
        NamespaceRef& known = namespaces_[ns];
        if (!known)
            known = std::make_shared<Namespace>(
                Namespace{to_text(ns->prefix), to_string(ns->href), false});
        return known;
    }

    static void read_declaration(xmlNode* from, Node* made) {
        if (from->type == XML_DTD_NODE) {
            auto* const dtd = reinterpret_cast<xmlDtd*>(from);
            made->public_id = to_text(dtd->ExternalID);
            made->system_id = to_text(dtd->SystemID);
            const auto add = [](void* payload, void* to, const xmlChar*) {
                const auto* notation = static_cast<const xmlNotation*>(payload);
                static_cast<Node*>(to)->notations.push_back({to_string(notation->name),
                                                             to_text(notation->PublicID),
                                                             to_text(notation->SystemID)});
            };
            if (dtd->notations) xmlHashScan(static_cast<xmlHashTable*>(dtd->notations), add, made);
        } else if (from->type == XML_ATTRIBUTE_DECL) {
            const auto* const attribute = reinterpret_cast<const xmlAttribute*>(from);
            made->declared_for = to_string(attribute->elem);
            made->prefix = to_string(attribute->prefix);
            made->declares_id = attribute->atype == XML_ATTRIBUTE_ID;
            made->declares_tokens = attribute->atype != XML_ATTRIBUTE_CDATA;
            made->default_value = to_text(attribute->defaultValue);
        } else if (from->type == XML_ENTITY_DECL) {
            const auto* const entity = reinterpret_cast<const xmlEntity*>(from);
            made->parameter_entity = entity->etype == XML_INTERNAL_PARAMETER_ENTITY ||
                                     entity->etype == XML_EXTERNAL_PARAMETER_ENTITY;
            made->public_id = to_text(entity->ExternalID);
            made->system_id = to_text(entity->SystemID);
            if (entity->etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY)
                made->notation = to_text(entity->orig ? entity->orig : entity->content);
            made->content = to_text(entity->content);
            xmlChar* const text = xmlNodeListGetString(from->doc, entity->children, 1);
            made->replacement = to_text(text);
            xmlFree(text);
        }
    }

    Forest& forest_;
    std::uint32_t step_;
    std::map<const void*, Node*> read_;
    std::map<xmlNs*, NamespaceRef> namespaces_;
    std::vector<std::pair<Node*, xmlNode*>> references_;
};

xmlParserCtxt* open(const std::string& source, Syntax syntax, bool is_file) {
    const auto size = static_cast<int>(source.size());
    if (syntax == Syntax::xml)
        return is_file ? xmlCreateFileParserCtxt(source.c_str())
                       : xmlCreateMemoryParserCtxt(source.data(), size);
    return is_file ? htmlCreateFileParserCtxt(source.c_str(), nullptr)
                   : htmlCreateMemoryParserCtxt(source.data(), size);
}

void run(xmlParserCtxt* context, Syntax syntax, Parsed& parsed) {
    syntax == Syntax::xml ? xmlParseDocument(context) : htmlParseDocument(context);
    parsed.doc.reset(std::exchange(context->myDoc, nullptr));
    if (syntax == Syntax::xml && !context->wellFormed) parsed.doc = nullptr;
    const xmlParserInputBuffer* const bytes = context->input->buf;
    const bool is_undecoded =
        bytes && (bytes->error == XML_IO_ENCODER || (bytes->raw && xmlBufUse(bytes->raw) > 0));
    if (parsed.doc && is_undecoded) {
        parsed.doc = nullptr;
        parsed.reason =
            "bytes that are none of the document's encoding: it was not read to its end\n";
    }
    // To the parser a zero is the end.
    if (parsed.doc && context->input->cur < context->input->end) {
        parsed.doc = nullptr;
        parsed.reason = "a zero character: the document was not read to its end\n";
    }
    xmlFreeParserCtxt(context);
}

}  // namespace

void silence() {
    xmlSetGenericErrorFunc(nullptr, hear_nothing);
    xsltSetGenericErrorFunc(nullptr, hear_nothing);
}

Parsed parse(const std::string& source, Syntax syntax, bool is_file, bool keep_blanks) {
    Parsed parsed;
    // libxml2 compares the pointer with fprintf, and tells a stream more than other listeners.
    char* said = nullptr;
    std::size_t length = 0;
    std::FILE* const listener = open_memstream(&said, &length);
    auto* const print = reinterpret_cast<void (*)()>(std::fprintf);
    xmlSetGenericErrorFunc(listener, reinterpret_cast<xmlGenericErrorFunc>(print));
    const int before = xmlKeepBlanksDefault(keep_blanks);
    if (xmlParserCtxt* const context = open(source, syntax, is_file)) run(context, syntax, parsed);
    xmlKeepBlanksDefault(before);
    silence();
    std::fclose(listener);
    parsed.message.assign(said, length);
    std::free(said);
    return parsed;
}

Node* to_model(Forest& forest, std::uint32_t step, xmlDoc* doc) {
    return Reader(forest, step).document(doc);
}

Node* to_model(Forest& forest, std::uint32_t step, xmlDtd* dtd) {
    return Reader(forest, step).node(reinterpret_cast<xmlNode*>(dtd));
}

}  // namespace valtrosse::random
