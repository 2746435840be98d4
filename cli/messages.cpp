#include "cli/messages.hpp"

#include <libxml/globals.h>
#include <libxml/xmlerror.h>
#include <libxslt/xsltutils.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>

namespace valtrosse::cli {

namespace {

class Capture : public script::MessageCapture {
public:
    Capture() {
        if (file_ == nullptr) throw std::bad_alloc();
        // With fprintf itself libxml2 says what kind of message it is.
        auto* const print = reinterpret_cast<void (*)()>(std::fprintf);
        const auto function = reinterpret_cast<xmlGenericErrorFunc>(print);
        xmlSetGenericErrorFunc(file_, function);
        xsltSetGenericErrorFunc(file_, function);
    }
    ~Capture() override {
        xmlSetGenericErrorFunc(xml_context_, xml_function_);
        xsltSetGenericErrorFunc(xslt_context_, xslt_function_);
        std::fclose(file_);
        std::free(buffer_);
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    std::string text() const override {
        std::fflush(file_);
        return {buffer_, size_};
    }

private:
    char* buffer_ = nullptr;
    std::size_t size_ = 0;
    std::FILE* file_ = open_memstream(&buffer_, &size_);
    xmlGenericErrorFunc xml_function_ = xmlGenericError;
    void* xml_context_ = xmlGenericErrorContext;
    xmlGenericErrorFunc xslt_function_ = xsltGenericError;
    void* xslt_context_ = xsltGenericErrorContext;
};

}  // namespace

std::unique_ptr<script::MessageCapture> capture_messages() { return std::make_unique<Capture>(); }

}  // namespace valtrosse::cli
