// What is to be done when libxml2 frees an object that has a handle.
#pragma once

#include <libxml/tree.h>

namespace valtrosse {

/// Forgets the object wherever else it is known. Called on the thread that frees it, just before it does;
/// the handle has ended. Defined with what knows objects, in dom/node/free.cpp.
void object_ended(xmlNode* object);

}  // namespace valtrosse
