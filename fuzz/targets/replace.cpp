// Replacing text, against std::u16string.
#include <algorithm>

#include "fuzz/targets/target.hpp"

namespace valtrosse::fuzz {
namespace {

/// Few different units make many matches, and many that nearly are.
std::u16string text_of(Bytes bytes, unsigned kind) {
    if (kind == 0) return units(bytes);
    std::u16string text = wide(bytes);
    if (kind < 3)
        for (char16_t& unit : text) unit = static_cast<char16_t>(u'a' + unit % (1 + kind));
    return text;
}

struct Replaced {
    std::size_t matches = 0;
    std::u16string text;
};

Replaced replaced(const std::u16string& text, const std::u16string& pattern,
                  const std::u16string& replacement) {
    Replaced result;
    std::size_t done = 0;
    for (std::size_t at; (at = text.find(pattern, done)) != text.npos && !pattern.empty();) {
        result.text.append(text, done, at - done).append(replacement);
        done = at + pattern.size();
        ++result.matches;
    }
    result.text.append(text, done);
    return result;
}

using Word = std::uint32_t;
using Units = Exact<char16_t>;

void finds(const Units& text, const Units& pattern, const std::u16string& whole,
           const std::u16string& wanted) {
    static const auto find =
        library().symbol_as<const char16_t* (*)(const char16_t*, Word, const char16_t*, Word)>(
            "_x_FindBufferInBuffer");
    static const auto differ =
        library().symbol_as<int (*)(const char16_t*, const char16_t*, Word)>("_x_memcmp");
    static const auto copy =
        library().symbol_as<void (*)(char16_t*, const char16_t*, Word)>("_x_memcpy");
    const std::size_t at = wanted.empty() ? whole.npos : whole.find(wanted);
    const char16_t* found = find(text.data(), text.size(), pattern.data(), pattern.size());
    check(found == (at == whole.npos ? nullptr : text.data() + at), "_x_FindBufferInBuffer");
    const Word both = std::min(text.size(), pattern.size());
    check(differ(text.data(), pattern.data(), both) ==
              !std::equal(text.data(), text.data() + both, wanted.begin()),
          "_x_memcmp");
    const Units copied(std::u16string(both, 0));
    copy(copied.data(), text.data(), both);
    check(std::equal(copied.data(), copied.data() + both, whole.begin()), "_x_memcpy");
}

}  // namespace
}  // namespace valtrosse::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace valtrosse::fuzz;
    using valtrosse::fuzz::Units;
    static const auto replace =
        library()
            .symbol_as<vt_status (*)(vt_host_runtime*, const char16_t*, Word, const char16_t*, Word,
                                     const char16_t*, Word, char16_t**, Word*)>(
                "_x_ReplaceWordInBuffer");
    static const auto mem_free = library().symbol_as<void (*)(void*)>("Mem_Free");
    Input input(data, size);
    const unsigned kind = input.choice(4);
    const std::size_t shift = input.choice(8);
    const std::size_t pattern_size = input.choice(24);
    const std::size_t replacement_size = input.choice(24);
    const std::u16string pattern = text_of(input.take(pattern_size), kind);
    const std::u16string replacement = text_of(input.take(replacement_size), kind);
    const std::u16string text = text_of(input.rest(), kind);
    const auto [matches, wanted] = replaced(text, pattern, replacement);

    const Units in(text, shift), find(pattern, shift), put(replacement, shift);
    finds(in, find, text, pattern);
    char16_t* result = nullptr;
    Word count = 0;
    const vt_status status = replace(library().runtime(), in.data(), in.size(), find.data(),
                                     find.size(), put.data(), put.size(), &result, &count);
    check(status == (matches == 0 ? VT_MALFORMED : VT_OK), "status of replacing");
    check(matches == 0 ? !result && count == 0 : wanted == std::u16string_view(result, count),
          "replaced text");
    if (result) mem_free(result);

    const Outcome outcome = call("xmlDOMUtilStrReplace", text, pattern, replacement);
    check(outcome.status() == status, "status of xmlDOMUtilStrReplace");
    check(matches == 0 || outcome.text() == wanted, "xmlDOMUtilStrReplace");
    end_of_input();
    return 0;
}
