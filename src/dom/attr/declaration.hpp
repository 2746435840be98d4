// Attributes and what a DTD declares for them.
#pragma once

#include <libxml/parser.h>

#include "dom/node/text.hpp"
#include "utf8/text.hpp"

namespace valtrosse {

/// Whether the DTD (null: none) declares the attribute of an element of this qualified name as an ID.
inline bool is_declared_id(xmlDtd* dtd, const xmlChar* element_name, const xmlAttr* attr) {
    const xmlAttribute* declaration =
        attr->ns && attr->ns->prefix
            ? xmlGetDtdQAttrDesc(dtd, element_name, attr->name, attr->ns->prefix)
            : xmlGetDtdAttrDesc(dtd, element_name, attr->name);
    return declaration && declaration->atype == XML_ATTRIBUTE_ID;
}

/// The value of what xmlHasProp or xmlHasNsProp found: an attribute's own or, for a declaration, the
/// default. No value for null.
inline Result attribute_or_default_value(Call& call, const xmlAttr* found) {
    if (!found) return no_value;
    if (found->type == XML_ATTRIBUTE_DECL)
        return utf8_value<value_frame_size>(
            call, reinterpret_cast<const xmlAttribute*>(found)->defaultValue);
    vt_status status = VT_OK;
    const XmlString text = attribute_value(found, &status);
    return status == VT_OK ? utf8_value<value_frame_size>(call, text.get()) : failure(status);
}

}  // namespace valtrosse
