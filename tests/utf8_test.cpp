// Host text to UTF-8 and 8-bit text, and back.
#include <array>
#include <random>

#include "tests/fixture.hpp"

namespace valtrosse::host {
namespace {

/// The UTF-8 of each unit, computed digit by digit.
Blob utf8_of(std::u16string_view text) {
    Blob bytes;
    const auto add = [&](unsigned value) { bytes.push_back(static_cast<std::uint8_t>(value)); };
    for (const unsigned unit : text) {
        if (unit < 128) add(unit);
        if (unit >= 128 && unit < 2048) add(192 + unit / 64);
        if (unit >= 2048) add(224 + unit / 4096);
        if (unit >= 2048) add(128 + unit / 64 % 64);
        if (unit >= 128) add(128 + unit % 64);
    }
    return bytes;
}

template <typename Content>
std::uint32_t count_of(const Content& content) {
    return static_cast<std::uint32_t>(content.size());
}

class Utf8 : public LibraryTest {
protected:
    using Result = std::pair<vt_status, std::uint32_t>;  // status and count
    static constexpr std::uint32_t untouched = 0xABCDABCD;

    /// Encodes and compares all that is written with what must be.
    void expect_encoded(std::u16string_view text, std::uint32_t capacity, std::size_t shift) {
        const Blob utf8 = utf8_of(text);
        std::size_t cut = std::min<std::size_t>(capacity, utf8.size());
        while (cut < utf8.size() && utf8[cut] >> 6 == 2) --cut;  // whole sequences only
        Blob wanted(capacity, 0xEE);
        const Exact<char16_t> in(text, shift);
        const Exact<std::uint8_t> out(wanted);
        std::copy_n(utf8.begin(), cut, wanted.begin());
        if (utf8.size() < capacity) wanted[utf8.size()] = 0;
        Result got{0, untouched};
        got.first = to_utf8(in.data, count_of(text), out.data, capacity, &got.second);
        const vt_status status = utf8.size() < capacity ? 0 : 28;
        ASSERT_EQ(got, Result(status, utf8.size())) << text.size() << " " << capacity;
        ASSERT_EQ(wanted, Blob(out.data, out.data + capacity)) << text.size() << " " << capacity;
    }
    /// Decodes into out, which has room for as many units as it is long.
    Result decode(const Blob& utf8, std::u16string& out, std::size_t shift = 0) {
        const Exact<std::uint8_t> in(utf8, shift);
        const Exact<char16_t> units(out);
        Result got{0, untouched};
        got.first = from_utf8(in.data, count_of(utf8), units.data, count_of(out), &got.second);
        std::copy_n(units.data, out.size(), out.begin());
        return got;
    }

