// What plain libxml2 makes of a text or a file: the trees that the model starts from.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>

#include "fuzz/random/tree.hpp"

namespace valtrosse::random {

struct FreeDoc {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
    void operator()(xmlDtd* dtd) const { xmlFreeDtd(dtd); }
};
using OwnedDoc = std::unique_ptr<xmlDoc, FreeDoc>;
using OwnedDtd = std::unique_ptr<xmlDtd, FreeDoc>;

inline std::string to_string(const xmlChar* text) {
    return text ? reinterpret_cast<const char*>(text) : "";
}
inline Text to_text(const xmlChar* text) {
    return text ? Text(reinterpret_cast<const char*>(text)) : std::nullopt;
}
inline const xmlChar* to_xml(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

/// What a parse gave, what it said, and what the library adds where it refuses half of a document.
struct Parsed {
    OwnedDoc doc;
    std::string message;
    std::string reason;
};

enum class Syntax { xml, html };

/// As libxml2's defaults of this moment have it. `source` is a path, or text.
Parsed parse(const std::string& source, Syntax syntax, bool is_file, bool keep_blanks);

/// Drops what libxml2 reports in this thread, until somebody sets another handler.
void silence();

/// The model's copy of a document or DTD. Owners that name `doc` are left 0; see bind().
Node* to_model(Forest& forest, std::uint32_t step, xmlDoc* doc);
Node* to_model(Forest& forest, std::uint32_t step, xmlDtd* dtd);

}  // namespace valtrosse::random
