// Where a generator takes its decisions from: a seeded sequence, or the bytes of a fuzzer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace valtrosse::random {

class Choices {
public:
    virtual ~Choices() = default;

    /// A number from 0 to n - 1. n is at least 1.
    virtual std::uint32_t below(std::uint32_t n) = 0;
    /// There is nothing left to choose from: the run ends.
    virtual bool exhausted() const { return false; }

    bool chance(std::uint32_t percent) { return below(100) < percent; }
    template <typename Range>
    const auto& pick(const Range& range) {
        return std::data(range)[below(static_cast<std::uint32_t>(std::size(range)))];
    }
};

/// The same endless sequence for the same seed, on every machine.
class SeededChoices : public Choices {
public:
    explicit SeededChoices(std::uint64_t seed) : state_(seed) {}

    std::uint32_t below(std::uint32_t n) override {
        // SplitMix64.
        std::uint64_t z = state_ += 0x9E3779B97F4A7C15;
        z = (z ^ z >> 30) * 0xBF58476D1CE4E5B9;
        z = (z ^ z >> 27) * 0x94D049BB133111EB;
        z ^= z >> 31;
        return static_cast<std::uint32_t>((z >> 32) * n >> 32);
    }

private:
    std::uint64_t state_;
};

/// Decisions from bytes: one for a choice among up to 256, else two. After the last byte it is all 0.
class ByteChoices : public Choices {
public:
    explicit ByteChoices(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    std::uint32_t below(std::uint32_t n) override {
        if (n <= 1) return 0;
        std::uint32_t value = next();
        if (n > 256) value = value << 8 | next();
        return value % n;
    }
    bool exhausted() const override { return at_ >= bytes_.size(); }

private:
    std::uint32_t next() { return at_ < bytes_.size() ? bytes_[at_++] : 0; }

    std::span<const std::uint8_t> bytes_;
    std::size_t at_ = 0;
};

}  // namespace valtrosse::random
