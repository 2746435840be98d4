#include "cli/standard_error.hpp"

#include <libxml/globals.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>

namespace valtrosse::cli {

namespace {

OneLineACall* filter = nullptr;

template <typename T>
T* noted(T* made, std::size_t size) {
    if (made == nullptr && size != 0 && filter != nullptr) filter->no_memory(size);
    return made;
}

void* allocate(std::size_t size) { return noted(std::malloc(size), size); }
void* reallocate(void* block, std::size_t size) { return noted(std::realloc(block, size), size); }
char* duplicate(const char* text) { return noted(strdup(text), 1); }

/// The path that a call was given for what it writes; empty for a call that writes no file.
std::string written_path(const host::RunningCall& call) {
    const std::string& name = call.function->name;
    const bool is_transformation = name == "xmlXSLTransformFile";
    if (!is_transformation && name.find("Save") == name.npos) return {};
    const std::string_view wanted = is_transformation ? "outputFilepath" : "filepath";
    for (std::size_t i = 0; i < call.arguments.size(); ++i) {
        const host::Argument& argument = call.arguments[i];
        const std::string_view parameter = argument.name().empty()
                                               ? std::string_view(call.function->parameters[i])
                                               : argument.name();
        if (parameter == wanted && argument.kind() == host::Argument::Kind::string)
            return host::to_utf8(argument.text());
    }
    return {};
}

}  // namespace

OneLineACall::OneLineACall(const host::Host& host) : host_(host) {
    cookie_io_functions_t functions{};
    functions.write = write_some;
    stream_ = fopencookie(this, "w", functions);
    if (stream_ == nullptr) throw std::bad_alloc();
    std::setvbuf(stream_, nullptr, _IONBF, 0);
    filter = this;
    // What xsl:message says is for people, all of it.
    xsltSetGenericErrorFunc(standard_error_, xsltGenericError);
    // libxml2's default handler, which each load puts back, writes to what stderr names then.
    stderr = stream_;
    xmlSetGenericErrorFunc(nullptr, nullptr);
    // Blocks that libxml2 has already are malloc's, too.
    xmlMemSetup(std::free, allocate, reallocate, duplicate);
}

OneLineACall::~OneLineACall() {
    xmlMemSetup(std::free, std::malloc, std::realloc, strdup);
    begin_call();
    stderr = standard_error_;
    xmlSetGenericErrorFunc(nullptr, nullptr);
    filter = nullptr;
    std::fclose(stream_);
}

void OneLineACall::no_memory(std::size_t size) {
    const host::RunningCall* const call = host_.running_call();
    if (call == nullptr) return;
    char text[200];
    std::snprintf(text, sizeof text, "%s: out of memory (%zu bytes)\n",
                  call->function->name.c_str(), size);
    take(text, std::strlen(text));
}

ssize_t OneLineACall::write_some(void* self, const char* bytes, std::size_t count) {
    static_cast<OneLineACall*>(self)->take(bytes, count);
    return static_cast<ssize_t>(count);
}

void OneLineACall::begin_call() {
    if (length_ != 0 && !is_said_) {
        has_more_ = false;
        end_line();
    }
    length_ = 0;
    is_said_ = has_more_ = false;
}

void OneLineACall::take(const char* bytes, std::size_t count) {
    const host::RunningCall* const call = host_.running_call();
    if (call == nullptr) {
        write_out(bytes, count);
        return;
    }
    if (call->number != call_) {
        begin_call();
        call_ = call->number;
    }
    for (; count != 0 && !is_said_; ++bytes, --count) {
        if (*bytes == '\n')
            end_line();
        else if (length_ < sizeof line_)
            line_[length_++] = *bytes;
    }
}

/// 1. Waits for a second line where the first one only announces it: the expression of an XPath error.
/// 2. Adds the path where a file could not be written.
/// 3. Writes the line out; what else the call says is dropped.
void OneLineACall::end_line() {
    const std::string_view text(line_, length_);
    if (!has_more_ && text.starts_with("XPath error : ") && length_ + 2 < sizeof line_) {
        has_more_ = true;
        line_[length_++] = ':';
        line_[length_++] = ' ';
        return;
    }
    is_said_ = true;
    const host::RunningCall* const call = host_.running_call();
    write_out(line_, length_);
    if (call != nullptr && text.starts_with("I/O error : ")) {
        const std::string path = written_path(*call);
        if (!path.empty()) {
            write_out(": ", 2);
            write_out(path.data(), path.size());
        }
    }
    write_out("\n", 1);
}

void OneLineACall::write_out(const char* text, std::size_t length) {
    while (length != 0) {
        const ssize_t written = write(STDERR_FILENO, text, length);
        if (written <= 0) return;
        text += written;
        length -= static_cast<std::size_t>(written);
    }
}

}  // namespace valtrosse::cli
