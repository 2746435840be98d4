// The face towards the host: entry points, tables, the frame of every call, the host's memory.
#include <array>
#include <cstring>
#include <map>
#include <variant>

#include "tests/fixture.hpp"

namespace valtrosse::host {
namespace {

using Table = std::array<vt_host_function, VT_HOST_API_SLOTS>;

class Abi : public LibraryTest {
protected:
    template <typename F>
    F entry(std::int32_t id) const {
        return reinterpret_cast<F>(host.symbol_as<vt_dispatcher>("TOVIK")(id));
    }
    vt_name symbol(std::uint32_t index) const {
        vt_name name{};
        EXPECT_EQ(entry<vt_get_symbol>(103)(nullptr, index, &name), VT_OK);
        return name;
    }
    static std::string utf8(vt_name name) { return to_utf8({name.units, name.bytes / 2}); }
    template <typename Slots>
    auto fetch_table() const {
        return host.symbol_as<vt_status (*)(vt_api_provider*, Slots*)>("TOVIK_GetExternalApiFuncs");
    }
    const void* address(const char* name) const { return host.symbol(name); }
    /// Compares the fields of an exported table: numbers of 32 bits, and addresses.
    using Field = std::variant<std::uint32_t, const void*>;
    void expect_fields(const char* table, const std::vector<Field>& wanted) const {
        const auto* at = host.symbol_as<const char*>(table);
        std::vector<Field> found;
        for (Field field : wanted) {
            std::visit(
                [&at](auto& value) {
                    while (reinterpret_cast<std::uintptr_t>(at) % sizeof value != 0) ++at;
                    std::memcpy(&value, at, sizeof value);
                    at += sizeof value;
                },
                field);
            found.push_back(field);
        }
        EXPECT_EQ(found, wanted) << table;
    }
};

TEST_F(Abi, entry_points_and_symbols) {
    const std::map<std::int32_t, const char*> entries = {
        {100, "TOVIKLIBXML_GetRefCount"}, {101, "TOVIKLIBXML_GetRef"},
        {102, "TOVIKLIBXML_GetSymCount"}, {103, "TOVIKLIBXML_GetSymbol"},
        {104, "TOVIKLIBXML_AddTypes"},    {105, "TOVIKLIBXML_AddFunctions"},
        {110, "TOVIK_GetVersion"}};
    for (std::int32_t id = -1; id < 400; ++id)
        EXPECT_EQ(entry<void*>(id), entries.contains(id) ? host.symbol(entries.at(id)) : nullptr);
    const auto ref = entry<vt_get_ref>(101);
    const auto count = entry<vt_get_symbol_count>(102);
    const auto get_symbol = entry<vt_get_symbol>(103);
    std::uint32_t word = 7;
    vt_name name{7, nullptr};
    EXPECT_EQ(entry<vt_get_ref_count>(100)(), 1U);
    for (std::uint32_t index : {0U, 189U, 0xFFFFFFFFU}) {
        EXPECT_EQ(ref(index, &word), VT_BAD_INTEGER);
        EXPECT_EQ(get_symbol(nullptr, index, &name), VT_BAD_INTEGER);
    }
    EXPECT_EQ(ref(2, &word), VT_BAD_INTEGER);
    EXPECT_TRUE(word == 7 && name.bytes == 7);
    EXPECT_TRUE(ref(1, &word) == VT_OK && word == 0);
    EXPECT_TRUE(count(nullptr, &word) == VT_OK && word == 188);
    EXPECT_EQ(ref(1, nullptr) | get_symbol(nullptr, 1, nullptr) | count(nullptr, nullptr), VT_OK);
    EXPECT_EQ(utf8(symbol(1)) + utf8(symbol(154)) + utf8(symbol(188)),
              "xmlUTF8EncodeLIBXMLLifemsg");
}

TEST_F(Abi, versions) {
    const auto version = entry<vt_get_version>(110);
    std::u16string text(9, u'-');
    std::uint32_t length = 0;
    EXPECT_TRUE(version(nullptr, text.data(), 7, &length) == 28 && length == 8);
    EXPECT_TRUE(version(nullptr, nullptr, 8, &length) == VT_OK && text == u"---------");
    EXPECT_EQ(version(nullptr, text.data(), 8, nullptr), VT_OK);
    EXPECT_EQ(text, u"1.00.001-");
    const auto write =
        host.symbol_as<void (*)(char16_t*, std::uint32_t, std::uint32_t, std::uint32_t)>(
            "x_xx_xxx_VersionString");
    write(text.data(), 12, 5, 1000);
    EXPECT_EQ(text, u"#.05.###-");
    write(text.data(), 9, 100, 42);
    EXPECT_EQ(text, u"9.##.042-");
    const void* const description = address("vtdesc_byte");
    EXPECT_EQ(host.symbol_as<vt_get_version_record>("VTGetVer")(), host.symbol("vtver"));
    expect_fields("vtver", {std::uint32_t{sizeof(vt_version_record)}, 1U, 0U, 0U, 1U, 4U, 34U, 34U,
                            description, description});
    EXPECT_EQ(std::string(host.symbol_as<char*>("vtdesc_byte"), 34),
              "Valtrosse DOM library" + std::string(13, '\0'));
    EXPECT_EQ(call("xmlDOMUtilGetVersion", 1, u"ignored", nullptr).utf8(), "1.6.0.6");
}

TEST_F(Abi, records_refer_to_names_handlers_and_parameters) {
    const auto* record = host.symbol_as<const vt_function_record*>("freefunctions");
    ASSERT_EQ(host.functions().size(), 64U);
    for (const Function& function : host.functions()) {
        EXPECT_EQ(utf8(symbol(record->name)), function.name);
        EXPECT_TRUE(record->host_word_1 == 0 && record->host_word_2 == 1);
        const auto* names = host.symbol_as<vt_name*>((function.name + "_params_descs").c_str());
        for (std::uint32_t k = 0; k < function.parameters.size(); ++k)
            EXPECT_EQ(names[k].units, symbol(record->name + 1 + k).units) << function.name;
        ++record;
    }
    expect_fields("LIBXMLLife_addInternal_params_descs",
                  {16U, static_cast<const void*>(symbol(159).units)});
    constexpr std::uint32_t private_size = sizeof(void*) == 4 ? 308 : 616;
    expect_fields("intrinsictypes", {154U,
                                     0U,
                                     0U,
                                     1U,
                                     private_size,
                                     address("TOVIK_PrivateInitLIBXMLLifeObj"),
                                     address("TOVIK_PrivateTermLIBXMLLifeObj"),
                                     0U,
                                     address("TOVIK_GetLIBXMLLifeObjValue"),
                                     0U,
                                     address("TOVIK_SetLIBXMLLifeObjValue"),
                                     0U,
                                     0U,
                                     0U,
                                     0U,
                                     address("propsforLIBXMLLife"),
                                     3U,
                                     address("funcsforLIBXMLLife"),
                                     3U,
                                     0U,
                                     0U,
                                     0U,
                                     0U});
    expect_fields("propsforLIBXMLLife", {156U, 0x20002U, 156U, 1U, 0U, 1U, 160U, 0x20004U, 157U, 1U,
                                         0U, 1U, 161U, 0x20004U, 157U, 1U, 0U, 1U});
    expect_fields("funcsforLIBXMLLife", {155U, 0U, address("TOVIK_NewLIBXMLLifeObject"), 160U, 0U,
                                         address("TOVIK_LIBXMLLife_addInternal"), 161U, 0U,
                                         address("TOVIK_LIBXMLLife_removeInternal")});
}

TEST_F(Abi, registration_stops_at_the_first_refusal) {
    struct Registration : vt_registration_context {
        int calls = 0;
        const void* last = nullptr;
        static vt_status add(vt_registration_context* self, const void* record, void* extra) {
            auto& registration = *static_cast<Registration*>(self);
            registration.last = record;
            return ++registration.calls == 10 ? 77 : extra == self ? 0 : 78;
        }
    };
    vt_api_provider none{}, both{{}, [](std::uint32_t id) {
                                     EXPECT_TRUE(id == 130 || id == 131);
                                     return reinterpret_cast<vt_host_function>(&Registration::add);
                                 }};
    Registration registration{{0, &none}};
    const auto add = [&](std::int32_t id, void* extra) {
        registration.calls = 0;
        return entry<vt_add_records>(id)(nullptr, &registration, extra);
    };
    EXPECT_TRUE(add(104, nullptr) == 45 && add(105, nullptr) == 45);
    registration.provider = &both;
    EXPECT_TRUE(add(104, nullptr) == 78 && add(104, &registration) == 0);
    EXPECT_EQ(registration.last, host.symbol("intrinsictypes"));
    EXPECT_TRUE(add(105, nullptr) == 78 && registration.calls == 1);
    EXPECT_TRUE(add(105, &registration) == 77 && registration.calls == 10);
    EXPECT_EQ(registration.last, host.symbol_as<vt_function_record*>("freefunctions") + 9);
}

// ---- The frame of a call --------------------------------------------------------------------------

TEST_F(Abi, table_is_filled_in_slot_order_up_to_the_first_gap) {
    static std::uint32_t missing;
    vt_api_provider provider{
        {}, [](std::uint32_t id) {
            return reinterpret_cast<vt_host_function>(std::uintptr_t{id == missing ? 0 : id});
        }};
    const auto fetch = fetch_table<std::uintptr_t>();
    std::vector<std::uintptr_t> table(VT_HOST_API_SLOTS + 1, 9);
    EXPECT_EQ(fetch(&provider, table.data()), VT_OK);
    const std::map<std::size_t, std::uint32_t> known = {
        {0, 100},  {3, 105},  {12, 114}, {16, 140}, {20, 200}, {21, 210}, {33, 222}, {34, 224},
        {38, 302}, {42, 306}, {48, 405}, {52, 430}, {54, 440}, {55, 451}, {74, 800}, {75, 9}};
    for (const auto& [slot, id] : known) EXPECT_EQ(table[slot], id);
    missing = 140;
    table.assign(table.size(), 9);
    EXPECT_EQ(fetch(&provider, table.data()), 45U);
    EXPECT_EQ(table[15], 131U);
    EXPECT_EQ(std::count(table.begin() + 16, table.end(), 9U), 60);
    provider.get_function = nullptr;
    EXPECT_EQ(fetch(&provider, table.data()), 45U);
    host.faults() = {.no_lookup = true};
    const Outcome outcome = call("xmlDOMUtilGetVersion");
    EXPECT_TRUE(outcome.status() == VT_MISSING_FUNCTION && !outcome.result_set());
}

TEST_F(Abi, every_parameter_of_every_function_is_required_and_checked) {
    std::map<std::string, char> kinds = {
        // handles, integers and bytes; the others are text
        {"node", 'h'}, {"newnode", 'h'},  {"oldnode", 'h'},    {"doc", 'h'},      {"document", 'h'},
        {"dtd", 'h'},  {"attr", 'h'},     {"keepBlanks", 'i'}, {"relative", 'i'}, {"type", 'i'},
        {"deep", 'i'}, {"property", 'i'}, {"format", 'i'},     {"position", 'i'}, {"blob", 'b'}};
    const Blob bytes;
    for (const Function& function : host.functions())
        for (std::size_t k = 0; k < function.parameters.size(); ++k) {
            const auto is = [&](const char* start) { return function.name.starts_with(start); };
            const bool takes_empty = is("xmlDOMDocCreate") || is("xmlDOMUtilIs") || is("xmlUTF8");
            kinds["value"] = function.name == "xmlDOMDocKeepBlanksDefault" ? 'i' : 0;
            const auto expect = [&](const Argument& tried, vt_status status) {
                // The others are valid; the document may be freed by the call that is tried.
                const Handle doc = get("xmlDOMDocLoadXMLString", "<a/>", 1);
                std::map<char, Argument> valid = {{'h', doc}, {'i', 1}, {'b', bytes}, {0, "p:a"}};
                std::vector<Argument> args;
                for (const std::string& name : function.parameters)
                    args.push_back(valid[kinds[name]]);
                args[k] = tried;
                const Outcome outcome = host.call(function, args);
                EXPECT_EQ(outcome.status(), status) << function.name << " " << k;
                EXPECT_TRUE(outcome.no_value() && outcome.result_set() == (status == VT_OK))
                    << function.name << " " << k;
                get("xmlDOMDocFreeDoc", doc);
            };
            const char kind = kinds[function.parameters[k]];
            const bool number = kind == 'h' || kind == 'i';
            expect(Argument(), 41);
            expect(nullptr, number ? 30 : 0);
            expect(Argument::with_second_flag(), number ? 30 : kind == 'b' ? 70 : 28);
            if (kind == 0 && !takes_empty) expect(Argument::string_without_text(), 0);
            if (kind == 'h' && !function.name.ends_with("LastMsg")) expect(0, 30);
        }
}

/// What the host tells the readers of the next test.
struct Told {
    vt_status status;
    std::uint16_t null_flag, second_flag;
    std::uint32_t word;
    vt_argument* asked = nullptr;
} told;

vt_status tell_counted(vt_argument* arg, std::uint16_t* null_flag, std::uint16_t* second_flag,
                       std::uint32_t* count, const void** data) {
    EXPECT_TRUE(*null_flag == 0 && (!second_flag || *second_flag == 0));
    told.asked = arg;
    *null_flag = told.null_flag;
    if (second_flag) *second_flag = told.second_flag;
    *count = told.word;
    *data = &told;
    return told.status;
}
template <std::uint32_t added>
vt_status tell_integer(vt_host_runtime*, vt_argument* arg, std::uint16_t* null_flag, void* unused,
                       std::uint16_t* second_flag, std::uint32_t* value) {
    const void* data = unused;
    EXPECT_EQ(unused, nullptr);
    const vt_status status = tell_counted(arg, null_flag, second_flag, value, &data);
    *value += added;
    return status;
}
vt_status tell_boolean(vt_argument* arg, std::uint16_t* null_flag, std::uint16_t* value) {
    const void* data = nullptr;
    std::uint32_t word = 0;
    const vt_status status = tell_counted(arg, null_flag, nullptr, &word, &data);
    *value = static_cast<std::uint16_t>(word);
    return status;
}

TEST_F(Abi, readers_map_flags_bounds_and_positions) {
    Table table{};
    table[36] = reinterpret_cast<vt_host_function>(tell_boolean);
    table[37] = reinterpret_cast<vt_host_function>(tell_integer<1>);
    table[38] = reinterpret_cast<vt_host_function>(tell_integer<0>);
    table[39] = table[42] = reinterpret_cast<vt_host_function>(tell_counted);
    constexpr std::uint32_t untouched = 0xABCD, max = 0xFFFFFFFF;
    const struct {
        const char* reader;
        Told told;
        std::uint32_t position, low, high, status, value = untouched;
    } cases[] = {
        {"Vtu32int", {0, 0, 0, 5}, 3, 5, 5, 0, 5},  {"Vtu32int", {0, 0, 0, 5}, 3, 0, 4, 30},
        {"Vtu32int", {0, 0, 0, 5}, 3, 6, 9, 30},    {"Vtu32int", {0, 0, 0, max}, 1, 0, max, 0, max},
        {"Vtu32int", {0, 1, 0, 5}, 1, 0, 9, 30},    {"Vtu32int", {0, 2, 0xFFFF, 5}, 2, 0, 9, 0, 5},
        {"Vtu32int", {99, 1, 1, 5}, 1, 0, 9, 99},   {"Vtu32int", {99, 0, 0, 5}, 0, 6, 9, 0},
        {"Vtuint", {0, 0, 0, 5}, 1, 5, 5, 0, 5},    {"Vtuint", {0, 0, 0, 1U << 31}, 1, 0, 9, 30},
        {"Vtramsize", {0, 0, 0, 5}, 1, 6, 6, 0, 6}, {"Vtramsize", {0, 0, 1, 5}, 1, 0, 9, 30},
        {"Str", {0, 7, 3, 5}, 3, 0, 0, 0, 5},       {"Str", {0, 1, 1, 5}, 1, 0, 0, 29},
        {"Str", {0, 0, 1, 5}, 1, 0, 0, 28},         {"Str", {99, 1, 1, 5}, 1, 0, 0, 99},
        {"Str", {99, 0, 0, 5}, 0, 0, 0, 41},        {"Blob", {0, 7, 3, 5}, 2, 0, 0, 0, 5},
        {"Blob", {0, 1, 1, 5}, 1, 0, 0, 71},        {"Blob", {0, 0, 1, 5}, 1, 0, 0, 70},
        {"Bool", {0, 2, 0, 2}, 3, 0, 0, 0, 2},      {"Bool", {0, 1, 0, 2}, 1, 0, 0, 30},
        {"Bool", {99, 1, 0, 2}, 1, 0, 0, 99},       {"Bool", {99, 0, 0, 2}, 0, 0, 0, 0},
    };
    vt_argument args[3];
    for (const auto& c : cases) {
        told = c.told;
        std::uint32_t value = untouched;
        void* data = nullptr;
        const std::string name = std::string("TOVIKParam_") + c.reader + "Param";
        const bool counted = c.reader[0] == 'S' || c.reader[1] == 'l';
        // Further arguments than a reader takes do no harm.
        const auto read = host.symbol_as<vt_status (*)(void*, Table*, std::uint32_t, vt_argument*,
                                                       void*, void*, std::uint32_t)>(name.c_str());
        void* const fifth =
            counted ? static_cast<void*>(&data) : reinterpret_cast<void*>(std::uintptr_t{c.low});
        EXPECT_EQ(read(nullptr, &table, c.position, args, &value, fifth, c.high), c.status) << name;
        EXPECT_EQ(value, c.value) << name;
        EXPECT_EQ(data, counted && c.status == VT_OK ? &told : nullptr) << name;
        EXPECT_EQ(told.asked, c.position ? args + (c.position - 1) : nullptr) << name;
        if (!counted) continue;
        EXPECT_EQ(read(nullptr, &table, c.position, args, nullptr, nullptr, 0), c.status) << name;
    }
    const auto pass = host.symbol_as<std::uint16_t (*)(vt_status*)>("_x_ret_val");
    for (vt_status status : {0U, 29U, 71U}) EXPECT_TRUE(pass(&status) == 1 && status == 0);
    for (vt_status status : {28U, 30U, 45U, 70U, max})
        EXPECT_TRUE(pass(&status) == 0 && status > 0);
}

// ---- Memory and the small kit ---------------------------------------------------------------------

/// A level of a chain of allocators that answers as told and writes down what it is asked.
struct Level : vt_allocator {
    Level(char level_name, vt_allocator* parent_level, std::vector<void*> given, std::uint32_t need)
        : vt_allocator{},
          name(level_name),
          blocks(std::move(given)),
          need_told(need) {
        parent = parent_level;
        allocate = [](vt_allocator* self, std::uint32_t size, std::uint32_t* needed) {
            auto& level = *static_cast<Level*>(self);
            level.note('?', size);
            void* const block = level.blocks.empty() ? nullptr : level.blocks.front();
            if (!level.blocks.empty()) level.blocks.erase(level.blocks.begin());
            if (!block) *needed = level.need_told;
            return block;
        };
        donate = [](vt_allocator* self, void* block, std::uint32_t size) {
            static_cast<Level*>(self)->note(*static_cast<char*>(block), size);
        };
        release = [](vt_allocator* self, void* block) {
            auto& level = *static_cast<Level*>(self);
            level.note('!', reinterpret_cast<std::uintptr_t>(block) / sizeof(void*) % 4);
            return level.blocks.empty() ? nullptr : level.blocks.front();
        };
    }
    void note(char what, std::size_t size) {
        log += {name, what}, log += std::to_string(size) + " ";
    }

