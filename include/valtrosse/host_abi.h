/** @file
 * The binary contract between a scripting host and libvaltrosse-dom.so.
 *
 * Everything that somebody needs who writes a host: the records, the ids of the host functions with
 * their signatures, value kinds, status codes, entry points and the shapes of script functions and
 * methods. Plain C, no other header of this project. docs/embedding.md tells the same as a story,
 * with the reference host in host/ as the worked example.
 *
 * A host and its library have pointers of the same width, 32 or 64 bits. Ids, kinds, flags, counts
 * and handles have 32 bits in both. Where every field lies is written at the end of this file.
 *
 * All functions use the platform's C calling convention (cdecl on i386). Text is 16-bit code units
 * with a count in units and no terminator; only vt_name counts bytes.
 */
#ifndef VALTROSSE_HOST_ABI_H
#define VALTROSSE_HOST_ABI_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
typedef char16_t vt_unit; /**< a unit of text; uint16_t in C */
#define VT_STATIC_ASSERT(condition, text) static_assert(condition, text)
#else
typedef uint16_t vt_unit;
#define VT_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/** A word of a record that is the host's own: the library never looks at it. */
typedef uintptr_t vt_word;

/* ---- Status codes: the result of every entry point, handler and method ------------------------- */

/** VT_OK, another code of the list below, or a status of the host's own. */
typedef uint32_t vt_status;

enum {
    VT_OK = 0,
    VT_OUT_OF_MEMORY = 1,       /**< the host's allocator gave no block */
    VT_NOT_A_TYPE = 16,         /**< method new called on something that is no type value */
    VT_NO_PRIVATE_DATA = 21,    /**< an object without private data */
    VT_BUFFER_TOO_SMALL = 28,   /**< also: a string argument whose second flag is set */
    VT_NULL_STRING = 29,        /**< becomes "no value" before it reaches the host */
    VT_BAD_INTEGER = 30,        /**< not an integer, null, or outside the parameter's bounds */
    VT_NO_OBJECT_VALUE = 31,    /**< the object type has no value of its own */
    VT_MALFORMED = 33,          /**< malformed UTF-8; nothing to replace; a routine without its output */
    VT_MISSING_ARGUMENT = 41,   /**< a parameter that the call does not supply */
    VT_MISSING_FUNCTION = 45,   /**< the host lacks one of the functions asked for */
    VT_TOO_LARGE = 62,          /**< over a size limit, or a character above U+FFFF */
    VT_BAD_BLOB = 70,           /**< a blob argument whose second flag is set */
    VT_NULL_BLOB = 71           /**< becomes "no value" before it reaches the host */
};

/* ---- Value kinds, as passed to vt_set_result and used in type records --------------------------- */

enum {
    VT_NO_VALUE = 0,
    VT_STRING = 0x10002,
    VT_BOOLEAN = 0x10003,
    VT_INTEGER = 0x10004, /**< handles too */
    VT_BLOB = 0x10006,
    VT_TYPE = 0x20002,
    VT_FUNCTION = 0x20004
};

/* ---- Host functions by id ------------------------------------------------------------------------ */

/** Any function; it is cast to its own signature before it is called. */
typedef void (*vt_host_function)(void);
/** The host function with an id. A null answer ends the call with VT_MISSING_FUNCTION. */
typedef vt_host_function (*vt_get_function_by_id)(uint32_t id);

/** Ids of the host functions that the library calls. */
enum {
    VT_ID_CREATE_OBJECT = 100,
    VT_ID_ADD_OBJECT_REFERENCE = 105,
    VT_ID_RELEASE_OBJECT = 106,
    VT_ID_GET_OBJECT_TYPE_INFO = 108,
    VT_ID_SET_OBJECT_PROPERTY = 112,
    VT_ID_REGISTER_TYPE = 130,     /**< fetched from the registration context's provider */
    VT_ID_REGISTER_FUNCTION = 131, /**< fetched from the registration context's provider */
    VT_ID_BIND_ARGUMENTS = 140,
    VT_ID_SET_RESULT = 200,
    VT_ID_OBJECT_VALUE_FIRST = 210,  /**< copied into object values, never called */
    VT_ID_OBJECT_VALUE_SECOND = 211, /**< copied into object values, never called */
    VT_ID_GET_BOOLEAN_ARGUMENT = 300,
    VT_ID_GET_RAMSIZE_ARGUMENT = 301,
    VT_ID_GET_INTEGER_ARGUMENT = 302,
    VT_ID_GET_STRING_ARGUMENT = 303,
    VT_ID_GET_BLOB_ARGUMENT = 306,
    VT_ID_RELEASE_VALUE = 400,
    VT_ID_MAKE_BOOLEAN_VALUE = 401,
    VT_ID_MAKE_INTEGER_VALUE = 402,
    VT_ID_MAKE_STRING_VALUE = 405,
    VT_ID_MAKE_BLOB_VALUE = 408
};

