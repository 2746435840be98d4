// The parts of the reference host that calls of the library do not show.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/allocator.hpp"
#include "host/host.hpp"
#include "host/objects.hpp"

namespace valtrosse::host {
namespace {

TEST(HostText, converts_both_ways_and_replaces_what_is_malformed) {
    const std::string utf8("a\0\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF", 15);
    const std::u16string units(u"a\0\u00e9\u20ac\U0001F600\U0010FFFF", 8);
    EXPECT_EQ(to_units(utf8), units);
    EXPECT_EQ(to_utf8(units), utf8);
    // One U+FFFD for each longest part that could begin a character.
    EXPECT_EQ(to_units("\x80z\xE2\x82z\xF0\x9F\x98"), u"\uFFFDz\uFFFDz\uFFFD");
    EXPECT_EQ(to_units("\xC0\x80"), u"\uFFFD\uFFFD");
    EXPECT_EQ(to_units("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");
    EXPECT_EQ(to_units("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD");
    const std::u16string lone = {0xDC00, u'a', 0xD800, 0xD83D, 0xDE00, 0xD800};
    EXPECT_EQ(to_utf8(lone), "\uFFFDa\uFFFD\U0001F600\uFFFD");
}

class HostArena : public testing::Test {
protected:
    /// Allocates as the library does, with one climb at most.
    void* allocate(std::uint32_t size) {
        std::uint32_t need = 0;
        void* block = arena.allocate(&arena, size, &need);
        if (block || need == 0) return block;
        std::uint32_t no_need = 0;
        arena.donate(&arena, arena.parent->allocate(arena.parent, need, &no_need), need);
        return arena.allocate(&arena, size, &need);
    }
    static void release(void* block) {
        while (block != nullptr) {
            vt_block_origin* origin = nullptr;
            std::memcpy(&origin, static_cast<char*>(block) - sizeof(origin), sizeof(origin));
            block = origin->allocator->release(origin->allocator, block);
        }
    }

    Tally tally;
    Faults faults;
    MallocLevel malloc_level;
    Arena arena{malloc_level, tally, faults};
};

TEST_F(HostArena, keeps_blocks_apart_and_gives_back_what_it_was_lent) {
    std::srand(1);
    std::array<std::vector<char>, 40> wanted;
    std::array<char*, 40> blocks{};
    for (int step = 0; step < 20000; ++step) {
        const auto i = static_cast<std::size_t>(std::rand()) % blocks.size();
        if (blocks[i] != nullptr) {
            ASSERT_EQ(std::memcmp(blocks[i], wanted[i].data(), wanted[i].size()), 0) << step;
            release(std::exchange(blocks[i], nullptr));
        } else {
            const auto size = static_cast<std::size_t>(1 + std::rand() % 600);
            wanted[i].assign(size, static_cast<char>(step));
            blocks[i] = static_cast<char*>(allocate(static_cast<std::uint32_t>(size)));
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(blocks[i]) % 8, 0U);
            std::memcpy(blocks[i], wanted[i].data(), size);
        }
    }
    for (char* block : blocks) release(block);
    EXPECT_EQ(tally.live_blocks, 0U);
    const std::uint64_t refills = tally.refills;
    EXPECT_GT(refills, 0U);
    release(allocate(Arena::kRegionBytes - 64));  // its own room is in one piece again
    EXPECT_EQ(tally.refills, refills);
    release(allocate(Arena::kRegionBytes));  // and that is all it has
    EXPECT_EQ(tally.refills, refills + 1);
    EXPECT_EQ(allocate(0x80000000), nullptr);
}

TEST(HostObjects, are_finalised_once_and_handles_may_outlive_the_host) {
    static int finalised;
    finalised = 0;
    vt_type_record record{};
    record.private_size = 8;
    record.term = [](void*) { ++finalised; };
    Tally tally;
    ObjectHandle survivor;
    {
        ObjectStore store(tally);
        store.add_type(record, "Thing", {});
        ObjectType& type = *store.find_type("Thing");
        { const std::vector<ObjectHandle> copies(2, ObjectHandle(store.create(type))); }
        EXPECT_EQ(finalised, 1);
        survivor = ObjectHandle(store.create(type));
        store.create(type);  // nobody keeps it
        EXPECT_EQ(tally.live_objects, 2U);
    }
    EXPECT_EQ(finalised, 3);
    EXPECT_EQ(tally.live_objects, 0U);
    EXPECT_EQ(survivor.get()->data_at(survivor.get(), 4), nullptr);
}

TEST(HostExplain, names_the_parameter_where_it_can_be_told) {
    const Function step{"step", {"node", "relative", "name"}, nullptr};
    const auto why = [&](std::vector<Argument> args, vt_status status, std::uint32_t last = 0) {
        return explain(step, args, Outcome(status, false, {}, last));
    };
    const Argument by_name("name", u"n");
    EXPECT_EQ(why({1, by_name}, 41), "parameter relative of step is not supplied (41)");
    EXPECT_EQ(why({by_name, 7}, 41), "parameter relative of step is not supplied (41)");
    EXPECT_EQ(why({Argument(), {"relative", 1}, u"z"}, 41),
              "parameters node, name of step are not supplied (41)");
    EXPECT_EQ(why({0, 0, u"n"}, 30, 1), "parameter node of step is 0, null or out of range (30)");
    EXPECT_EQ(why({0, 0, u"n"}, 30),
              "an integer parameter of step is 0, null or out of range (30)");
    EXPECT_EQ(why({1, nullptr, 5}, 30),
              "parameter relative of step is 0, null or out of range (30)");
    EXPECT_EQ(why({1, 2, 3}, 28, 3), "parameter name of step is not text (28)");
}

}  // namespace
}  // namespace valtrosse::host
