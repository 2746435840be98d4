// Owners for what libxml2 hands out: each frees with the matching libxml2 function.
#pragma once

#include <libxml/tree.h>
#include <libxml/xmlIO.h>
#include <libxml/xpath.h>

#include <memory>

namespace valtrosse {

struct XmlRelease {
    void operator()(xmlChar* text) const { xmlFree(text); }
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
    void operator()(xmlOutputBuffer* buffer) const { xmlOutputBufferClose(buffer); }
    void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
    void operator()(xmlXPathCompExpr* expression) const { xmlXPathFreeCompExpr(expression); }
    void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
};

template <typename T>
using XmlOwned = std::unique_ptr<T, XmlRelease>;

/// Text allocated by libxml2.
using XmlString = XmlOwned<xmlChar>;

}  // namespace valtrosse
