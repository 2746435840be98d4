// Entities and notations that a document's DTD declares.
#include "dom/attr/entities.hpp"

#include <libxml/hash.h>
#include <libxml/parser.h>

#include <cstring>

#include "dom/node/free.hpp"
#include "dom/node/handle_list.hpp"
#include "dom/node/tree.hpp"
#include "utf8/text.hpp"

void _x_xmlDumpEntity(void*, void* buffer, const xmlChar* name) {
    xmlBufferWriteCHAR(static_cast<xmlBuffer*>(buffer), name);
    xmlBufferWriteChar(static_cast<xmlBuffer*>(buffer), " ");
}

void _x_xmlDumpDtdEntities(xmlBuffer* buffer, xmlEntitiesTable* table) {
    xmlHashScan(table, _x_xmlDumpEntity, buffer);
}

namespace {

/// A copy of text in out, absent for absent text. False without memory.
bool copy_string(const xmlChar* text, const xmlChar*& out) {
    out = xmlStrdup(text);
    return out || !text;
}

}  // namespace

void _x_xmlDumpNotation(void* payload, void* data, const xmlChar*) {
    const auto* const notation = static_cast<const xmlNotation*>(payload);
    auto** const head = static_cast<xmlEntity**>(data);
    auto* const record = static_cast<xmlEntity*>(xmlMalloc(sizeof(xmlEntity)));
    if (!record) return;
    std::memset(record, 0, sizeof *record);
    record->type = XML_NOTATION_NODE;
    if (!copy_string(notation->name, record->name) ||
        !copy_string(notation->PublicID, record->ExternalID) ||
        !copy_string(notation->SystemID, record->SystemID)) {
        _x_freeNode(reinterpret_cast<xmlNode*>(record));
        return;
    }
    if (*head) {
        record->children = reinterpret_cast<xmlNode*>(*head);
        (*head)->parent = reinterpret_cast<xmlDtd*>(record);
    }
    *head = record;
}

namespace valtrosse {
namespace {

/// The first DTD among a document's children: the internal subset. Null for another node and without.
xmlDtd* dtd_of(const xmlNode* node) {
    if (!is_document(node)) return nullptr;
    xmlNode* child = node->children;
    while (child && child->type != XML_DTD_NODE) child = child->next;
    return reinterpret_cast<xmlDtd*>(child);
}

/// The general entities that the internal subset of a document declares, as a handle list of their
/// declarations, which stay the DTD's. No value without a DTD.
Result entities(Call& call, xmlNode* node) {
    const xmlDtd* const dtd = dtd_of(node);
    if (!dtd) return no_value;
    auto* const table = static_cast<xmlHashTable*>(dtd->entities);
    const int count = xmlHashSize(table);  // -1 without a table
    HandleList list(call, count > 0 ? static_cast<std::uint32_t>(count) : 0);
    if (list.failed()) return list.failure();
    const auto add = [](void* entity, void* to, const xmlChar*) {
        static_cast<HandleList*>(to)->add(entity);
    };
    xmlHashScan(table, add, &list);
    return list.value(call);
}

/// The notations that the internal subset of a document declares: the head of a new chain of records,
/// which is the script's to free. No value without a notation.
Result notations(Call& call, xmlNode* node) {
    const xmlDtd* const dtd = dtd_of(node);
    if (!dtd) return no_value;
    xmlEntity* head = nullptr;
    xmlHashScan(static_cast<xmlHashTable*>(dtd->notations), _x_xmlDumpNotation, &head);
    const Result result = call.handle_or_no_value(head);
    if (result.failed()) _x_freeNode(reinterpret_cast<xmlNode*>(head));
    return result;
}

/// Property 0 the public, 1 the system identifier of an entity declaration, 2 the notation of an
/// unparsed entity. No value where it has none, for other codes and other nodes.
Result entity_property(Call& call, xmlNode* node, std::uint32_t property) {
    if (node->type != XML_ENTITY_DECL) return no_value;
    const auto* const entity = reinterpret_cast<const xmlEntity*>(node);
    switch (property) {
        case 0: return utf8_value<value_frame_size>(call, entity->ExternalID);
        case 1: return utf8_value<value_frame_size>(call, entity->SystemID);
        case 2: {
            const bool unparsed = entity->etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY;
            if (!unparsed || !entity->content) return no_value;
            return utf8_value<value_frame_size>(call,
                                                entity->orig ? entity->orig : entity->content);
        }
        default: return no_value;
    }
}

/// Property 0 the public, 1 the system identifier of a notation record.
Result notation_property(Call& call, xmlNode* node, std::uint32_t property) {
    if (node->type != XML_NOTATION_NODE) return no_value;
    const auto* const record = reinterpret_cast<const xmlEntity*>(node);
    switch (property) {
        case 0: return utf8_value<value_frame_size>(call, record->ExternalID);
        case 1: return utf8_value<value_frame_size>(call, record->SystemID);
        default: return no_value;
    }
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocGetEntities, valtrosse::entities)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMDocGetNotations, valtrosse::notations)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMEntityGetProperty, valtrosse::entity_property)
SCRIPT_FUNCTION(TOVIKDOM_, xmlDOMNotationGetProperty, valtrosse::notation_property)
