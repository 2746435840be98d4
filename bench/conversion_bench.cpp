// Host text to UTF-8 and back, and replacement in host text, against the speed of memory.
#include <iconv.h>

#include <cstdlib>
#include <cstring>

#include "bench/functions.hpp"
#include "bench/report.hpp"

namespace valtrosse::bench {
namespace {

using ToUtf8 = vt_status (*)(const char16_t*, std::uint32_t, std::uint8_t*, std::uint32_t,
                             std::uint32_t*);
using FromUtf8 = vt_status (*)(const std::uint8_t*, std::uint32_t, char16_t*, std::uint32_t,
                               std::uint32_t*);

/// A sample repeated to `bytes` bytes of UTF-8 at least.
struct Text {
    std::string utf8;
    std::u16string units;

    Text(std::string_view sample, std::size_t bytes) {
        while (utf8.size() < bytes) utf8 += sample;
        units = host::to_units(utf8);
    }
    std::size_t larger_side() const { return std::max(utf8.size(), 2 * units.size()); }
};

/// iconv over the whole text, again and again.
void run_iconv(benchmark::State& state, const char* to, const char* from, const void* text,
               std::size_t bytes, std::size_t room) {
    const iconv_t converter = iconv_open(to, from);
    std::vector<char> out(room + 8);
    for (auto _ : state) {
        char* in = static_cast<char*>(const_cast<void*>(text));
        std::size_t left = bytes;
        char* at = out.data();
        std::size_t space = out.size();
        if (iconv(converter, &in, &left, &at, &space) != 0) state.SkipWithError("iconv failed");
        benchmark::DoNotOptimize(out.data());
    }
    iconv_close(converter);
}

void compare_conversions(const std::string& kind, std::string_view sample, std::size_t bytes,
                         double target) {
    const auto text = std::make_shared<Text>(sample, bytes);
    const std::string size = bytes >= 1000000 ? std::to_string(bytes / 1000000) + " MB"
                             : bytes >= 1000  ? std::to_string(bytes / 1000) + " kB"
                                              : std::to_string(bytes) + " B";
    const Job to_utf8 = [text](benchmark::State& state) {
        const auto convert = shared_host().symbol_as<ToUtf8>("TOVIKUTF8_ToUTF8");
        std::vector<std::uint8_t> out(text->utf8.size() + 1);
        std::uint32_t length = 0;
        for (auto _ : state) {
            convert(text->units.data(), static_cast<std::uint32_t>(text->units.size()), out.data(),
                    static_cast<std::uint32_t>(out.size()), &length);
            benchmark::DoNotOptimize(out.data());
        }
        if (length != text->utf8.size()) state.SkipWithError("wrong length");
    };
    const Job from_utf8 = [text](benchmark::State& state) {
        const auto convert = shared_host().symbol_as<FromUtf8>("TOVIKUTF8_FromUTF8");
        std::vector<char16_t> out(text->units.size());
        std::uint32_t count = 0;
        for (auto _ : state) {
            convert(reinterpret_cast<const std::uint8_t*>(text->utf8.data()),
                    static_cast<std::uint32_t>(text->utf8.size()), out.data(),
                    static_cast<std::uint32_t>(out.size()), &count);
            benchmark::DoNotOptimize(out.data());
        }
        if (count != text->units.size()) state.SkipWithError("wrong count");
    };
    const Job copy = [text](benchmark::State& state) {
        const std::vector<char> in(text->larger_side());
        std::vector<char> out(in.size());
        for (auto _ : state) {
            std::memcpy(out.data(), in.data(), in.size());
            benchmark::DoNotOptimize(out.data());
            benchmark::ClobberMemory();
        }
    };
    const Job iconv_to = [text](benchmark::State& state) {
        run_iconv(state, "UTF-8", "UTF-16LE", text->units.data(), 2 * text->units.size(),
                  text->utf8.size());
    };
    const Job iconv_from = [text](benchmark::State& state) {
        run_iconv(state, "UTF-16LE", "UTF-8", text->utf8.data(), text->utf8.size(),
                  2 * text->units.size());
    };
    const std::string label = kind + ", " + size;
    compare("To UTF-8, against memory", label, target, to_utf8, copy, "memcpy, larger side");
    compare("From UTF-8, against memory", label, target, from_utf8, copy, "memcpy, larger side");
    if (bytes != 10000) return;
    compare("To UTF-8, against iconv", label, 1 / 3.0, to_utf8, iconv_to, "the C library's iconv");
    compare("From UTF-8, against iconv", label, 1 / 3.0, from_utf8, iconv_from,
            "the C library's iconv");
}

/// 10 MB of host text with 1,000,000 matches; the host's allocator gives a new block each time.
void compare_replacements() {
    using Replace =
        vt_status (*)(vt_host_runtime*, const char16_t*, std::uint32_t, const char16_t*,
                      std::uint32_t, const char16_t*, std::uint32_t, char16_t**, std::uint32_t*);
    const auto text = std::make_shared<std::u16string>();
    for (int i = 0; i < 1000000; ++i) *text += u"abcde";
    const Job two_copies = [text](benchmark::State& state) {
        const std::size_t bytes = 2 * text->size();
        for (auto _ : state)
            for (int i = 0; i < 2; ++i) {
                void* const block = std::malloc(bytes);
                std::memcpy(block, text->data(), bytes);
                benchmark::DoNotOptimize(block);
                std::free(block);
            }
    };
    const auto compare_with = [&](std::u16string_view pattern, std::u16string_view replacement) {
        compare(
            "StrReplace, 1,000,000 matches in 10 MB",
            host::to_utf8(pattern) + " to " + host::to_utf8(replacement), 2,
            [text, pattern, replacement](benchmark::State& state) {
                const auto replace = shared_host().symbol_as<Replace>("_x_ReplaceWordInBuffer");
                const auto release = shared_host().symbol_as<void (*)(void*)>("Mem_Free");
                const auto size = [](auto units) {
                    return static_cast<std::uint32_t>(units.size());
                };
                for (auto _ : state) {
                    char16_t* result = nullptr;
                    std::uint32_t count = 0;
                    replace(shared_host().runtime(), text->data(), size(*text), pattern.data(),
                            size(pattern), replacement.data(), size(replacement), &result, &count);
                    release(result);
                }
            },
            two_copies, "two copies into new blocks");
    };
    compare_with(u"c", u"x");
    compare_with(u"cd", u"xy");
    compare_with(u"cd", u"xyz");
    compare_with(u"bcd", u"x");
}

const Registration conversions([] {
    struct Sample {
        const char* kind;
        const char* text;
        double target;
    };
    static constexpr Sample samples[] = {
        {"ASCII", "The quick brown fox jumps over the lazy dog. ", 2},
        {"Latin",
         "Le c\u0153ur d\u00e9\u00e7u mais l'\u00e2me plut\u00f4t na\u00efve, Lou\u00ffs "
         "r\u00eava de crapa\u00fcter en cano\u00eb. ",
         1 / 0.15},
        {"Cyrillic",
         "\u0421\u044a\u0435\u0448\u044c \u0436\u0435 \u0435\u0449\u0451 \u044d\u0442"
         "\u0438\u0445 \u043c\u044f\u0433\u043a\u0438\u0445 \u0431\u0443\u043b\u043e"
         "\u043a. ",
         1 / 0.15},
        {"CJK", "\u6211\u80fd\u541e\u4e0b\u73bb\u7483\u800c\u4e0d\u4f24\u8eab\u4f53\u3002",
         1 / 0.15},
        {"mixed", "<p>\u6211\u80fd gla\u00df \u043c\u044f\u0433</p>\n", 1 / 0.15},
    };
    for (const Sample& sample : samples)
        for (const std::size_t bytes : {100u, 10000u, 10000000u})
            compare_conversions(sample.kind, sample.text, bytes, sample.target);
    compare_replacements();
});

}  // namespace
}  // namespace valtrosse::bench
