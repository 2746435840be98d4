// A look at the bytes of a file on their way out, for signs of characters that it cannot hold.
#pragma once

#include <cstddef>
#include <cstdint>

namespace valtrosse {

/// Bytes come in pieces. What is a sign is seen in time linear in their number and small beside the time
/// that libxml2 takes to make them.
class OutputCheck {
public:
    enum class Kind {
        none,
        utf8,              // control characters, surrogates, U+FFFE, U+FFFF
        utf16_little_end,  // the same, and surrogates only where they are no pair
        utf16_big_end,
        references  // ASCII and its supersets: control characters, references that need not be
    };
    /// Whether what is found in UTF-8 or UTF-16 is surely there.
    static bool is_sure(Kind kind) { return kind != Kind::none && kind != Kind::references; }

    explicit OutputCheck(Kind kind = Kind::none) : kind_(kind) {}

    Kind kind() const { return kind_; }
    void look_at(const char* bytes, std::size_t count);
    bool found() const { return found_; }

private:
    void look_at_utf8(const std::uint8_t* bytes, std::size_t count);
    void look_at_utf16(const std::uint8_t* bytes, std::size_t count);
    void look_for_references(const std::uint8_t* bytes, std::size_t count);
    bool ends_reference(std::uint8_t byte);

    Kind kind_;
    bool found_ = false;
    std::uint8_t last_[2] = {};   // the last two bytes of UTF-8 so far
    bool is_second_due_ = false;  // of a pair
    bool is_in_reference_ = false;
    std::size_t reference_length_ = 0;  // what is kept of it, without "&"
    char reference_[5] = {};
};

}  // namespace valtrosse
