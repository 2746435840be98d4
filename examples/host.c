/* A host in plain C: loads the library, calls some of its functions, and frees what they gave.
 *
 *     cc -Iinclude examples/host.c -ldl -o host && ./host libvaltrosse-dom.so
 *
 * For the 32-bit library the same with -m32.
 *
 * It has what functions need; docs/embedding.md tells what the object type needs besides.
 */
#define _POSIX_C_SOURCE 200809L
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "valtrosse/host_abi.h"

/* What this host keeps in an argument record and in a value record. No text: an integer. */
struct content {
    const vt_unit *text;
    uint32_t number; /* the integer, or the count of units */
};
/* What it passes as a result slot. */
struct result {
    uint32_t kind;
    struct content content;
};

/* ---- Host functions that the library calls ------------------------------------------------------ */

static vt_status bind_by_position(uint32_t *indexes, const vt_name *parameters, uint32_t count,
                                  uint32_t arg_count, vt_argument *args) {
    for (uint32_t k = 0; k < count; ++k) indexes[k] = k < arg_count ? k + 1 : 0;
    return VT_OK;
}
/* The flags are 0 before a reader runs: a reader sets one or none. */
static vt_status get_integer(vt_host_runtime *runtime, vt_argument *arg, uint16_t *null_flag,
                             void *unused, uint16_t *second_flag, uint32_t *value) {
    const struct content *given = (const struct content *)arg;
    if (given->text != NULL) *second_flag = 1;
    *value = given->number;
    return VT_OK;
}
static vt_status get_string(vt_argument *arg, uint16_t *null_flag, uint16_t *second_flag,
                            uint32_t *count, const vt_unit **text) {
    const struct content *given = (const struct content *)arg;
    if (given->text == NULL) *second_flag = 1;
    *count = given->number;
    *text = given->text;
    return VT_OK;
}
static vt_status make_integer(vt_host_runtime *runtime, vt_value *value, uint32_t zero,
                              uint32_t integer) {
    memcpy(value, &(struct content){NULL, integer}, sizeof(struct content));
    return VT_OK;
}
static vt_status make_string(vt_host_runtime *runtime, vt_value *value, const vt_unit *text,
                             uint32_t count) {
    vt_unit *copy = malloc(count * sizeof *copy + 1);
    if (copy == NULL) return VT_OUT_OF_MEMORY;
    if (count != 0) memcpy(copy, text, count * sizeof *copy);
    memcpy(value, &(struct content){copy, count}, sizeof(struct content));
    return VT_OK;
}
static void set_result(vt_call_context *context, void *slot, uint32_t kind, vt_value *value) {
    struct result *result = slot;
    result->kind = kind;
    if (kind != VT_NO_VALUE) memcpy(&result->content, value, sizeof result->content);
}
static void never_called(void) { abort(); }

/* ---- Memory: one level. Before each block lies the address of its origin ------------------------- */

static vt_block_origin origin;

static void *allocate(vt_allocator *self, uint32_t size, uint32_t *need) {
    void **block = malloc(sizeof *block + size);
    *need = 0; /* there is no parent to ask */
    if (block != NULL) *block++ = &origin;
    return block;
}
static void *release(vt_allocator *self, void *block) {
    free((void **)block - 1);
    return NULL;
}

/* ---- The library --------------------------------------------------------------------------------- */

static vt_host_function look_up(uint32_t id);
static vt_api_provider provider = {.get_function = look_up};
static vt_allocator allocator = {.allocate = allocate, .release = release};
static vt_host_runtime runtime = {.provider = &provider, .allocator = &allocator};
static vt_call_context context = {.runtime = &runtime};
static vt_handler handlers[200]; /* by name index, which is 188 at most */

static vt_status register_function(vt_registration_context *registration,
                                   const vt_function_record *record, void *extra) {
    handlers[record->name] = record->handler;
    return VT_OK;
}

static vt_host_function look_up(uint32_t id) {
    switch (id) {
        case VT_ID_REGISTER_FUNCTION: return (vt_host_function)register_function;
        case VT_ID_BIND_ARGUMENTS: return (vt_host_function)bind_by_position;
        case VT_ID_SET_RESULT: return (vt_host_function)set_result;
        case VT_ID_GET_INTEGER_ARGUMENT: return (vt_host_function)get_integer;
        case VT_ID_GET_STRING_ARGUMENT: return (vt_host_function)get_string;
        case VT_ID_MAKE_INTEGER_VALUE: return (vt_host_function)make_integer;
        case VT_ID_MAKE_STRING_VALUE: return (vt_host_function)make_string;
        default: return never_called; /* every id is asked for; those of the object type are, too */
    }
}

static int is_named(const vt_name *symbol, const vt_unit *name) {
    uint32_t i = 0;
    while (i < symbol->bytes / 2 && name[i] == symbol->units[i]) ++i; /* name ends with a zero */
    return i == symbol->bytes / 2 && name[i] == 0;
}

static struct result call(vt_dispatcher entry, const vt_unit *name, struct content first,
                          struct content second) {
    const vt_get_symbol get_symbol = (vt_get_symbol)entry(VT_ENTRY_GET_SYMBOL);
    vt_argument args[2];
    struct result result = {VT_NO_VALUE, {NULL, 0}};
    vt_name symbol;
    uint32_t index = 1;
    while (get_symbol(NULL, index, &symbol) == VT_OK && !is_named(&symbol, name)) ++index;
    memcpy(&args[0], &first, sizeof first);
    memcpy(&args[1], &second, sizeof second);
    if (handlers[index](&context, 2, args, NULL, &result) != VT_OK) exit(1);
    return result;
}

int main(int argc, char **argv) {
    void *library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
    vt_dispatcher entry = library ? (vt_dispatcher)dlsym(library, "TOVIK") : NULL;
    vt_registration_context registration = {.provider = &provider};
    const struct content none = {NULL, 0}, one = {NULL, 1};
    if (entry == NULL) return fputs("usage: host LIBRARY\n", stderr), 2;
    origin.allocator = &allocator;
    if (((vt_add_records)entry(VT_ENTRY_ADD_FUNCTIONS))(NULL, &registration, NULL) != VT_OK) return 2;

    const struct content doc =
        call(entry, u"xmlDOMDocLoadXMLString", (struct content){u"<tea>Keemun</tea>", 17}, one).content;
    const struct result text = call(entry, u"xmlDOMNodeDumpNode", doc, none);
    for (uint32_t i = 0; i < text.content.number; ++i) putchar((char)text.content.text[i]);
    free((void *)text.content.text);
    call(entry, u"xmlDOMDocFreeDoc", doc, none);
    return dlclose(library);
}
