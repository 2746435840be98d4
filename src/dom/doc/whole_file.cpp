#include "dom/doc/whole_file.hpp"

#include <libxml/tree.h>
#include <libxml/uri.h>
#include <libxml/xmlerror.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "common/replacement.hpp"
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

class Output;
struct OutputRelease {
    void operator()(Output* output) const;
};
using OwnedOutput = std::unique_ptr<Output, OutputRelease>;

/// What stands between an output buffer and its target.
class Output {
public:
    static OwnedOutput make(int compression) {
        void* const place = xmlMalloc(sizeof(Output));
        return OwnedOutput(place ? new (place) Output(compression > 0) : nullptr);
    }

    /// Puts itself into the buffer, whose closing ends it.
    static void put(OwnedOutput output, xmlOutputBuffer* buffer) {
        output->buffer_ = buffer;
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
        const int written = output->write_(output->context_, bytes, count);
        if (written > 0) output->written_ += written;
        return written;
    }

    static int close(void* context) {
        const OwnedOutput output(static_cast<Output*>(context));
        const bool closed = !output->close_ || output->close_(output->context_) >= 0;
        if (!closed || output->lost_something()) return -1;
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
    Replacement replacement_;
    long long written_ = 0;
    bool is_compressed_;
};

void OutputRelease::operator()(Output* output) const {
    output->~Output();
    xmlFree(output);
}

// How files are opened in this thread otherwise; null for libxml2's own way.
thread_local xmlOutputBufferCreateFilenameFunc earlier_opener
    __attribute__((tls_model("initial-exec"))) = nullptr;

xmlOutputBuffer* open_straight(const char* address, xmlCharEncodingHandler* encoder,
                               int compression) {
    const auto opener = earlier_opener ? earlier_opener : __xmlOutputBufferCreateFilename;
    return opener(address, encoder, compression);
}

xmlOutputBuffer* open_beside(const Replacement& replacement, xmlCharEncodingHandler* encoder,
                             int compression) {
    XmlString text;
    const char* const address = address_of(replacement.path(), text);
    return address ? open_straight(address, encoder, compression) : nullptr;
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

xmlOutputBuffer* open_whole(const char* address, xmlCharEncodingHandler* encoder, int compression) {
    if (!address || memory_ran_out()) return nullptr;
    OwnedOutput output = Output::make(compression);
    if (!output) return nullptr;
    Replacement& replacement = output->replacement();
    xmlOutputBuffer* buffer = nullptr;
    if (prepare(replacement, address)) buffer = open_beside(replacement, encoder, compression);
    if (!buffer) {
        replacement.drop();
        buffer = open_straight(address, encoder, compression);
    }
    if (!buffer) return nullptr;
    xmlResetLastError();  // what was tried in vain is of no interest any more
    Output::put(std::move(output), buffer);
    return buffer;
}

}  // namespace

WholeFiles::WholeFiles() {
    xmlResetLastError();
    earlier_opener = std::exchange(xmlOutputBufferCreateFilenameValue, open_whole);
}

WholeFiles::~WholeFiles() { xmlOutputBufferCreateFilenameValue = earlier_opener; }

}  // namespace valtrosse
