// Host text to UTF-8 and 8-bit text and back, against plain ones written down digit by digit.
#include <algorithm>
#include <optional>

#include "fuzz/targets/target.hpp"
#include "utf8/kernels.hpp"

namespace valtrosse::fuzz {
namespace {

// ---- The plain conversions -----------------------------------------------------------------------

/// The UTF-8 of one unit: six bits a byte, the marks added as numbers.
Blob encoded(char16_t unit) {
    const unsigned value = unit;
    const auto byte = [](unsigned number) { return static_cast<std::uint8_t>(number); };
    if (value <= 127) return {byte(value)};
    if (value <= 2047) return {byte(192 + value / 64), byte(128 + value % 64)};
    return {byte(224 + value / 4096), byte(128 + value / 64 % 64), byte(128 + value % 64)};
}

struct Decoded {
    vt_status status;
    std::u16string text;  // up to the fault
};

/// Forms of one to six bytes, over-long ones included, as the first definition of UTF-8 had them.
Decoded decoded(Bytes utf8) {
    std::u16string text;
    for (std::size_t i = 0; i < utf8.size();) {
        const unsigned lead = utf8[i++];
        unsigned more = 0;
        unsigned long long value = lead;
        if (lead >= 254 || (lead >= 128 && lead <= 191)) return {VT_MALFORMED, text};
        if (lead >= 252)
            more = 5, value = lead - 252;
        else if (lead >= 248)
            more = 4, value = lead - 248;
        else if (lead >= 240)
            more = 3, value = lead - 240;
        else if (lead >= 224)
            more = 2, value = lead - 224;
        else if (lead >= 192)
            more = 1, value = lead - 192;
        for (; more > 0; --more) {
            if (i == utf8.size() || utf8[i] < 128 || utf8[i] > 191) return {VT_MALFORMED, text};
            value = value * 64 + (utf8[i++] - 128);
            if (value > 0xFFFF) return {VT_TOO_LARGE, text};
        }
        text.push_back(static_cast<char16_t>(value));
    }
    return {VT_OK, text};
}

// ---- The library's -------------------------------------------------------------------------------

using Word = std::uint32_t;
template <typename F>
F function(const char* name) {
    return library().symbol_as<F>(name);
}

constexpr Word untouched = 0xABCDABCD;

void encodes(const std::u16string& text, Word capacity, std::size_t shift) {
    static const auto to_utf8 =
        function<vt_status (*)(const char16_t*, Word, std::uint8_t*, Word, Word*)>(
            "TOVIKUTF8_ToUTF8");
    Blob wanted(capacity, 0xEE);
    Word length = 0;
    bool fits = true;
    for (const char16_t unit : text) {
        const Blob sequence = encoded(unit);
        fits = fits && length + sequence.size() <= capacity;
        if (fits) std::copy(sequence.begin(), sequence.end(), &wanted[length]);
        length += static_cast<Word>(sequence.size());
    }
    if (fits && length < capacity) wanted[length] = 0;

    const Exact<char16_t> in(text, shift);
    const Exact<std::uint8_t> out(Blob(capacity, 0xEE), shift);
    Word told = untouched;
    const vt_status status = to_utf8(in.data(), in.size(), out.data(), capacity, &told);
    check(status == (length < capacity ? VT_OK : VT_BUFFER_TOO_SMALL), "status of encoding");
    check(told == length, "length of encoding");
    check(std::equal(wanted.begin(), wanted.end(), out.data()), "bytes of encoding");
    check(to_utf8(in.data(), in.size(), nullptr, 0, &told) == VT_OK && told == length,
          "measured length");

    // The loops below, at this alignment.
    const Exact<std::uint8_t> raw(Blob(capacity, 0xEE), shift);
    const auto done = utf8::encode(in.data(), text.size(), raw.data(), capacity);
    check(utf8::encoded_length(in.data(), text.size()) == length, "encoded_length");
    check(done.out <= capacity && std::equal(raw.data(), raw.data() + done.out, wanted.begin()),
          "encode");
    check((done.in == text.size()) == (length <= capacity), "how far encode came");
}

void decodes(Bytes utf8, Word capacity, std::size_t shift) {
    static const auto from_utf8 =
        function<vt_status (*)(const std::uint8_t*, Word, char16_t*, Word, Word*)>(
            "TOVIKUTF8_FromUTF8");
    const Decoded wanted = decoded(utf8);
    const Exact<std::uint8_t> in(utf8, shift);
    const Exact<char16_t> out(std::u16string(capacity, u'\xEEEE'), shift);
    Word told = untouched;
    const vt_status status = from_utf8(in.data(), in.size(), out.data(), capacity, &told);
    const std::size_t fits = std::min<std::size_t>(wanted.text.size(), capacity);
    if (wanted.status != VT_OK) {
        check(status == wanted.status && told == untouched, "status of a fault");
    } else {
        check(status == (wanted.text.size() <= capacity ? VT_OK : VT_BUFFER_TOO_SMALL),
              "status of decoding");
        check(told == wanted.text.size(), "count of decoding");
    }
    check(std::equal(out.data(), out.data() + fits, wanted.text.begin()), "units of decoding");
    // After a fault there may be anything behind the text.
    check(wanted.status != VT_OK || std::all_of(out.data() + fits, out.data() + capacity,
                                                [](char16_t unit) { return unit == u'\xEEEE'; }),
          "units behind the text");
    check(from_utf8(in.data(), in.size(), nullptr, ~Word{0}, &told) == wanted.status,
          "status of measuring");

    vt_status counted = VT_OK;
    check(utf8::decode(in.data(), in.size(), nullptr, 0, counted).out == wanted.text.size() &&
              counted == wanted.status,
          "decode only counting");
}

/// The variants that move to the host's memory, from a buffer of `capacity`.
void moves(const std::u16string& text, Bytes utf8, Word capacity) {
    static const auto to_utf8_new =
        function<vt_status (*)(vt_host_runtime*, const char16_t*, Word, std::uint8_t**, Word,
                               Word*)>("TOVIKUTF8_TOVIKToUTF8_New");
    static const auto from_utf8_new =
        function<vt_status (*)(vt_host_runtime*, const std::uint8_t*, Word, char16_t**, Word,
                               Word*)>("TOVIKUTF8_UTF8ToTOVIK_New");
    static const auto to_char_new =
        function<vt_status (*)(vt_host_runtime*, const char16_t*, Word, std::uint8_t**, Word)>(
            "TOVIKUTF8_TOVIKToChar_New");
    static const auto from_char_new =
        function<vt_status (*)(vt_host_runtime*, const std::uint8_t*, Word, char16_t**, Word)>(
            "TOVIKUTF8_CharToTOVIK_New");
    static const auto mem_free = function<void (*)(void*)>("Mem_Free");
    vt_host_runtime* runtime = library().runtime();

    const auto with_buffer = [&]<typename Element>(Element, std::size_t size, auto convert,
                                                   auto right) {
        const Exact<Element> local(std::basic_string<Element>(capacity, Element{0}));
        Element* buffer = local.data();
        check(convert(&buffer) == VT_OK, "status of a conversion with a new buffer");
        check((buffer == local.data()) == (size <= capacity), "whose buffer it is");
        check(right(buffer), "a conversion with a new buffer");
        if (buffer != local.data()) mem_free(buffer);
    };
    const auto count = static_cast<Word>(text.size());
    Blob all;
    for (const char16_t unit : text)
        for (const std::uint8_t byte : encoded(unit)) all.push_back(byte);
    Word length = 0;
    with_buffer(
        std::uint8_t{}, all.size() + 1,
        [&](auto** buffer) {
            return to_utf8_new(runtime, text.data(), count, buffer, capacity, &length);
        },
        [&](auto* buffer) {
            return length == all.size() && std::equal(all.begin(), all.end(), buffer) &&
                   buffer[length] == 0;
        });
    with_buffer(
        std::uint8_t{}, text.size() + 1,
        [&](auto** buffer) { return to_char_new(runtime, text.data(), count, buffer, capacity); },
        [&](auto* buffer) {
            return std::equal(
                       text.begin(), text.end(), buffer,
                       [](char16_t unit, std::uint8_t byte) { return unit % 256 == byte; }) &&
                   buffer[count] == 0;
        });
    // Its count includes the place of a terminator, which is not written.
    with_buffer(
        char16_t{}, utf8.size() + 1,
        [&](auto** buffer) {
            return from_char_new(runtime, utf8.data(), static_cast<Word>(utf8.size() + 1), buffer,
                                 capacity);
        },
        [&](auto* buffer) { return std::equal(utf8.begin(), utf8.end(), buffer); });
    if (const Decoded wanted = decoded(utf8); wanted.status == VT_OK)
        with_buffer(
            char16_t{}, wanted.text.size(),
            [&](auto** buffer) {
                return from_utf8_new(runtime, utf8.data(), static_cast<Word>(utf8.size()), buffer,
                                     capacity, &length);
            },
            [&](auto* buffer) { return wanted.text == std::u16string_view(buffer, length); });
    const Blob given = call("xmlUTF8Encode", text).blob();
    check(given == all, "xmlUTF8Encode");
    check(call("xmlUTF8Decode", given).text() == text, "there and back");
}

}  // namespace
}  // namespace valtrosse::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace valtrosse::fuzz;
    Input input(data, size);
    const std::size_t shift = input.choice(16);
    const std::uint32_t capacity = input.choice(256);
    const Bytes bytes = input.rest();
    const std::u16string text = units(bytes);
    for (const std::uint32_t room : {capacity, static_cast<std::uint32_t>(3 * bytes.size() + 1)}) {
        encodes(text, room, shift);
        encodes(wide(bytes), room, shift);
        decodes(bytes, room, shift);
        moves(text, bytes, room);
    }
    end_of_input();
    return 0;
}
