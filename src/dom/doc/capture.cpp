#include "dom/doc/capture.hpp"

#include <libxml/globals.h>
#include <libxml/xmlerror.h>

#include <utility>

namespace valtrosse {
namespace {

void start_capture(std::FILE* file) {
    // libxml2's own default handler is called in this way: a stream as the context of fprintf.
    auto* const print = reinterpret_cast<void (*)()>(std::fprintf);
    xmlSetGenericErrorFunc(file, reinterpret_cast<xmlGenericErrorFunc>(print));
}
void end_capture() { xmlSetGenericErrorFunc(nullptr, nullptr); }

}  // namespace

Report::Report() : file_(fmemopen(text_, sizeof text_, "w")) {
    // So that what is written is in the text at once.
    if (file_) std::setvbuf(file_, nullptr, _IONBF, 0);
}

Report::~Report() {
    if (file_) std::fclose(file_);
}

const char* Report::text() const {
    const long length = std::ftell(file_);
    if (length <= 0) return nullptr;
    return length <= max_length ? text_ : "";
}

Capture::Capture() {
    if (report_.file()) start_capture(report_.file());
}

Capture::~Capture() { finish(); }

XmlString Capture::finish() {
    if (!report_.file() || std::exchange(finished_, true)) return nullptr;
    end_capture();
    const char* const text = report_.text();
    return XmlString(text ? xmlCharStrdup(text) : nullptr);
}

}  // namespace valtrosse

std::FILE* _x_createOutputTempFile() {
    std::FILE* file = std::tmpfile();
    if (file) valtrosse::start_capture(file);
    return file;
}

xmlChar* _x_destroyOutputTempFile(std::FILE* file) {
    if (!file) return nullptr;
    const long length = std::ftell(file);
    char text[valtrosse::Report::max_length + 1] = {};
    std::fseek(file, 0, SEEK_SET);
    if (0 < length && length <= valtrosse::Report::max_length &&
        std::fread(text, 1, static_cast<std::size_t>(length), file) == 0)
        text[0] = 0;
    valtrosse::end_capture();
    std::fclose(file);
    return length > 0 ? xmlCharStrdup(text) : nullptr;
}
