// What libxml2 does without memory, where its results do not tell.
#pragma once

#include <libxml/globals.h>
#include <libxml/xmlerror.h>

namespace valtrosse {

/// Tells whether libxml2's last message in this thread, since this was made, is that memory ran out. A
/// later message takes its place.
class MemoryWatch {
public:
    MemoryWatch() : last_(&xmlLastError) { xmlResetLastError(); }

    bool ran_out() const { return last_->code == XML_ERR_NO_MEMORY; }

private:
    const xmlError* last_;  // each thread has its own, for as long as it lives
};

}  // namespace valtrosse