/** All ids that the library asks for at the start of every call, in slot order. A host must answer
 * each of them with a non-null function; those that are not in the list above are never called. */
#define VT_HOST_API_SLOTS 75
#define VT_HOST_API_IDS                                                                            \
    100, 101, 102,                                                        /* slots 0 to 2 */       \
    105, 106, 107, 108, 109, 110, 111, 112, 113, 114,                     /* 3 to 12 */            \
    120, 130, 131, 140,                                                   /* 13 to 16 */           \
    180, 181, 182,                                                        /* 17 to 19 */           \
    200,                                                                  /* 20 */                 \
    210, 211, 212, 213, 214, 215, 216, 217, 218, 219, 220, 221, 222, 224, 225, /* 21 to 35 */      \
    300, 301, 302, 303, 304, 305, 306,                                    /* 36 to 42 */           \
    400, 401, 402, 403, 404, 405, 406, 407, 408,                          /* 43 to 51 */           \
    430, 431, 440,                                                        /* 52 to 54 */           \
    451, 452, 453, 454, 455, 456, 457, 458, 459,                          /* 55 to 63 */           \
    500, 501, 502, 503,                                                   /* 64 to 67 */           \
    600, 601, 605, 609,                                                   /* 68 to 71 */           \
    700, 701, 800                                                         /* 72 to 74 */

/* ---- Records of the host that the library reads -------------------------------------------------- */

/** Gives the library the host functions. */
typedef struct vt_api_provider {
    vt_word host_words[2];
    vt_get_function_by_id get_function;
} vt_api_provider;

/** The allocator behind Mem_Alloc: one level of a chain. A level that has no room asks its parent. */
typedef struct vt_allocator vt_allocator;
struct vt_allocator {
    vt_word host_words_0[2];
    /** A block of size bytes, or null; then *need is the size that this level must be given by its
     * parent to satisfy the request, 0 when it cannot say. */
    void *(*allocate)(vt_allocator *self, uint32_t size, uint32_t *need);
    /** Null, or a further block that must be freed in turn. */
    void *(*release)(vt_allocator *self, void *block);
    vt_word host_word_4;
    /** Hands over a block of size bytes that was obtained from the parent. */
    void (*donate)(vt_allocator *self, void *block, uint32_t size);
    vt_word host_word_6;
    vt_allocator *parent;
    vt_word host_words_8[3];
    vt_allocator *child;   /**< written by the library while it refills */
    uint32_t pending_size; /**< written by the library while it refills */
};

/** The word before every block points to such a record. */
typedef struct vt_block_origin {
    vt_word host_words[2];
    vt_allocator *allocator;
} vt_block_origin;

/** What a call needs of the host: its functions and its memory. */
typedef struct vt_host_runtime {
    vt_word host_words_0[4];
    vt_api_provider *provider;
    vt_word host_word_5;
    vt_allocator *allocator;
} vt_host_runtime;

/** Handed to every handler and method. One thread at a time may use it. */
typedef struct vt_call_context {
    vt_word host_word_0;
    vt_host_runtime *runtime;
} vt_call_context;

/** Handed to the entry points that register types and functions. */
typedef struct vt_registration_context {
    vt_word host_word_0;
    vt_api_provider *provider;
} vt_registration_context;

/** An argument record. The library passes it to a reader and never looks inside. */
typedef struct vt_argument {
    vt_word host_words[12];
} vt_argument;
/** A value record. The library reserves it, has it filled by a Make function, passes it on, and
 * never looks inside. */
