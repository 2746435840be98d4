// A subtree on its way out of its document, in two steps: first all that takes memory, which can be
// taken back, then what cannot fail. So a move for which there is no memory changes nothing.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

class Departure {
public:
    Departure() = default;
    /// Takes back what was prepared and not completed.
    ~Departure();
    Departure(const Departure&) = delete;
    Departure& operator=(const Departure&) = delete;

    /// Makes the private namespace records and the strings that the subtree is to own; no strings when
    /// the subtree is to be back in its document at once. False without memory. The subtree must stay as
    /// it is until complete() or the end.
    bool prepare(xmlNode* root, bool comes_back = false);
    enum class DocFields { clear, stay };
    /// Takes the subtree's IDs and its entities' declarations away, and clears the doc fields of the
    /// root and of all nodes below it, attributes of elements excepted. Nothing without prepare().
    void complete(DocFields docs = DocFields::clear);

private:
    bool make_private(xmlNode* node);

    xmlNode* root_ = nullptr;
    xmlDoc* doc_ = nullptr;
    xmlNs* made_ = nullptr;  // the records made, the last one first
};

}  // namespace valtrosse
