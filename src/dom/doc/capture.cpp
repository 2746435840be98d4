#include "dom/doc/capture.hpp"

#include <fcntl.h>
#include <libxml/globals.h>
#include <libxml/xmlerror.h>
#include <unistd.h>

#include <utility>

#include "lock.hpp"

namespace valtrosse {
namespace {

constexpr std::size_t report_buffer_size = 5000;
constexpr long max_report = report_buffer_size - 2;

/// Empty files between two captures. A forked child shares the position of its parent's files, so the
/// pool belongs to the process that filled it.
class FilePool {
public:
    std::FILE* take() {
        bool mine = false;
        while (std::FILE* file = pop(mine)) {
            if (mine) return file;
            std::fclose(file);
        }
        std::FILE* file = std::tmpfile();
        if (file) fcntl(fileno(file), F_SETFD, FD_CLOEXEC);
        return file;
    }

    void put(std::FILE* file) {
        if (!push(file)) std::fclose(file);
    }

private:
    std::FILE* pop(bool& mine) {
        SharedStateLock lock;
        mine = owner_ == getpid();
        for (auto& slot : files_)
            if (slot) return std::exchange(slot, nullptr);
        return nullptr;
    }

    bool push(std::FILE* file) {
        SharedStateLock lock;
        owner_ = getpid();
        for (auto& slot : files_)
            if (!slot) {
                slot = file;
                return true;
            }
        return false;
    }

    std::FILE* files_[4] = {};
    pid_t owner_ = 0;
};

constinit FilePool pool;

void start_capture(std::FILE* file) {
    // libxml2's own default handler is called in this way: a stream as the context of fprintf.
    auto* const print = reinterpret_cast<void (*)()>(std::fprintf);
    xmlSetGenericErrorFunc(file, reinterpret_cast<xmlGenericErrorFunc>(print));
}
void end_capture() { xmlSetGenericErrorFunc(nullptr, nullptr); }

}  // namespace

XmlString report_text(std::FILE* file) {
    const long length = std::ftell(file);
    if (length <= 0) return nullptr;
    std::fseek(file, 0, SEEK_SET);
    char text[report_buffer_size] = {};
    if (length <= max_report && std::fread(text, 1, static_cast<std::size_t>(length), file) == 0)
        text[0] = 0;
    return XmlString(xmlCharStrdup(text));
}

Capture::Capture() : file_(pool.take()) {
    if (file_) start_capture(file_);
}

Capture::~Capture() { finish(); }

XmlString Capture::finish() {
    std::FILE* file = std::exchange(file_, nullptr);
    if (!file) return nullptr;
    end_capture();
    if (std::ftell(file) == 0) {
        pool.put(file);
        return nullptr;
    }
    XmlString text = report_text(file);
    if (std::fseek(file, 0, SEEK_SET) == 0 && ftruncate(fileno(file), 0) == 0)
        pool.put(file);
    else
        std::fclose(file);
    return text;
}

}  // namespace valtrosse

std::FILE* _x_createOutputTempFile() {
    std::FILE* file = std::tmpfile();
    if (file) valtrosse::start_capture(file);
    return file;
}

xmlChar* _x_destroyOutputTempFile(std::FILE* file) {
    if (!file) return nullptr;
    valtrosse::XmlString text = valtrosse::report_text(file);
    valtrosse::end_capture();
    std::fclose(file);
    return text.release();
}
