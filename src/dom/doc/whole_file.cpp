#include "dom/doc/whole_file.hpp"

#include <libxml/tree.h>
#include <libxml/uri.h>
#include <libxml/xmlerror.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "common/replacement.hpp"
#include "dom/doc/output_check.hpp"
#include "dom/node/markup.hpp"
#include "dom/owned.hpp"

namespace valtrosse {
namespace {

struct UriRelease {
    void operator()(xmlURI* uri) const { xmlFreeURI(uri); }
};

bool starts_with(const char* text, const char* prefix) {
    return xmlStrncasecmp(reinterpret_cast<const xmlChar*>(text),
                          reinterpret_cast<const xmlChar*>(prefix),
                          static_cast<int>(std::strlen(prefix))) == 0;
}

/// The path that libxml2's own opener takes from an address.
const char* local_path(const char* address) {
    if (starts_with(address, "file://localhost/")) return address + std::strlen("file://localhost");
    if (starts_with(address, "file:///")) return address + std::strlen("file://");
    return address;
}

/// How libxml2 understands an address: what it tries first, with its escapes resolved, is null where the
/// address itself is all that it tries.
struct Address {
    explicit Address(const char* text) {
        const std::unique_ptr<xmlURI, UriRelease> uri(xmlParseURI(text));
        is_local = !uri || !uri->scheme || starts_with(uri->scheme, "file");
        if (uri && is_local && std::strchr(text, '%'))
            unescaped.reset(reinterpret_cast<xmlChar*>(xmlURIUnescapeString(text, 0, nullptr)));
    }
    bool is_local;
    XmlString unescaped;
};

/// The path as an address that libxml2 takes for it, in text.
const char* address_of(const char* path, XmlString& text) {
    if (!Address(path).unescaped) return path;
    // Only what it would resolve: everything else is as before.
    const std::size_t length = std::strlen(path);
    text.reset(static_cast<xmlChar*>(xmlMalloc(3 * length + 1)));
    if (!text) return nullptr;
    xmlChar* to = text.get();
    for (; *path; ++path) {
        *to++ = static_cast<xmlChar>(*path);
        if (*path != '%') continue;
        *to++ = '2';
        *to++ = '5';
    }
    *to = 0;
    return reinterpret_cast<const char*>(text.get());
}

/// What libxml2 does through an output buffer, with what stands between that and its target.
class Output;
struct OutputRelease {
    void operator()(Output* output) const;
};
using OwnedOutput = std::unique_ptr<Output, OutputRelease>;

}  // namespace

struct Opening {
    static xmlOutputBuffer* open(const char* address, xmlCharEncodingHandler* encoder,
                                 int compression);
    static xmlOutputBuffer* try_to_open(const char* address, xmlCharEncodingHandler* encoder,
                                        int compression);
    static xmlOutputBuffer* open_straight(const char* address, xmlCharEncodingHandler* encoder,
                                          int compression);
    static xmlOutputBuffer* open_beside(const Replacement& replacement,
                                        xmlCharEncodingHandler* encoder, int compression);
    static bool has_unwritable(xmlCharEncodingHandler* encoder);
    static bool has_unwritable(xmlCharEncodingHandler* encoder, const OutputCheck& check);
};

namespace {

class Output {
public:
    static OwnedOutput make(int compression) {
        void* const place = xmlMalloc(sizeof(Output));
        return OwnedOutput(place ? new (place) Output(compression > 0) : nullptr);
    }

    /// Puts itself into the buffer, whose closing ends it.
    static void put(OwnedOutput output, xmlOutputBuffer* buffer, OutputCheck::Kind check) {
        output->buffer_ = buffer;
        output->check_ = OutputCheck(check);
        output->write_ = std::exchange(buffer->writecallback, write);
        output->close_ = std::exchange(buffer->closecallback, close);
        output->context_ = std::exchange(buffer->context, output.get());
        static_cast<void>(output.release());
    }

    Replacement& replacement() { return replacement_; }

private:
    explicit Output(bool is_compressed) : is_compressed_(is_compressed) {}