typedef struct vt_value {
    vt_word host_words[7];
} vt_value;

typedef struct vt_object vt_object;
/** An object of the host. */
struct vt_object {
    vt_word host_words[2];
    /** The address of the object's data at the given offset. */
    void *(*data_at)(vt_object *self, uint32_t offset);
};

/** Where an object's private data begins behind its base: one word. */
#define VT_PRIVATE_DATA ((uint32_t)sizeof(vt_word))
/** An object and its base; its private data is data_at(object, base + VT_PRIVATE_DATA). */
typedef struct vt_object_reference {
    vt_object *object;
    uint32_t base;
} vt_object_reference;

/** What a method writes as its result: host functions 210 and 211, and the object. */
typedef struct vt_object_value {
    vt_host_function first;
    vt_host_function second;
    vt_object *object;
} vt_object_value;

/** Tells type values from other objects. */
typedef struct vt_type_kind {
    vt_word host_words[4];
    uint32_t kind; /**< VT_TYPE for a type value */
} vt_type_kind;

/** What VT_ID_GET_OBJECT_TYPE_INFO gives for an object. */
typedef struct vt_type_info {
    vt_word host_words[10];
    vt_type_kind *type;
} vt_type_info;

/* ---- Records of the library that the host reads -------------------------------------------------- */

/** A name, in units without a terminator. */
typedef struct vt_name {
    uint32_t bytes; /**< twice the number of units */
    const vt_unit *units;
} vt_name;

/** A script function. args are arg_count consecutive records; result_slot goes back to set_result. */
typedef vt_status (*vt_handler)(vt_call_context *context, uint32_t arg_count, vt_argument *args,
                                void *ignored, void *result_slot);

/** A method. consumed and result may be null; self is the object the method is called on, for the
 * method "new" the type value itself. */
typedef vt_status (*vt_method)(vt_call_context *context, uint32_t arg_count, vt_argument *args,
                               uint32_t *consumed, vt_object_reference *self,
                               vt_object_value *result);

/** A script function, as it is registered. Static data of the library. */
typedef struct vt_function_record {
    uint32_t name; /**< name index: 1-based into the symbol names */
    uint32_t host_word_1;
    uint32_t host_word_2;
    vt_handler handler;
} vt_function_record;

/** A property of an object type. */
typedef struct vt_property_record {
    uint32_t name;
    uint32_t kind;
    uint32_t type_name;
    uint32_t host_words[3];
} vt_property_record;

/** A method of an object type. */
typedef struct vt_method_record {
    uint32_t name;
    uint32_t host_word_1;
    vt_method handler;
} vt_method_record;

/** Makes an object's private data ready for use. */
typedef void *(*vt_private_init)(void *private_data);
/** Ends what an object's private data holds. */
typedef void (*vt_private_term)(void *private_data);

/** An object type, as it is registered. Static data of the library. */
typedef struct vt_type_record {
    uint32_t name;
    uint32_t host_words_1[3];
    uint32_t private_size; /**< bytes of private data of each object */
    vt_private_init init;  /**< called on new private data */
    vt_private_term term;  /**< called when the object is destroyed */
    uint32_t host_word_7;
    vt_status (*get_value)(void);
    uint32_t host_word_9;
    vt_status (*set_value)(void);
    uint32_t host_words_11[4];
    const vt_property_record *properties;
    uint32_t property_count;
    const vt_method_record *methods;
    uint32_t method_count;
    uint32_t host_words_19[4];
} vt_type_record;

/** What the library says of itself. */
typedef struct vt_version_record {
    uint32_t size;
    uint32_t version[4];
    uint32_t host_word_5;
    uint32_t description_sizes[2];
    const char *descriptions[2];
} vt_version_record;

/* ---- Signatures of the host functions ------------------------------------------------------------ */

/** indexes[k] becomes the 1-based position of the argument bound to parameters[k], 0 for none. */
typedef vt_status (*vt_bind_arguments)(uint32_t *indexes, const vt_name *parameters,
                                       uint32_t parameter_count, uint32_t arg_count,
                                       vt_argument *args);
