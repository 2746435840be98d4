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

/// What libxml2 reports, written as to a file but kept in memory: the beginning of it, since a longer
/// report than max_length is not handed over.
class Report {
public:
    static constexpr long max_length = 4998;

    Report();
    ~Report();
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    /// For fprintf; null without memory.
    std::FILE* file() const { return file_; }
    /// What was written, up to the first zero byte: null when nothing was, the empty text when it is
    /// over 4998 bytes. There must be a file.
    const char* text() const;

private:
    char text_[max_length + 3] = {};  // room for what tells a longer report, and a zero
    std::FILE* file_;
};

/// The same capture as above for the length of one parse of ours.
class Capture {
public:
    Capture();
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Ends the capture and gives its text as _x_destroyOutputTempFile does.
    XmlString finish();

private:
    Report report_;
    bool finished_ = false;
};

}  // namespace valtrosse
