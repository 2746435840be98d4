// URIs of namespaces as a file has them.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// libxml2 writes the URI of a namespace as it is, with "&", "<", tabs and line ends: for as long as this
/// lives, the declarations of a document have what must be written in their place.
class EscapedUris {
public:
    EscapedUris() = default;
    ~EscapedUris();
    EscapedUris(const EscapedUris&) = delete;
    EscapedUris& operator=(const EscapedUris&) = delete;

    /// False without memory; then all stays as it is until the end.
    bool escape(const xmlDoc* doc);

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