/** Takes the result of a call: called once when the status is VT_OK, with VT_NO_VALUE for none. */
typedef void (*vt_set_result)(vt_call_context *context, void *result_slot, uint32_t kind,
                              vt_value *value);

/** The readers set the null flag, or the second flag for another kind of value, or the value. */
typedef vt_status (*vt_get_boolean_argument)(vt_argument *arg, uint16_t *null_flag, uint16_t *value);
/** Both integer readers; unused is always null. */
typedef vt_status (*vt_get_integer_argument)(vt_host_runtime *runtime, vt_argument *arg,
                                             uint16_t *null_flag, void *unused,
                                             uint16_t *second_flag, uint32_t *value);
/** The text stays the host's, and in place until the handler returns. */
typedef vt_status (*vt_get_string_argument)(vt_argument *arg, uint16_t *null_flag,
                                            uint16_t *second_flag, uint32_t *count,
                                            const vt_unit **text);
/** The bytes stay the host's, and in place until the handler returns. */
typedef vt_status (*vt_get_blob_argument)(vt_argument *arg, uint16_t *null_flag,
                                          uint16_t *second_flag, uint32_t *length,
                                          const uint8_t **data);

/** Makes a value record of 0 or 1. */
typedef vt_status (*vt_make_boolean_value)(vt_value *value, uint16_t boolean);
/** Makes a value record of an integer. */
typedef vt_status (*vt_make_integer_value)(vt_host_runtime *runtime, vt_value *value, uint32_t zero,
                                           uint32_t integer);
/** Makes a value record of a copy of the text. */
typedef vt_status (*vt_make_string_value)(vt_host_runtime *runtime, vt_value *value,
                                          const vt_unit *text, uint32_t count);
/** Makes a value record of a copy of the bytes. */
typedef vt_status (*vt_make_blob_value)(vt_host_runtime *runtime, vt_value *value,
                                        const uint8_t *data, uint32_t length);
/** Releases what a value record holds. */
typedef void (*vt_release_value)(uint32_t kind, vt_value *value);

/** Creates an object of a type, with a count of 0 references. */
typedef vt_status (*vt_create_object)(void *type_handle, vt_object_reference *created);
/** Adds a reference to an object. */
typedef void (*vt_add_object_reference)(vt_object *object);
/** Drops a reference; the object ends with its last one. */
typedef void (*vt_release_object)(vt_object *object);
/** The type of an object. */
typedef vt_type_info *(*vt_get_object_type_info)(vt_object_reference *reference);
/** Sets a property, named by its name index, and takes the value over. */
typedef vt_status (*vt_set_object_property)(vt_object *object, uint32_t base, uint32_t property,
                                            uint32_t kind, vt_value *value, uint16_t flag);

/** Takes a type; the record stays where it is. */
typedef vt_status (*vt_register_type)(vt_registration_context *context, const vt_type_record *record,
                                      void *extra);
/** Takes a function; the record stays where it is. */
typedef vt_status (*vt_register_function)(vt_registration_context *context,
                                          const vt_function_record *record, void *extra);

/* ---- Entry points of the library ----------------------------------------------------------------- */

/** Ids for TOVIK, the exported dispatcher. */
enum {
    VT_ENTRY_GET_REF_COUNT = 100,
    VT_ENTRY_GET_REF = 101,
    VT_ENTRY_GET_SYMBOL_COUNT = 102,
    VT_ENTRY_GET_SYMBOL = 103,
    VT_ENTRY_ADD_TYPES = 104,
    VT_ENTRY_ADD_FUNCTIONS = 105,
    VT_ENTRY_GET_VERSION = 110
};

typedef vt_host_function (*vt_dispatcher)(int32_t entry_id);      /**< exported as TOVIK */
typedef const vt_version_record *(*vt_get_version_record)(void);  /**< exported as VTGetVer */

