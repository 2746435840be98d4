#include "cli/refused_handles.hpp"

#include <iomanip>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "valtrosse/handles.h"

namespace valtrosse::cli {

namespace {

void on_refused_handle(void*, const vt_name* function, const vt_name* parameter,
                       std::uint32_t handle) {
    const auto text = [](const vt_name& name) {
        return host::to_utf8({name.units, name.bytes / sizeof(vt_unit)});
    };
    std::ostringstream message;
    message << "vtdom: " << text(*function) << ": " << text(*parameter) << " 0x" << std::hex
            << std::uppercase << std::setw(8) << std::setfill('0') << handle << " (" << std::dec
            << handle << ") is no handle of a live object\n";
    std::cout.flush();
    std::cerr << message.str();
}

}  // namespace

void report_refused_handles(host::Host& host, const std::string& plugin) {
    const auto set = host.symbol_as<vt_on_refused_handle>("valtrosse_on_refused_handle");
    if (set == nullptr) throw std::runtime_error(plugin + " does not check handles");
    set(on_refused_handle, nullptr);
}

}  // namespace valtrosse::cli