    using Word = std::uint32_t;
    template <typename In, typename Out, typename... Rest>
    using Into = vt_status(const In*, Word, Out*, Word, Rest...);
    template <typename In, typename Out, typename... Rest>
    using New = vt_status(vt_host_runtime*, const In*, Word, Out**, Word, Rest...);
    template <typename F>
    F* function(const char* name) {
        return host.symbol_as<F*>((std::string("TOVIKUTF8_") + name).c_str());
    }
    using Units = char16_t;
    using Bytes = std::uint8_t;
    Into<Units, Bytes, Word*>& to_utf8 = *function<Into<Units, Bytes, Word*>>("ToUTF8");
    Into<Bytes, Units, Word*>& from_utf8 = *function<Into<Bytes, Units, Word*>>("FromUTF8");
    New<Units, Bytes, Word*>& to_utf8_new = *function<New<Units, Bytes, Word*>>("TOVIKToUTF8_New");
    New<Bytes, Units, Word*>& from_utf8_new =
        *function<New<Bytes, Units, Word*>>("UTF8ToTOVIK_New");
    New<Units, Bytes>& to_char_new = *function<New<Units, Bytes>>("TOVIKToChar_New");
    New<Bytes, Units>& from_char_new = *function<New<Bytes, Units>>("CharToTOVIK_New");
};

TEST_F(Utf8, every_unit_crosses_and_comes_back) {
    std::u16string all(0x10000, u'\0');
    for (std::size_t unit = 0; unit < all.size(); ++unit) all[unit] = static_cast<char16_t>(unit);
    for (int round = 0; round < 2; ++round) {
        const Blob utf8 = utf8_of(all);
        EXPECT_EQ(call("xmlUTF8Encode", all).blob(), utf8);
        EXPECT_EQ(call("xmlUTF8Decode", utf8).text(), all);
        // Again in an order in which kinds of units meet at every position of a vector.
        std::shuffle(all.begin(), all.end(), std::mt19937(1));
    }
}

TEST_F(Utf8, frame_buffers_end_at_200) {
    EXPECT_TRUE(call("xmlUTF8Encode", u"").blob().empty());
    EXPECT_TRUE(call("xmlUTF8Decode", Blob{}).text().empty());
    host.faults().read = VT_MALFORMED;  // the host's own, too
    expect_no_value("xmlUTF8Decode", Blob{});
    host.faults() = {};
    EXPECT_TRUE(call("xmlUTF8Encode", Argument::string_without_text()).blob().empty());
    for (std::size_t count : {197U, 198U, 199U, 200U, 201U, 300U})
        for (char16_t last : {u'a', u'\u00e9', u'\u20ac'}) {
            const std::u16string text = std::u16string(count - 1, u'a') + last;
            const Blob utf8 = utf8_of(text);
            const auto before = host.counters().allocations;
            EXPECT_EQ(call("xmlUTF8Encode", text).blob(), utf8);
            const auto between = host.counters().allocations;
            EXPECT_EQ(call("xmlUTF8Decode", utf8).text(), text);
            EXPECT_EQ(between - before, utf8.size() > 199 ? 1U : 0U) << count;
            EXPECT_EQ(host.counters().allocations - between, count > 200 ? 1U : 0U) << count;
        }
}

TEST_F(Utf8, random_text_in_every_capacity) {
    std::mt19937 random(2);
    const auto below = [&](std::size_t limit) { return random() % limit; };
    for (int round = under_valgrind() ? 180 : 0; round < 200; ++round) {
        // Runs of ASCII and of other units, of lengths about that of a vector, cut off anywhere.
        std::u16string text;
        while (text.size() < below(90)) {
            const std::size_t limit = std::array{0x80U, 0x80U, 0x800U, 0x10000U}[below(4)];
            for (std::size_t run = below(40); run > 0; --run)
                text += static_cast<char16_t>(below(limit));
        }
        const Blob utf8 = utf8_of(text);
        for (std::uint32_t capacity = 0; capacity < utf8.size() + 3; ++capacity)
            ASSERT_NO_FATAL_FAILURE(expect_encoded(text, capacity, capacity % 9));
        for (std::uint32_t capacity = 0; capacity < text.size() + 2; ++capacity) {
            std::u16string out(capacity, u'\0'), wanted = text;
            wanted.resize(capacity);
            const vt_status status = capacity < text.size() ? 28 : 0;
            ASSERT_EQ(decode(utf8, out, capacity % 17), Result(status, count_of(text)));
            ASSERT_EQ(out, wanted);
        }
    }
}

TEST_F(Utf8, faults_of_the_input_in_order) {
    // What is above U+FFFF is found before a missing byte, or after it.
    const std::pair<vt_status, std::vector<std::string>> faults[] = {
        {33,
         {"\x80", "\xBF", "\xFF", "\xC3", "\xFE\x80\x80\x80\x80\x80\x80", "\xC3(", "\xC3\xC3",
          "\xE2\x82", "\xE2\x82z", "\xFC\x80\x80\x82\x82", "\xF0\x9F\x98", "\xF0\x9F\x98z",
          "\x80\xF0\x9F\x98\x80"}},
        {62,
         {"\xF0\x9F\x98\x80", "\xF0\x90\x80\x80", "\xF8\x80\x90\x80\x80",
          "\xFC\x80\x80\x90\x80\x80", "\xFD\xBF\xBF\xBF\xBF\xBF", "\xFD\xBF\xBF\xBFz"}}};
    for (const auto& [status, inputs] : faults)
        for (const std::string& input : inputs)
            for (std::size_t before : {0U, 3U, 16U, 31U}) {
                const std::string bytes = std::string(before, 'a') + input;
                const Blob utf8(bytes.begin(), bytes.end());
                std::u16string room(40, u'\0'), no_room;
                EXPECT_EQ(decode(utf8, room), Result(status, untouched)) << bytes;
                EXPECT_EQ(room.substr(0, before), std::u16string(before, u'a')) << bytes;
                // A fault behind the room counts as well.
                EXPECT_EQ(decode(utf8, no_room), Result(status, untouched)) << bytes;
                EXPECT_EQ(from_utf8(utf8.data(), count_of(utf8), nullptr, 0, nullptr), status)
                    << bytes;
                const Outcome outcome = call("xmlUTF8Decode", utf8);
                EXPECT_EQ(outcome.status(), status == 62 ? 62U : 0U) << bytes;
                EXPECT_TRUE(outcome.no_value()) << bytes;
            }
    // Over-long forms are read, and surrogates stay apart.
    const Blob odd = {0xC0, 0x80, 0xE0, 0x80, 0xAF, 0xF0, 0x8F, 0xBF, 0xBF, 0xF8, 0x80, 0x8F, 0xBF,
                      0xBF, 0xFC, 0x80, 0x80, 0x82, 0x82, 0xAC, 0xED, 0xA0, 0xBD, 0xED, 0xB8, 0x80};
    EXPECT_EQ(call("xmlUTF8Decode", odd).text(),
              (std::u16string{0, u'/', 0xFFFF, 0xFFFF, 0x20AC, 0xD83D, 0xDE00}));
}

TEST_F(Utf8, new_variants_move_to_the_heap_only_when_needed) {
    vt_host_runtime* const runtime = host.runtime();
    const std::u16string text = u"ab\u00e9\u0141z", low_units = {u'a', u'b', 0xE9, 0x41, u'z'};
    const Blob utf8 = utf8_of(text + u'\0'), low = {'a', 'b', 0xE9, 0x41, 'z', 0};
    std::uint8_t frame[10];
    char16_t frame_units[10];
    const auto check = [&](auto* local, std::uint32_t need, const auto& wanted, auto convert) {
        for (std::uint32_t capacity = 0; capacity < 10; ++capacity) {
            auto* buffer = local;
            local[need - 1] = '-';
            EXPECT_EQ(convert(&buffer, capacity), VT_OK);
            EXPECT_EQ(buffer != local, capacity < need) << capacity;
            EXPECT_TRUE(std::equal(wanted.begin(), wanted.end(), buffer)) << capacity;
            if (buffer != local) host.symbol_as<void (*)(void*)>("Mem_Free")(buffer);
        }
    };
    std::uint32_t length = 0, count = untouched;
    check(frame, 8, utf8, [&](auto** out, auto room) {
        return to_utf8_new(runtime, text.data(), 5, out, room, &length);
    });
    check(frame, 6, low,
          [&](auto** out, auto room) { return to_char_new(runtime, text.data(), 5, out, room); });
    check(frame_units, 5, text, [&](auto** out, auto room) {
        return from_utf8_new(runtime, utf8.data(), 7, out, room, &count);
    });
    EXPECT_TRUE(length == 7 && count == 5);
    check(frame_units, 6, low_units,
          [&](auto** out, auto room) { return from_char_new(runtime, low.data(), 6, out, room); });
    EXPECT_EQ(frame_units[5], u'-');  // the place of the terminator is left as it was
    std::uint8_t* bytes = frame;
    char16_t* units = frame_units;
    frame_units[0] = u'-';
    EXPECT_EQ(from_char_new(runtime, low.data(), 0, &units, 0), 0U);
    EXPECT_EQ(from_char_new(runtime, low.data(), 1, &units, 1), 0U);
    EXPECT_EQ(frame_units[0], u'-');

    // Without memory the caller's pointer stays his own.
    const auto fails = [&](auto convert, vt_status status) {
        host.faults().fail_allocation = 1;
        EXPECT_EQ(convert(), status);
        EXPECT_TRUE(bytes == frame && units == frame_units);
    };
    fails([&] { return to_utf8_new(runtime, text.data(), 5, &bytes, 1, nullptr); }, 1);
    fails([&] { return from_utf8_new(runtime, utf8.data(), 7, &units, 1, nullptr); }, 1);
    fails([&] { return to_char_new(runtime, text.data(), 5, &bytes, 1); }, 1);
    fails([&] { return from_char_new(runtime, low.data(), 6, &units, 1); }, 1);
    fails([&] { return from_utf8_new(runtime, low.data(), 6, &units, 1, nullptr); }, 33);

    // Nulls: a text, an output, a length, the pointer to the buffer.
    EXPECT_TRUE(to_utf8(nullptr, 5, frame, 1, &count) == 0 && count == 0 && frame[0] == 0);
    EXPECT_EQ(to_utf8(nullptr, 5, frame, 0, nullptr), 28U);
    EXPECT_TRUE(to_utf8(text.data(), 5, nullptr, 0, &count) == 0 && count == 7);
    EXPECT_TRUE(from_utf8(nullptr, 5, nullptr, 0, &count) == 0 && count == 0);
    EXPECT_EQ(from_utf8(utf8.data(), 1, nullptr, 1, nullptr), 0U);
    EXPECT_EQ(to_utf8_new(runtime, u"a", 1, nullptr, 9, &count), 33U);
    EXPECT_EQ(from_utf8_new(runtime, frame, 1, nullptr, 9, &count), 33U);
    EXPECT_EQ(to_char_new(runtime, u"a", 1, nullptr, 9), 33U);
    EXPECT_EQ(from_char_new(runtime, frame, 1, nullptr, 9), 33U);
}

TEST_F(Utf8, limits_of_a_block) {
    static std::uint32_t asked;
    vt_allocator nothing{};
    nothing.allocate = [](vt_allocator*, std::uint32_t size, std::uint32_t*) -> void* {
        asked = size;
        return nullptr;
    };
    vt_host_runtime runtime{};
    runtime.allocator = &nothing;
    // The text is not looked at before there is room for it.
    std::uint8_t byte = 0, *bytes = &byte;
    char16_t unit = 0, *units = &unit;
    const auto expect_asked = [](std::uint32_t size, vt_status status) {
        EXPECT_EQ(status, size ? 1U : 62U);
        EXPECT_EQ(std::exchange(asked, 0), size);
    };
    constexpr std::uint32_t most = 0x40000000;
    expect_asked(most, to_char_new(&runtime, &unit, most - 1, &bytes, 1));
    expect_asked(0, to_char_new(&runtime, &unit, most, &bytes, 1));
    expect_asked(0, to_char_new(&runtime, &unit, 0xFFFFFFFF, &bytes, 1));
    expect_asked(most, from_char_new(&runtime, &byte, most / 2, &units, 1));
    expect_asked(0, from_char_new(&runtime, &byte, most / 2 + 1, &units, 1));
}

}  // namespace
}  // namespace valtrosse::host
