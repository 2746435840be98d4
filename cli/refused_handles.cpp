#include "cli/refused_handles.hpp"

#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

namespace valtrosse::cli {

RefusedHandles::RefusedHandles(host::Host& host, const std::string& plugin)
    : set_(host.symbol_as<vt_on_refused_handle>("valtrosse_on_refused_handle")) {
    if (set_ == nullptr) throw std::runtime_error(plugin + " does not check handles");
    set_(note, this);
}

RefusedHandles::~RefusedHandles() { set_(nullptr, nullptr); }

void RefusedHandles::note(void* self, const vt_name* function, const vt_name* parameter,
                          std::uint32_t handle) {
    auto& refused = *static_cast<RefusedHandles*>(self);
    refused.any_ = true;
    const auto text = [](const vt_name& name) {
        return host::to_utf8({name.units, name.bytes / sizeof(vt_unit)});
    };
    std::ostringstream message;
    const std::string place = refused.engine_ == nullptr ? "" : refused.engine_->caller();
    message << "vtdom: " << place << (place.empty() ? "" : ": ") << text(*function) << ": "
            << text(*parameter) << " 0x" << std::hex << std::uppercase << std::setw(8)
            << std::setfill('0') << handle << " (" << std::dec << handle
            << ") is no handle of a live object\n";
    std::cout.flush();
    std::cerr << message.str();
}

}  // namespace valtrosse::cli
