// A formatted save as the XML and the HTML writer share it.
#pragma once

#include "dom/doc/encodings.hpp"
#include "dom/doc/whole_file.hpp"
#include "dom/node/namespaces.hpp"
#include "utf8/text.hpp"

namespace valtrosse {

/// No value; where a character could not be written, the document's last message says which and where.
Result not_written(Call& call, const xmlDoc* doc, const WholeFiles& files);

/// Normalises the document's namespace declarations and runs write(path, encoding or null), which
/// returns whether the file was written. Gives 0, or no value. With a name that is not accepted the
/// document's own encoding stands aside, so that neither it nor the name reaches the writer.
template <typename Write>
Result save_formatted(Call& call, xmlDoc* doc, HostText filepath, HostText encoding, Syntax syntax,
                      Write write) {
    const Text8 path(call, filepath);
    if (path.failed()) return path.failure();
    const Text8 name(call, encoding);
    if (name.failed()) return name.failure();

    const xmlChar* const accepted = _x_getValidEncoding(name.text());
    const xmlChar* const own_encoding = doc->encoding;
    if (!accepted) doc->encoding = nullptr;
    _x_NsNormalize(reinterpret_cast<xmlNode*>(doc));
    WholeFiles files;
    files.will_write(doc, syntax);
    const bool written = write(path.c_str(), reinterpret_cast<const char*>(accepted));
    if (!accepted) doc->encoding = own_encoding;
    return written ? call.integer(0) : not_written(call, doc, files);
}

}  // namespace valtrosse
