// Derives the tables of the public face from the catalogue, at compile time.
#include "plugin/tables.hpp"

#include "plugin/object_type.hpp"

namespace valtrosse {

void no_such_name();        // defined nowhere: reaching one of these
void another_name_count();  // ends the compilation

namespace {

// One line of the catalogue: the names it adds to the symbol names. The names of a group stand in one
// text, so that a parameter array can share the very pointers of the symbol names.
struct Group {
    std::u16string_view names;
    bool is_function;
};

constexpr Group groups[] = {
#define FUNCTION(prefix, function, ...) {u"" #function ", " #__VA_ARGS__, true},
#define FUNCTION_WITHOUT_PARAMETERS(prefix, function) {u"" #function, true},
#define TYPE_NAMES(...) {u"" #__VA_ARGS__, false},
#include "plugin/catalogue.def"
#undef FUNCTION
#undef FUNCTION_WITHOUT_PARAMETERS
#undef TYPE_NAMES
};

constexpr std::u16string_view text_of(const vt_name& name) { return {name.units, name.bytes / 2}; }

consteval std::array<vt_name, symbol_count> symbol_names() {
    std::array<vt_name, symbol_count> all{};
    std::size_t next = 0;
    for (const Group& group : groups) {
        std::size_t start = 0;
        while (start < group.names.size()) {
            std::size_t end = group.names.find(u',', start);
            if (end == std::u16string_view::npos) end = group.names.size();
            all[next++] = {static_cast<std::uint32_t>(2 * (end - start)),
                           group.names.data() + start};
            start = end + 2;  // the preprocessor writes ", " between arguments
        }
    }
    if (next != symbol_count) another_name_count();
    return all;
}

constexpr auto symbols = symbol_names();

/// The 1-based index of the first symbol of this name.
consteval std::uint32_t name_index(std::u16string_view name) {
    for (std::uint32_t i = 0; i < symbol_count; ++i)
        if (text_of(symbols[i]) == name) return i + 1;
    no_such_name();
    return 0;
}

/// The descriptors that follow a symbol: a function's parameters.
template <std::size_t count>
consteval std::array<vt_name, count> names_after(std::u16string_view name) {
    std::array<vt_name, count> names{};
    for (std::size_t i = 0; i < count; ++i) names[i] = symbols[name_index(name) + i];
    return names;
}

/// As name_index, among the names of the object type ("type" is also a parameter's name).
consteval std::uint32_t type_name_index(std::u16string_view name) {
    for (std::uint32_t i = name_index(u"LIBXMLLife"); i <= symbol_count; ++i)
        if (text_of(symbols[i - 1]) == name) return i;
    no_such_name();
    return 0;
}

static_assert(name_index(u"xmlUTF8Encode") == 1);
static_assert(name_index(u"xmlDOMDocGetElementById") == 151);
static_assert(name_index(u"LIBXMLLife") == 154 && type_name_index(u"type") == 156);
static_assert(type_name_index(u"removeInternal") == 161);
static_assert(name_index(u"xmlDOMUtilGetVersion") == 162);
static_assert(name_index(u"msg") == 188);

}  // namespace
}  // namespace valtrosse

using valtrosse::name_index;
using valtrosse::type_name_index;

constinit const std::array<vt_name, valtrosse::symbol_count> name_descs = valtrosse::symbols;

#define FUNCTION(prefix, function, ...)                                                            \
    constinit const std::array<vt_name, valtrosse::count_names(u"" #__VA_ARGS__)>                  \
        function##_params_descs =                                                                  \
            valtrosse::names_after<valtrosse::count_names(u"" #__VA_ARGS__)>(u"" #function);
#define FUNCTION_WITHOUT_PARAMETERS(prefix, function)
#define TYPE_NAMES(...)
#include "plugin/catalogue.def"
#undef FUNCTION
#undef FUNCTION_WITHOUT_PARAMETERS
#undef TYPE_NAMES

constinit const std::array<vt_name, 1> LIBXMLLife_addInternal_params_descs = {
    valtrosse::symbols[type_name_index(u"internal") - 1]};

constinit const std::array<vt_function_record, valtrosse::function_count> freefunctions = {{
#define FUNCTION(prefix, function, ...) {name_index(u"" #function), 0, 1, prefix##function},
#define FUNCTION_WITHOUT_PARAMETERS(prefix, function) FUNCTION(prefix, function)
#define TYPE_NAMES(...)
#include "plugin/catalogue.def"
#undef FUNCTION
#undef FUNCTION_WITHOUT_PARAMETERS
#undef TYPE_NAMES
}};

constinit const std::array<vt_property_record, 3> propsforLIBXMLLife = {{
    {type_name_index(u"type"), VT_TYPE, type_name_index(u"type"), {1, 0, 1}},
    {type_name_index(u"addInternal"), VT_FUNCTION, type_name_index(u"function"), {1, 0, 1}},
    {type_name_index(u"removeInternal"), VT_FUNCTION, type_name_index(u"function"), {1, 0, 1}},
}};

constinit const std::array<vt_method_record, 3> funcsforLIBXMLLife = {{
    {type_name_index(u"new"), 0, TOVIK_NewLIBXMLLifeObject},
    {type_name_index(u"addInternal"), 0, TOVIK_LIBXMLLife_addInternal},
    {type_name_index(u"removeInternal"), 0, TOVIK_LIBXMLLife_removeInternal},
}};

constinit const std::array<vt_type_record, 1> intrinsictypes = {{{
    .name = type_name_index(u"LIBXMLLife"),
    .host_words_1 = {0, 0, 1},
    .private_size = valtrosse::life_data_size,
    .init = TOVIK_PrivateInitLIBXMLLifeObj,
    .term = TOVIK_PrivateTermLIBXMLLifeObj,
    .host_word_7 = 0,
    .get_value = TOVIK_GetLIBXMLLifeObjValue,
    .host_word_9 = 0,
    .set_value = TOVIK_SetLIBXMLLifeObjValue,
    .host_words_11 = {},
    .properties = propsforLIBXMLLife.data(),
    .property_count = 3,
    .methods = funcsforLIBXMLLife.data(),
    .method_count = 3,
    .host_words_19 = {},
}}};
