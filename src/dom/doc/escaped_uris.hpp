// URIs of namespaces as a file has them.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// libxml2 writes the URI of a namespace as it is, with "&", "<", tabs and line ends: for as long as this
/// lives, the declarations of a tree have what must be written in their place.
class EscapedUris {
public:
    EscapedUris() = default;
    ~EscapedUris();
    EscapedUris(const EscapedUris&) = delete;
    EscapedUris& operator=(const EscapedUris&) = delete;

    /// Escapes those of `top` and its subtree; `top` may be a document or a declaration, `doc` knows the
    /// entities. False without memory; then some are not escaped.
    bool escape(const xmlDoc* doc, xmlNode* top);

private:
    struct Replaced {
        xmlNs* declaration;
        const xmlChar* uri;
        Replaced* next;
    };
    bool replace(const xmlDoc* doc, xmlNs* declaration);

    Replaced* replaced_ = nullptr;
};

}  // namespace valtrosse
