// Reading and writing files, from the file system's side.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "common/replacement.hpp"
#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

void check_path(const std::string& path) {
    // The C library would take the part before the zero for the path.
    if (path.find('\0') != std::string::npos)
        throw std::runtime_error("a zero character in a path");
}

File open_file(const std::string& path, const char* mode) {
    check_path(path);
    File file(std::fopen(path.c_str(), mode));
    if (!file) fail(path);
    return file;
}

std::string read_all(std::FILE* file, const std::string& path) {
    std::string content;
    char block[65536];
    errno = 0;
    while (const std::size_t count = std::fread(block, 1, sizeof block, file)) {
        content.append(block, count);
    }
    if (std::ferror(file) != 0) fail(path);
    return content;
}

}  // namespace

std::string read_file(const std::string& path) {
    if (path == "-") return read_all(stdin, path);
    return read_all(open_file(path, "rb").get(), path);
}

void write_file(const std::string& path, std::string_view content) {
    check_path(path);
    Replacement replacement;
    if (replacement.prepare(path.c_str())) {
        if (!replacement.write(content.data(), content.size()) || !replacement.commit()) fail(path);
        return;
    }
    File file = open_file(path, "wb");
    const bool written =
        std::fwrite(content.data(), 1, content.size(), file.get()) == content.size();
    // Closing writes what is still buffered, so it can fail like a write.
    if (std::fclose(file.release()) != 0 || !written) fail(path);
}

void rename_file(const std::string& from, const std::string& to) {
    check_path(from);
    check_path(to);
    if (std::rename(from.c_str(), to.c_str()) != 0) fail(from + " to " + to);
}

TemporaryFile::TemporaryFile(std::string_view content)
    : descriptor_(memfd_create("vtdom", MFD_CLOEXEC)) {
    if (descriptor_ < 0) fail("a temporary file");
    try {
        write_file(path(), content);
    } catch (...) {
        close(descriptor_);
        throw;
    }
}
TemporaryFile::~TemporaryFile() { close(descriptor_); }
std::string TemporaryFile::path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

std::string clean_source(std::string source, const std::string& name) {
    const std::string repaired = host::to_utf8(host::to_units(source));
    const auto [bad, ignored] =
        std::mismatch(source.begin(), source.end(), repaired.begin(), repaired.end());
    if (bad != source.end()) {
        const auto line = std::count(source.begin(), bad, '\n') + 1;
        throw ScriptError("line " + std::to_string(line) + " of " + name + " is not UTF-8",
                          JSEXN_SYNTAXERR);
    }
    if (source.starts_with("\xEF\xBB\xBF")) source.erase(0, 3);
    if (source.starts_with("#!")) source.replace(0, 2, "//");
    return source;
}

}  // namespace valtrosse::script
