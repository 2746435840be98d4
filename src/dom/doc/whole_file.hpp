// Files that are written completely or not at all.
#pragma once

#include <libxml/globals.h>
#include <libxml/xmlIO.h>

#include "dom/doc/escaped_uris.hpp"
#include "dom/doc/unwritable.hpp"

namespace valtrosse {

/// For as long as it lives, what libxml2 and libxslt open for writing in this thread goes
///
/// 1. into a new file beside the target, which takes its place when all of it is there: a regular
///    file, in a folder that can be written, which has one name; or no file yet;
/// 2. straight into anything else: devices, pipes, addresses, a file with several names;
/// 3. through the openers that the host has set, with the path of the new file in the first case.
///
/// A target that is replaced keeps its mode, its owner where that is possible, and the symbolic links
/// that lead to it. Closing fails when anything was lost on the way, be it that the disk is full, that
/// memory ended, that a character cannot be written, or that libxml2 reported any other error; what is
/// beside the target is removed then.
class WholeFiles {
public:
    WholeFiles();
    ~WholeFiles();
    WholeFiles(const WholeFiles&) = delete;
    WholeFiles& operator=(const WholeFiles&) = delete;

    /// Says which document is about to be written. One with a character that the file could not hold, or
    /// with what XML has no markup for, is not: the writer fails then, and message() tells where it is. A
    /// foreign document is one whose nodes this library neither parsed nor made.
    void will_write(const xmlDoc* doc, Syntax syntax, bool is_foreign = false);
    /// Says so of a character that was met, for a writer that would leave it out.
    static void note_unwritable();
    /// A line for people; null when nothing such was found.
    XmlString message() const;

private:
    friend struct Opening;

    static inline thread_local WholeFiles* current_ __attribute__((tls_model("initial-exec"))) =
        nullptr;

    xmlOutputBufferCreateFilenameFunc earlier_opener_;
    const xmlDoc* doc_ = nullptr;
    Syntax syntax_ = Syntax::xml;
    bool looks_at_markup_ = false;
    EscapedUris uris_;
    bool has_escaped_uris_ = true;  // false without memory for them
    Unwritable found_;
    char encoding_[40] = "";
    bool met_unwritable_ = false;
};

}  // namespace valtrosse
