// Capture of libxml2's generic error text while a document is parsed.
#pragma once

#include <cstdio>

#include "dom/owned.hpp"
#include "plugin/export.hpp"

/// Opens an anonymous temporary file and sends this thread's generic error text into it. Null, with
/// nothing changed, when there is no file.
VALTROSSE_EXPORT std::FILE* _x_createOutputTempFile();
/// Ends the capture: libxml2's default handler is back, the file is closed. Returns the captured text,
/// to be freed with xmlFree: null when nothing was written, empty when it was over 4998 bytes. A null
/// file changes nothing and gives null.
VALTROSSE_EXPORT xmlChar* _x_destroyOutputTempFile(std::FILE* file);

namespace valtrosse {

/// What a report file holds from its start to its present position, up to the first zero byte: null
/// when nothing was written or the position cannot be told, the empty text when it is over 4998 bytes.
XmlString report_text(std::FILE* file);

/// The same capture for the length of one parse of ours. Its file is kept, emptied, for the next parse:
/// making and closing one costs as much as parsing a small document.
class Capture {
public:
    Capture();
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Ends the capture and gives its text as _x_destroyOutputTempFile does.
    XmlString finish();

private:
    std::FILE* file_;
};

}  // namespace valtrosse