    static int write(void* context, const char* bytes, int count) {
        auto* const output = static_cast<Output*>(context);
        if (count > 0) output->check_.look_at(bytes, static_cast<std::size_t>(count));
        const int written = output->write_(output->context_, bytes, count);
        if (written > 0) output->written_ += written;
        return written;
    }

    static int close(void* context) {
        const OwnedOutput output(static_cast<Output*>(context));
        const bool closed = !output->close_ || output->close_(output->context_) >= 0;
        const bool unwritable = Opening::has_unwritable(output->buffer_->encoder, output->check_);
        if (!closed || output->lost_something() || unwritable) return -1;
        Replacement& replacement = output->replacement_;
        return !replacement.prepared() || (output->is_there() && replacement.commit()) ? 0 : -1;
    }

    /// Without memory libxml2 leaves out what it cannot write, and says so at most in its last message.
    bool lost_something() const {
        const auto is_left = [](xmlBuf* bytes) {
            return bytes && (!xmlBufContent(bytes) || xmlBufUse(bytes) > 0);
        };
        const xmlError* const last = xmlGetLastError();
        return buffer_->error != 0 || is_left(buffer_->buffer) || is_left(buffer_->conv) ||
               (last && last->level >= XML_ERR_ERROR);
    }

    /// An opener of the host's may have gone elsewhere with it.
    bool is_there() const {
        const long long size = replacement_.size();
        return is_compressed_ ? size > 0 : size == written_;
    }

