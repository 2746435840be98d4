// Handles as text: lists written by the library and read by the host, numbers in hexadecimal, addresses
// as keys.
#include <cstdio>
#include <cstring>

#include "fuzz/targets/target.hpp"

namespace valtrosse::fuzz {
namespace {

using Word = std::uint32_t;
using Address = std::uintptr_t;

constexpr std::size_t key_length = 2 * sizeof(Address);

Address address_of(const xmlChar* key) {
    static const auto function =
        library().symbol_as<Address (*)(const xmlChar*)>("_x_xmlCharPtrToxmlNodePtr");
    return function(key);
}

void numbers(Word value, Word digits) {
    static const auto write =
        library().symbol_as<vt_status (*)(Word, Word, char16_t*)>("_x_pointersizeToHexString");
    static const auto key_of =
        library().symbol_as<xmlChar* (*)(Address)>("_x_xmlNodePtrToxmlCharPtr");
    const Exact<char16_t> out(std::u16string(digits, u'-'));
    const bool possible = digits >= 1 && digits <= 8;
    check(write(value, digits, out.data()) == (possible ? VT_OK : VT_MALFORMED), "status of hex");
    char printed[9];
    std::snprintf(printed, sizeof printed, "%08X", value);
    const std::string wanted = possible ? printed + 8 - digits : std::string(digits, '-');
    check(std::equal(wanted.begin(), wanted.end(), out.data()), "hex", wanted);

    const Address address = (Address{value} << 16 << 16) | value;
    xmlChar* key = key_of(address);
    check(std::strlen(reinterpret_cast<char*>(key)) == key_length && address_of(key) == address,
          "key");
    xmlFree(key);
}

/// Any terminated text as a key.
void keys(std::string_view text) {
    const Exact<char> key(std::string(text) + '\0');
    const Address address = address_of(reinterpret_cast<const xmlChar*>(key.data()));
    check(std::strlen(key.data()) == key_length || address == 0, "a key of another length");
}

/// A text that may be a list: refused, or read so that it says what was read.
void lists(const std::u16string& text) {
    const Outcome outcome(VT_OK, true, text);
    std::string again = "4";
    try {
        for (const Handle handle : outcome.handles()) {
            char digits[9];
            std::snprintf(digits, sizeof digits, "%08x", handle);
            again += digits;
        }
    } catch (const host::UsageError&) {
        return;
    }
    std::string lower = outcome.utf8();
    for (char& c : lower)
        if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
    check(again == lower, "a list", lower);
}

/// The list of so many nodes, from XPath and of entities.
void written(std::size_t count) {
    std::u16string xml = u"<!DOCTYPE r [";
    for (std::size_t i = 0; i < count; ++i)
        xml += u"<!ENTITY e" + host::to_units(std::to_string(i)) + u" 'x'>";
    xml += u"]><r>";
    for (std::size_t i = 0; i < count; ++i) xml += u"<e/>";
    const Handle doc = get("xmlDOMDocLoadXMLString", xml + u"</r>", 0);
    std::u16string wanted = u"4";
    std::vector<Handle> nodes;
    Handle node = get("xmlDOMNodeGetRelative", get("xmlDOMDocGetRootNode", doc), 3);
    for (; node != 0; node = get("xmlDOMNodeGetRelative", node, 1)) {
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08X", node);
        wanted += host::to_units(digits);
        nodes.push_back(node);
    }
    const Outcome list = call("xmlDOMNodeSelectNodes", doc, "/r/e");
    check(nodes.size() == count && list.text() == wanted && list.handles() == nodes, "nodes");
    const Outcome entities = call("xmlDOMDocGetEntities", doc);
    check(entities.text().size() == 1 + 8 * count, "entities");
    for (const Handle entity : entities.handles())
        check(get("xmlDOMNodeGetType", entity) == 6, "no entity");
    get("xmlDOMDocFreeDoc", doc);
}

}  // namespace
}  // namespace valtrosse::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace valtrosse::fuzz;
    Input input(data, size);
    const Word digits = input.choice(12);
    written(input.choice(40));
    const Bytes rest = input.rest();
    Word value = 0;
    for (const std::uint8_t byte : rest.first(std::min<std::size_t>(rest.size(), 4)))
        value = value << 8 | byte;
    numbers(value, digits);
    keys(chars(rest));
    lists(wide(rest));
    lists(units(rest));
    end_of_input();
    return 0;
}
