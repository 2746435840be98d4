// What a host consists of, in the order in which it must come to life (and go in reverse).
#pragma once

#include <string>

#include "host/call.hpp"
#include "host/host.hpp"
#include "host/library.hpp"
#include "host/objects.hpp"
#include "host/registry.hpp"
#include "host/tally.hpp"

namespace valtrosse::host {

struct HostCore {
    explicit HostCore(const std::string& library_path)
        : library(library_path),
          registry(library, objects),
          context(*this) {}
    ~HostCore() { forget_host(this); }
    HostCore(const HostCore&) = delete;
    HostCore& operator=(const HostCore&) = delete;

    Library library;
    Tally tally{};
    Faults faults{};
    bool faults_in_use = false;  // faults() was called: contexts must look at them
    ObjectStore objects{tally};
    Registry registry;
    CallContext context;
};

}  // namespace valtrosse::host