    xmlOutputBuffer* buffer_ = nullptr;
    void* context_ = nullptr;
    xmlOutputWriteCallback write_ = nullptr;
    xmlOutputCloseCallback close_ = nullptr;
    OutputCheck check_;
    Replacement replacement_;
    long long written_ = 0;
    bool is_compressed_;
};

void OutputRelease::operator()(Output* output) const {
    output->~Output();
    xmlFree(output);
}

/// Makes a file beside the one that libxml2 would open; false where it is to be opened itself.
bool prepare(Replacement& replacement, const char* text) {
    const Address address(text);
    if (!address.is_local || std::strcmp(text, "-") == 0) return false;
    if (const auto* const unescaped = reinterpret_cast<const char*>(address.unescaped.get())) {
        const char* const path = local_path(unescaped);
        if (replacement.prepare(path)) return true;
        if (access(path, F_OK) == 0) return false;
    }
    return replacement.prepare(local_path(text));
}

bool memory_ran_out() {
    const xmlError* const last = xmlGetLastError();
    return last && last->code == XML_ERR_NO_MEMORY;
}

/// What is seen in the bytes of a file in this encoding. Of HTML, libxml2 leaves control characters out and
/// nothing is seen.
OutputCheck::Kind check_for(Syntax syntax, const xmlCharEncodingHandler* encoder) {
    const auto is = [encoder](const char* name) { return std::strcmp(encoder->name, name) == 0; };
    if (syntax == Syntax::html) return OutputCheck::Kind::none;
    if (!encoder || is("UTF-8")) return OutputCheck::Kind::utf8;
    if (is("UTF-16LE")) return OutputCheck::Kind::utf16_little_end;
    if (is("UTF-16BE")) return OutputCheck::Kind::utf16_big_end;
    if (is("ISO-8859-1") || is("ASCII") || is("US-ASCII") || is("HTML"))
        return OutputCheck::Kind::references;
    return OutputCheck::Kind::none;
}

}  // namespace

xmlOutputBuffer* Opening::open_straight(const char* address, xmlCharEncodingHandler* encoder,
                                        int compression) {
    const auto earlier = WholeFiles::current_->earlier_opener_;
    return (earlier ? earlier : __xmlOutputBufferCreateFilename)(address, encoder, compression);
}

xmlOutputBuffer* Opening::open_beside(const Replacement& replacement,
                                      xmlCharEncodingHandler* encoder, int compression) {
    XmlString text;
    const char* const address = address_of(replacement.path(), text);
    return address ? open_straight(address, encoder, compression) : nullptr;
}

/// Whether the document has a character that the file cannot hold, as far as it is known.
bool Opening::has_unwritable(xmlCharEncodingHandler* encoder) {
    WholeFiles& files = *WholeFiles::current_;
    if (!files.doc_) return false;
    files.found_ = find_unwritable(files.doc_, files.syntax_, encoder, files.looks_at_markup_);
    std::snprintf(files.encoding_, sizeof files.encoding_, "%s", encoder ? encoder->name : "UTF-8");
    return static_cast<bool>(files.found_);
}

/// Whether what is written has such a character. Bytes of UTF-8 say it surely, and what a writer says; of
/// references the document tells whether they are in the right place.
bool Opening::has_unwritable(xmlCharEncodingHandler* encoder, const OutputCheck& check) {
    const xmlError* const last = xmlGetLastError();
    const bool writer_says_so =
        WholeFiles::current_->met_unwritable_ ||
        (last && (last->domain == XML_FROM_OUTPUT || last->domain == XML_FROM_I18N));
    if (!writer_says_so && !check.found()) return false;
    return has_unwritable(encoder) || writer_says_so || OutputCheck::is_sure(check.kind());
}

/// 1. makes a file beside the target, where that can be replaced;
/// 2. where nobody can take back what is written, or its bytes do not tell what is wrong, looks through
///    the document first;
/// 3. opens the one or the other, and puts itself into the buffer.
xmlOutputBuffer* Opening::try_to_open(const char* address, xmlCharEncodingHandler* encoder,
                                      int compression) {
    const WholeFiles& files = *WholeFiles::current_;
    if (!address || memory_ran_out() || !files.has_escaped_uris_) return nullptr;
    OwnedOutput output = Output::make(compression);
    if (!output) return nullptr;
    Replacement& replacement = output->replacement();
    const bool is_prepared = prepare(replacement, address);
    const OutputCheck::Kind check = check_for(files.syntax_, encoder);
    const bool is_seen = is_prepared && check != OutputCheck::Kind::none && !files.looks_at_markup_;
    if (!is_seen && has_unwritable(encoder)) return nullptr;
    xmlOutputBuffer* buffer = nullptr;
    if (is_prepared) buffer = open_beside(replacement, encoder, compression);
    if (!buffer) {
        replacement.drop();
        buffer = open_straight(address, encoder, compression);
    }
    if (!buffer) return nullptr;
    xmlResetLastError();  // what was tried in vain is of no interest any more
    Output::put(std::move(output), buffer, check);
    return buffer;
}

xmlOutputBuffer* Opening::open(const char* address, xmlCharEncodingHandler* encoder,
                               int compression) {
    xmlOutputBuffer* const buffer = try_to_open(address, encoder, compression);
    // Its writers forget the encoder that they made when nothing is opened.
    if (!buffer && encoder) xmlCharEncCloseFunc(encoder);
    return buffer;
}

WholeFiles::WholeFiles() {
    xmlResetLastError();
    current_ = this;
    earlier_opener_ = std::exchange(xmlOutputBufferCreateFilenameValue, Opening::open);
}

WholeFiles::~WholeFiles() {
    xmlOutputBufferCreateFilenameValue = earlier_opener_;
    current_ = nullptr;
}

void WholeFiles::will_write(const xmlDoc* doc, Syntax syntax, bool is_foreign) {
    doc_ = doc;
    syntax_ = syntax;
    if (syntax != Syntax::xml) return;
    looks_at_markup_ = is_foreign || may_have_markup_faults();
    if (is_foreign || may_have_uris_to_escape()) {
        auto* const top = reinterpret_cast<xmlNode*>(const_cast<xmlDoc*>(doc));
        has_escaped_uris_ = uris_.escape(doc, top);
    }
}

void WholeFiles::note_unwritable() { current_->met_unwritable_ = true; }

XmlString WholeFiles::message() const { return found_ ? message_of(found_, encoding_) : nullptr; }

}  // namespace valtrosse
