// The library's face towards a host that loads it: the dispatcher and the entry points behind it.
#include "plugin/entry.hpp"

#include <libxml/parser.h>

#include "handles/handle.hpp"
#include "plugin/tables.hpp"

using namespace valtrosse;

// Static so that the host's pointer stays good; the buffer is longer than its text, zero-filled.
constinit const std::array<char, 34> vtdesc_byte = {"Valtrosse DOM library"};

constinit const vt_version_record vtver = {
    .size = sizeof(vt_version_record),
    .version = {1, 0, 0, 1},
    .host_word_5 = 4,
    .description_sizes = {sizeof vtdesc_byte, sizeof vtdesc_byte},
    .descriptions = {vtdesc_byte.data(), vtdesc_byte.data()},
};

constinit const std::array<char16_t, 10> digits = {u'0', u'1', u'2', u'3', u'4',
                                                   u'5', u'6', u'7', u'8', u'9'};

namespace {

/// libxml2 sets itself up at its first use, and not safely when that happens in two threads at once. So
/// it is done when the library is loaded.
[[gnu::constructor]] void set_up_libxml2() {
    xmlInitParser();
    hear_ends_on_new_threads();
}

constexpr std::uint32_t version_units = 8;  // 1.00.001

template <typename Entry>
vt_host_function address_of(Entry* entry) {
    return reinterpret_cast<vt_host_function>(entry);
}

vt_host_function registration_callback(vt_registration_context* context, std::uint32_t id) {
    const vt_get_function_by_id get_function = context->provider->get_function;
    return get_function ? get_function(id) : nullptr;
}

/// Writes count decimal digits of number, or number signs when it has more.
void write_decimal(char16_t* out, std::uint32_t number, unsigned count) {
    for (char16_t* unit = out + count; unit != out; number /= 10) *--unit = digits[number % 10];
    if (number != 0)
        for (unsigned i = 0; i < count; ++i) out[i] = u'#';
}

}  // namespace

void x_xx_xxx_VersionString(char16_t* buffer, std::uint32_t major, std::uint32_t minor,
                            std::uint32_t build) {
    write_decimal(buffer, major, 1);
    buffer[1] = u'.';
    write_decimal(buffer + 2, minor, 2);
    buffer[4] = u'.';
    write_decimal(buffer + 5, build, 3);
}

std::uint32_t TOVIKLIBXML_GetRefCount() { return 1; }

vt_status TOVIKLIBXML_GetRef(std::uint32_t index, std::uint32_t* word) {
    if (index != 1) return VT_BAD_INTEGER;
    if (word) *word = 0;
    return VT_OK;
}

vt_status TOVIKLIBXML_GetSymCount(void*, std::uint32_t* count) {
    if (count) *count = symbol_count;
    return VT_OK;
}

vt_status TOVIKLIBXML_GetSymbol(void*, std::uint32_t index, vt_name* name) {
    if (index < 1 || index > symbol_count) return VT_BAD_INTEGER;
    if (name) *name = name_descs[index - 1];
    return VT_OK;
}

vt_status TOVIKLIBXML_AddTypes(void*, vt_registration_context* context, void* extra) {
    auto* register_type =
        reinterpret_cast<vt_register_type>(registration_callback(context, VT_ID_REGISTER_TYPE));
    if (!register_type) return VT_MISSING_FUNCTION;
    return register_type(context, intrinsictypes.data(), extra);
}

vt_status TOVIKLIBXML_AddFunctions(void*, vt_registration_context* context, void* extra) {
    auto* register_function = reinterpret_cast<vt_register_function>(
        registration_callback(context, VT_ID_REGISTER_FUNCTION));
    if (!register_function) return VT_MISSING_FUNCTION;
    for (const vt_function_record& record : freefunctions)
        if (vt_status status = register_function(context, &record, extra)) return status;
    return VT_OK;
}

vt_status TOVIK_GetVersion(void*, char16_t* buffer, std::uint32_t capacity, std::uint32_t* length) {
    if (buffer && capacity >= version_units) x_xx_xxx_VersionString(buffer, 1, 0, 1);
    if (length) *length = version_units;
    return capacity >= version_units ? VT_OK : VT_BUFFER_TOO_SMALL;
}

vt_host_function TOVIK(std::int32_t id) {
    switch (id) {
        case VT_ENTRY_GET_REF_COUNT: return address_of(TOVIKLIBXML_GetRefCount);
        case VT_ENTRY_GET_REF: return address_of(TOVIKLIBXML_GetRef);
        case VT_ENTRY_GET_SYMBOL_COUNT: return address_of(TOVIKLIBXML_GetSymCount);
        case VT_ENTRY_GET_SYMBOL: return address_of(TOVIKLIBXML_GetSymbol);
        case VT_ENTRY_ADD_TYPES: return address_of(TOVIKLIBXML_AddTypes);
        case VT_ENTRY_ADD_FUNCTIONS: return address_of(TOVIKLIBXML_AddFunctions);
        case VT_ENTRY_GET_VERSION: return address_of(TOVIK_GetVersion);
        default: return nullptr;
    }
}

const vt_version_record* VTGetVer() { return &vtver; }
