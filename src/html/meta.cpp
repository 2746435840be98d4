#include "html/meta.hpp"

#include "dom/node/tree.hpp"

namespace valtrosse {
namespace {

bool is_named(const xmlChar* name, const char* wanted) {
    return xmlStrcasecmp(name, reinterpret_cast<const xmlChar*>(wanted)) == 0;
}

xmlNode* first_element(xmlNode* siblings, const char* name) {
    while (siblings && !(is_element(siblings) && is_named(siblings->name, name)))
        siblings = siblings->next;
    return siblings;
}

const xmlChar* single_text(const xmlAttr* attr) {
    const xmlNode* const text = attr->children;
    return text && text->type == XML_TEXT_NODE && !text->next ? text->content : nullptr;
}

/// The content attribute of a meta element that names the content type; null for another element. The
/// writer also reads one that is in a namespace or in capitals, but this is the one it sets.
xmlAttr* content_type(const xmlNode* meta) {
    xmlAttr* content = nullptr;
    bool names_type = false;
    for (xmlAttr* attr = meta->properties; attr; attr = attr->next) {
        const xmlChar* const value = single_text(attr);
        if (!value) continue;
        if (is_named(attr->name, "http-equiv") && is_named(value, "Content-Type"))
            names_type = true;
        else if (!attr->ns && xmlStrEqual(attr->name, reinterpret_cast<const xmlChar*>("content")))
            content = attr;
    }
    return names_type ? content : nullptr;
}

void put(xmlAttr* attr, xmlNode* text) {
    attr->children = attr->last = text;
    text->parent = as_node(attr);
}

}  // namespace

KeptMetaContent::KeptMetaContent(xmlDoc* doc) : doc_(doc) {
    keep_first_of(doc->children);
    xmlNode* const html = first_element(doc->children, "html");
    xmlNode* const head = first_element(html ? html->children : doc->children, "head");
    places_[0] = {html, html ? html->children : nullptr};
    places_[1] = {head, head ? head->children : nullptr};
    for (const Place& place : places_) keep_first_of(place.first);
}

KeptMetaContent::~KeptMetaContent() {
    while (count_ > 0) {
        const Kept& kept = kept_[--count_];
        xmlNode* const written = kept.content->children;
        if (!is_taken_back_ && written && !xmlStrEqual(written->content, kept.text->content))
            xmlNodeSetContent(kept.text, written->content);
        xmlFreeNodeList(written);
        put(kept.content, kept.text);
    }
    for (const Place& place : places_) {
        xmlNode* const made = place.parent ? place.parent->children : nullptr;
        if (!is_taken_back_ || made == place.first) continue;
        xmlUnlinkNode(made);
        xmlSetTreeDoc(made, doc_);  // in a clone it has none, and its name is the dictionary's
        xmlFreeNode(made);
    }
}

void KeptMetaContent::keep_first_of(xmlNode* siblings) {
    for (xmlNode* meta = first_element(siblings, "meta"); meta;
         meta = first_element(meta->next, "meta")) {
        xmlAttr* const content = content_type(meta);
        if (!content) continue;
        xmlNode* const text = content->children;
        xmlNode* const copy = xmlNewDocText(text->doc, text->content);
        ready_ = ready_ && copy;
        if (!copy) return;
        put(content, copy);
        kept_[count_++] = {content, text};
        return;
    }
}

}  // namespace valtrosse
