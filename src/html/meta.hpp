// The meta element that names an HTML document's encoding, across a save.
#pragma once

#include <libxml/tree.h>

#include <cstddef>

namespace valtrosse {

/// libxml2's HTML writer rewrites the content of the meta element that names the encoding, and frees
/// the text node in it. A script may hold a handle on that node: for the length of the save a copy
/// stands in its place, and afterwards it is back with the text that the writer put there. Without such an
/// element the writer makes one, in the head or, where a meta element stands before that, in html.
class KeptMetaContent {
public:
    explicit KeptMetaContent(xmlDoc* doc);
    ~KeptMetaContent();
    KeptMetaContent(const KeptMetaContent&) = delete;
    KeptMetaContent& operator=(const KeptMetaContent&) = delete;

    /// False when there was no memory for the copies: then nothing may be written.
    bool ready() const { return ready_; }
    /// The document was not written: it is to be as it was.
    void take_back() { is_taken_back_ = true; }

private:
    struct Place {
        xmlNode* parent;
        xmlNode* first;
    };
    struct Kept {
        xmlAttr* content;
        xmlNode* text;
    };

    void keep_first_of(xmlNode* siblings);

    xmlDoc* doc_;
    // The writer starts at the top of the document, in html or in head.
    Kept kept_[3];
    std::size_t count_ = 0;
    bool ready_ = true;
    bool is_taken_back_ = false;
    Place places_[2];  // where the writer puts an element of its own
};

}  // namespace valtrosse
