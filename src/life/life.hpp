// LIBXMLLife: the object type that ends a tree's life with the object's.
#pragma once

#include "dom/node/held.hpp"
#include "plugin/host_api.hpp"
#include "plugin/object_type.hpp"

namespace valtrosse {

/// The private data of an object. A host may move it between two calls, so nothing keeps its address.
struct LifeData {
    /// The runtime record of the call of `new`, which nobody reads again. Once a tree has been held, the
    /// number of that hold: there is no room for one of its own.
    std::uintptr_t runtime_or_number;
    HostApi api;  ///< as the call of `new` fetched it
    xmlNode* tree;

    Hold held() const { return {tree, static_cast<std::uint32_t>(runtime_or_number)}; }
    void set_held(const Hold& held) {
        runtime_or_number = held.number;
        tree = held.tree;
    }
};
static_assert(sizeof(LifeData) == life_data_size);

}  // namespace valtrosse