/** VT_ENTRY_GET_REF_COUNT */
typedef uint32_t (*vt_get_ref_count)(void);
/** VT_ENTRY_GET_REF */
typedef vt_status (*vt_get_ref)(uint32_t index, uint32_t *word);
/** VT_ENTRY_GET_SYMBOL_COUNT: the number of symbol names. */
typedef vt_status (*vt_get_symbol_count)(void *ignored, uint32_t *count);
/** VT_ENTRY_GET_SYMBOL: a symbol name; the index counts from 1. */
typedef vt_status (*vt_get_symbol)(void *ignored, uint32_t index, vt_name *name);
/** VT_ENTRY_ADD_TYPES and VT_ENTRY_ADD_FUNCTIONS: register what the library has. */
typedef vt_status (*vt_add_records)(void *ignored, vt_registration_context *context, void *extra);
/** VT_ENTRY_GET_VERSION: the version as text. */
typedef vt_status (*vt_get_version)(void *ignored, vt_unit *buffer, uint32_t capacity,
                                    uint32_t *length);

/* ---- Where every field lies: offsets and sizes in bytes, with pointers of 32 and of 64 bits -------- */

#if UINTPTR_MAX == 0xFFFFFFFFu
#define VT_IS(found, in_32, in_64) ((found) == (in_32))
#elif UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
#define VT_IS(found, in_32, in_64) ((found) == (in_64))
#else
#error "valtrosse/host_abi.h: pointers have neither 32 nor 64 bits here"
#define VT_IS(found, in_32, in_64) 1
#endif
#define VT_AT(record, field, in_32, in_64)                                                         \
    VT_STATIC_ASSERT(VT_IS(offsetof(record, field), in_32, in_64),                                 \
                     #record "." #field " is misplaced")
#define VT_SIZE(record, in_32, in_64)                                                              \
    VT_STATIC_ASSERT(VT_IS(sizeof(record), in_32, in_64), #record " has the wrong size")

VT_AT(vt_api_provider, get_function, 8, 16);
VT_AT(vt_allocator, allocate, 8, 16);
VT_AT(vt_allocator, release, 12, 24);
VT_AT(vt_allocator, donate, 20, 40);
VT_AT(vt_allocator, parent, 28, 56);
VT_AT(vt_allocator, child, 44, 88);
VT_AT(vt_allocator, pending_size, 48, 96);
VT_AT(vt_block_origin, allocator, 8, 16);
VT_AT(vt_host_runtime, provider, 16, 32);
VT_AT(vt_host_runtime, allocator, 24, 48);
VT_AT(vt_call_context, runtime, 4, 8);
VT_AT(vt_registration_context, provider, 4, 8);
VT_SIZE(vt_argument, 48, 96);
VT_SIZE(vt_value, 28, 56);
VT_AT(vt_object, data_at, 8, 16);
VT_AT(vt_object_reference, base, 4, 8);
VT_SIZE(vt_object_reference, 8, 16);
VT_SIZE(vt_object_value, 12, 24);
VT_AT(vt_type_kind, kind, 16, 32);
VT_AT(vt_type_info, type, 40, 80);
VT_AT(vt_name, units, 4, 8);
VT_SIZE(vt_name, 8, 16);
VT_AT(vt_function_record, handler, 12, 16);
VT_SIZE(vt_function_record, 16, 24);
VT_SIZE(vt_property_record, 24, 24);
VT_AT(vt_method_record, handler, 8, 8);
VT_SIZE(vt_method_record, 12, 16);
VT_AT(vt_type_record, private_size, 16, 16);
VT_AT(vt_type_record, init, 20, 24);
VT_AT(vt_type_record, term, 24, 32);
VT_AT(vt_type_record, get_value, 32, 48);
VT_AT(vt_type_record, set_value, 40, 64);
VT_AT(vt_type_record, properties, 60, 88);
VT_AT(vt_type_record, property_count, 64, 96);
VT_AT(vt_type_record, methods, 68, 104);
VT_AT(vt_type_record, method_count, 72, 112);
VT_SIZE(vt_type_record, 92, 136);
VT_AT(vt_version_record, description_sizes, 24, 24);
VT_AT(vt_version_record, descriptions, 32, 32);
VT_SIZE(vt_version_record, 40, 48);

#undef VT_IS
#undef VT_AT
#undef VT_SIZE
#undef VT_STATIC_ASSERT

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* VALTROSSE_HOST_ABI_H */
