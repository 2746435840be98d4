// vtdom --no-network.
#pragma once

namespace valtrosse::cli {

/// From now on libxml2 and libxslt of this process fetch nothing from the network and write nothing to
/// it: documents, DTDs, entities, stylesheets, catalogues, results.
void forbid_network();

}  // namespace valtrosse::cli