    char name;
    std::vector<void*> blocks;
    std::uint32_t need_told;
    static inline std::string log;
};

TEST_F(Abi, memory_climbs_to_a_level_that_has_room) {
    char a = 'a', b = 'b', c = 'c';
    void* const nil = nullptr;
    const auto allocate = host.symbol_as<void* (*)(vt_allocator*, std::uint32_t)>("Mem_Alloc");
    const struct {
        std::vector<void*> a, b, c;  // what each level gives in turn, then nothing
        std::uint32_t need_a, need_b, size;
        bool given;
        const char* log;
    } cases[] = {
        {{&a}, {}, {}, 1, 1, 9, true, "A?12 "},
        {{nil, &a}, {&b}, {}, 100, 1, 9, true, "A?12 B?100 Ab100 A?12 "},
        {{nil, &a}, {nil, &b}, {&c}, 7, 8, 12, true, "A?12 B?7 C?8 Bc8 B?7 Ab7 A?12 "},
        {{}, {}, {&c}, 101, 202, 12, false, "A?12 B?101 C?202 Bc202 B?101 "},  // a retry fails
        {{}, {&b}, {}, 100, 1, 4, false, "A?4 B?100 Ab100 A?4 "},
        {{}, {&b}, {}, 0, 1, 4, false, "A?4 "},  // no need told
        {{}, {}, {&c}, 100, 0, 4, false, "A?4 B?100 "},
        {{}, {}, {}, 100, 200, 4, false, "A?4 B?100 C?200 "},  // no parent
        {{&a}, {}, {}, 1, 1, 0x3FFFFFFD, true, "A?1073741824 "},
        {{&a}, {}, {}, 1, 1, 0x40000001, false, ""},
        {{&a}, {}, {}, 1, 1, 0xFFFFFFFF, false, ""},
    };
    for (const auto& t : cases) {
        Level level_c('C', nullptr, t.c, 99);
        Level level_b('B', &level_c, t.b, t.need_b);
        Level level_a('A', &level_b, t.a, t.need_a);
        Level::log.clear();
        EXPECT_EQ(allocate(&level_a, t.size), t.given ? &a : nullptr) << t.log;
        EXPECT_EQ(Level::log, t.log);
    }

    // Freeing a block may hand back the block that it was cut from, which another level owns.
    alignas(4 * sizeof(void*)) vt_block_origin* memory[16] = {};
    Level outer('O', nullptr, {}, 0);
    Level inner('I', nullptr, {memory + 10}, 0);
    vt_block_origin inner_origin{{}, &inner}, outer_origin{{}, &outer};
    memory[1] = &inner_origin;
    memory[9] = &outer_origin;
    Level::log.clear();
    host.symbol_as<void (*)(void*)>("Mem_Free")(memory + 2);
    EXPECT_EQ(Level::log, "I!2 O!2 ");
}

TEST_F(Abi, a_text_larger_than_the_arena_is_a_refill) {
    const std::string text(70000, 'x');
    for (std::uint32_t n : {1U, 2U}) {  // the second is the retry
        host.faults().fail_allocation = n;
        EXPECT_EQ(call("xmlUTF8Encode", text).status(), VT_OUT_OF_MEMORY) << n;
        EXPECT_EQ(host.counters().live_blocks, 0U);
    }
    host.faults() = {};
    EXPECT_EQ(call("xmlUTF8Encode", text).blob(), Blob(text.begin(), text.end()));
    EXPECT_GT(host.counters().refills, 0U);
}

TEST_F(Abi, lists_private_data_and_properties) {
    struct Node {
        Node *next, *previous;
    } a, b, c;
    const auto init = host.symbol_as<Node* (*)(Node*)>("DNode_Init");
    const auto add = host.symbol_as<Node* (*)(Node*, Node*)>("DNode_AddAfter");
    const auto remove = host.symbol_as<Node* (*)(Node*)>("DNode_Remove");
    EXPECT_TRUE(init(&a) == &a && add(&b, &a) == &a && add(&c, &a) == &a);
    EXPECT_TRUE(a.next == &c && c.next == &b && b.next == &a);
    EXPECT_TRUE(a.previous == &b && b.previous == &c && c.previous == &a);
    EXPECT_TRUE(remove(&c) == &c && c.next == &c && c.previous == &c);
    EXPECT_TRUE(a.next == &b && b.previous == &a);

    const ObjectHandle object = host.create().object();
    vt_object_reference reference{object.get(), 0}, nothing{nullptr, 0};
    const auto data = host.symbol_as<void* (*)(vt_object_reference*)>("TOVIK_ObjRefGetPrivatePtr");
    EXPECT_EQ(data(&reference), object.get()->data_at(object.get(), VT_PRIVATE_DATA));
    EXPECT_EQ(data(&nothing), nullptr);
    Table table{};
    EXPECT_EQ(fetch_table<Table>()(host.runtime()->provider, &table), VT_OK);
    using SetProperty = vt_status(Table*, vt_host_runtime*, vt_object_reference*, std::uint32_t,
                                  const char16_t*, std::uint32_t, std::uint16_t);
    const auto set_property = host.symbol_as<SetProperty*>("TOVIKUtil_SetPropString");
    const auto set = [&](std::uint32_t property) {
        return set_property(&table, host.runtime(), &reference, property, u"text", 3, 0);
    };
    EXPECT_EQ(set(156), VT_OK);
    EXPECT_EQ(std::get<std::u16string>(host.property(object, 156)), u"tex");
    EXPECT_EQ(set(1), VT_HOST_NO_SUCH_PROPERTY);
    host.faults().make = 0x321;
    EXPECT_EQ(set(156), 0x321U);
}

}  // namespace
}  // namespace valtrosse::host
