#include "fuzz/random/functions.hpp"

#include <algorithm>

#include "fuzz/random/script.hpp"

namespace valtrosse::random {

const std::vector<FunctionSpec>& functions() {
    using enum Taste;
    static const std::vector<FunctionSpec> all{
        {"xmlUTF8Encode", 2, {any_text}},
        {"xmlUTF8Decode", 2, {bytes}},
        {"xmlDOMDocLoadXMLFile", 3, {xml_path, keep_blanks}},
        {"xmlDOMDocGetRootNode", 3, {document}},
        {"xmlDOMNodeGetRelative", 6, {node, relative}},
        {"xmlDOMNodeGetName", 5, {node}},
        {"xmlDOMNodeGetValue", 8, {node}},
        {"xmlDOMElementGetAttribute", 6, {element, name}},
        {"xmlDOMNodeGetType", 3, {node}},
        {"xmlDOMNodeSetValue", 12, {character_data, content}},
        {"xmlDOMDocCreateNode", 30, {owner, node_type, content}},
        {"xmlDOMNodeFreeNode", 16, {node_to_free}},
        {"xmlDOMDocFreeDoc", 8, {document}},
        {"xmlDOMNodeUnlinkNode", 16, {node}},
        {"xmlDOMNodeReplaceNode", 14, {node, node_to_link}},
        {"xmlDOMElementGetAttributeNode", 5, {element, name}},
        {"xmlDOMElementSetAttributeNode", 12, {element, attribute_to_link}},
        {"xmlDOMElementRemoveAttributeNode", 8, {element, child_attribute}},
        {"xmlDOMDocSaveXMLFile", 3, {xml_document, xml_path}},
        {"xmlDOMNodeIsBlankNode", 3, {text_node}},
        {"xmlDOMNodeGetFirstAttribute", 3, {element}},
        {"xmlDOMNodeGetNextAttribute", 4, {element, child_attribute}},
        {"xmlDOMNodeSelectNodes", 16, {node, xpath}},
        {"xmlDOMNodeCloneNode", 8, {copy_source, format}},
        {"xmlDOMDocValidateDTD", 3, {xml_document}},
        {"xmlDOMDocLoadXMLString", 12, {xml, keep_blanks}},
        {"xmlDOMDocCreateDoc", 3, {version}},
        {"xmlDOMDocGetEntities", 3, {xml_document}},
        {"xmlDOMDocGetNotations", 4, {xml_document}},
        {"xmlDOMEntityGetProperty", 3, {entity, property}},
        {"xmlDOMNotationGetProperty", 3, {notation, property}},
        {"xmlDOMDocGetProperty", 3, {document, property}},
        {"xmlDOMDoctypeGetProperty", 3, {dtd, property}},
        {"xmlDOMDocKeepBlanksDefault", 1, {keep_blanks}},
        {"xmlDOMDocSaveXMLFormatFile", 3, {xml_document, xml_path, encoding, strict_flag}},
        {"xmlDOMDocCreateNodeNS", 20, {owner, ns_node_type, qname, uri}},
        {"xmlDOMNodeGetPropertyNS", 5, {element, property}},
        {"xmlDOMElementGetAttributeNS", 5, {element, name, uri}},
        {"xmlDOMElementGetAttributeNodeNS", 5, {element, name, uri}},
        {"xmlDOMElementSetAttributeNodeNS", 14, {element, attribute_to_link}},
        {"xmlDOMNodeDumpNode", 8, {node, format}},
        {"xmlDOMNodeGetOwnerDoc", 3, {node}},
        {"xmlDOMUtilIsLevel1Name", 1, {qname}},
        {"xmlDOMUtilIsLevel2Name", 1, {qname}},
        {"xmlDOMDoctypeSetProperty", 3, {dtd, property, name}},
        {"xmlDOMDocCreateDoctype", 4, {name}},
        {"xmlDOMDocLoadDoctype", 2, {short_text, dtd_path}},
        {"xmlDOMDocSetExternalDtd", 5, {xml_document, dtd_to_link}},
        {"xmlDOMDocSetProperty", 3, {document, property, encoding}},
        {"xmlDOMNodeImportNode", 8, {copy_source, format, document}},
        {"xmlDOMUtilStrReplace", 2, {any_text, short_text, short_text}},
        {"xmlDOMTextGetLength", 4, {text_node}},
        {"xmlDOMAttrGetSpecified", 2, {attribute_or_declaration}},
        {"xmlDOMAttrIsId", 4, {attribute}},
        {"xmlDOMDocGetElementById", 6, {document, id_value}},
        {"xmlDOMUtilGetVersion", 1, {}},
        {"xmlDOMNodeAddChild", 60, {position, parent, node_to_link}},
        {"xmlDOMUtilIsValidXMLName", 1, {qname}},
        {"xmlXSLTransformFile", 1, {xslt_input, stylesheet, html_path}},
        {"xmlHTMLDocLoadFile", 2, {html_path, keep_blanks}},
        {"xmlHTMLDocSaveFormatFile", 4, {html_document, html_path, encoding, strict_flag}},
        {"xmlHTMLDocLoadString", 4, {html, keep_blanks}},
        {"xmlDOMDocGetLastMsg", 4, {message_node}},
        {"xmlDOMDocSetLastMsg", 3, {message_node, any_text}},
        {"LIBXMLLife.new", 4, {}},
        {"LIBXMLLife.addInternal", 6, {node_to_free}},
        {"LIBXMLLife.removeInternal", 1, {}},
        {release_step, 4, {}},
    };
    return all;
}

const FunctionSpec* find_function(std::string_view name) {
    const auto& all = functions();
    const auto found = std::find_if(all.begin(), all.end(),
                                    [&](const FunctionSpec& spec) { return spec.name == name; });
    return found == all.end() ? nullptr : &*found;
}

}  // namespace valtrosse::random
