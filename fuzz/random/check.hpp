// The real trees against the model's, and a document against what comes back from its text.
#pragma once

#include <libxml/tree.h>

#include <stdexcept>
#include <string>

#include "fuzz/random/tree.hpp"

namespace valtrosse::random {

/// What is not as the model has it.
struct Mismatch : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline xmlNode* real_node(const Node* node) { return reinterpret_cast<xmlNode*>(node->address); }
inline Address address_of(const void* object) { return reinterpret_cast<Address>(object); }

/// Gives the nodes of a new tree of the model the addresses of the real one. Throws Mismatch.
void bind(Forest& forest, Node* node, const xmlNode* real);

/// Makes the IDs of a real document those of the model's. Throws Mismatch for one that no attribute has.
void take_over_ids(const Forest& forest, Node* document);

/// Compares every live tree, with all links both ways, namespaces, owners and IDs. Throws Mismatch.
void check_trees(const Forest& forest);

/// Whether the text of a document, parsed, must be the same tree.
bool can_round_trip(const Forest& forest, Node* document);
/// Parses the text, or the file at this path, and compares. Throws Mismatch.
void check_round_trip(const Forest& forest, Node* document, const std::string& source,
                      bool is_file);

}  // namespace valtrosse::random
