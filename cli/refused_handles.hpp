// vtdom --checked: what the library that checks handles refuses.
#pragma once

#include <optional>
#include <string>

#include "host/host.hpp"
#include "script/engine.hpp"
#include "valtrosse/handles.h"

namespace valtrosse::cli {

/// While it lives, one line on standard error for each handle that a call refuses.
class RefusedHandles {
public:
    /// Throws std::runtime_error when the library, which was loaded from `plugin`, does not check handles.
    RefusedHandles(host::Host& host, const std::string& plugin);
    ~RefusedHandles();
    RefusedHandles(const RefusedHandles&) = delete;
    RefusedHandles& operator=(const RefusedHandles&) = delete;

    /// The engine whose scripts make the calls, while there is one.
    void set_engine(const script::Engine* engine) { engine_ = engine; }
    bool any() const { return any_; }

private:
    static void note(void* self, const vt_name* function, const vt_name* parameter,
                     std::uint32_t handle);

    vt_on_refused_handle set_;
    const script::Engine* engine_ = nullptr;
    bool any_ = false;
};

}  // namespace valtrosse::cli
