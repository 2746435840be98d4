// What the fuzz targets share: the loaded library, checks that end the process, input taken apart, files
// that exist in memory only, trees checked and written down.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "host/host.hpp"

namespace valtrosse::fuzz {

using host::Argument;
using host::Blob;
using Handle = std::uint32_t;
using host::Host;
using host::Outcome;
using Bytes = std::span<const std::uint8_t>;

/// Says what went wrong and aborts, which a fuzzer takes for a crash.
[[noreturn]] void fail(std::string_view what, std::string_view detail = {});
inline void check(bool holds, std::string_view what, std::string_view detail = {}) {
    if (!holds) fail(what, detail);
}

/// The library in its host, loaded at the first use. From then on libxml2 reads MemoryFiles and what
/// scripts of the target `script` write: no file that an input happens to name, and no network.
Host& library();
/// One script function, with libxml2's reports dropped.
/// A clone of the document, which equals it, to be freed.
Handle clone_of(Handle doc);

template <typename... T>
Outcome call(std::string_view function, const T&... args);
/// The handle that a call gives, 0 for no value.
template <typename... T>
Handle get(std::string_view function, const T&... args) {
    const Outcome outcome = call(function, args...);
    check(outcome.status() == VT_OK, function, std::to_string(outcome.status()));
    return outcome.no_value() ? 0 : outcome.handle();
}
/// Checks that nothing of the host's is left, and forgets the last messages.
void end_of_input();

/// An input: choices from its front, the rest as text or bytes.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : left_(data, size) {}

    std::size_t size() const { return left_.size(); }
    /// A number below `end`; 0 when the input is used up.
    unsigned choice(unsigned end);
    Bytes take(std::size_t count);
    Bytes rest() { return take(left_.size()); }

private:
    Bytes left_;
};

inline std::string chars(Bytes bytes) { return {bytes.begin(), bytes.end()}; }
/// Each byte as a unit.
inline std::u16string wide(Bytes bytes) { return {bytes.begin(), bytes.end()}; }
/// Two bytes for each unit, the low one first.
std::u16string units(Bytes bytes);

/// A copy in a block of exactly its size, `shift` elements after the block's start, so that a sanitizer
/// or valgrind sees a step beyond its end.
template <typename Element>
class Exact {
public:
    template <typename Range>
    explicit Exact(const Range& range, std::size_t shift = 0)
        : size_(range.size()),
          shift_(shift),
          block_(new Element[shift + range.size()]) {
        std::copy(range.begin(), range.end(), data());
    }
    Element* data() const { return block_.get() + shift_; }
    std::uint32_t size() const { return static_cast<std::uint32_t>(size_); }

private:
    std::size_t size_;
    std::size_t shift_;
    std::unique_ptr<Element[]> block_;
};

/// A file in memory.
class MemoryFile {
public:
    explicit MemoryFile(Bytes content = {});
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const std::string& path() const { return path_; }
    std::string content() const;

private:
    int descriptor_;
    std::string path_;
};

/// False for XML whose entities could keep libxml2 busy beyond measure.
bool is_harmless(Bytes xml);

inline xmlNode* node_of(Handle handle) {
    return static_cast<xmlNode*>(library().object_of(handle));
}
inline Handle handle_of(const void* object) { return library().handle_of(object); }

/// Checks all links of a tree, both ways.
void check_links(const xmlNode* root);
/// What a tree consists of, DTDs left out: equal trees have equal descriptions.
std::string description(const xmlNode* root);
/// Calls the functions that read a node on the tree's first 30 nodes, and those that read a document.
void read_everything(Handle root);

/// A clone of the document, which equals it, to be freed.
Handle clone_of(Handle doc);

template <typename... T>
Outcome call(std::string_view function, const T&... args) {
    struct Nobody {
        static void hears(void*, const char*, ...) {}
    };
    xmlSetGenericErrorFunc(nullptr, Nobody::hears);
    return library().call(function, {Argument(args)...});
}

}  // namespace valtrosse::fuzz
