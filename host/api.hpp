// The host functions that the library asks for by id.
#pragma once

#include <cstdint>

#include "host/host.hpp"

namespace valtrosse::host::api {

/// Makes the table of host functions. Called before the first look-up; later calls do nothing.
void prepare();

/// Provider callbacks. The first is the everyday one; the second leaves out Faults::missing_id.
vt_host_function look_up(std::uint32_t id);
vt_host_function look_up_with_faults(std::uint32_t id);

// Each function stands in the file of its subject; include/valtrosse/host_abi.h describes them.

// arguments.cpp
vt_status bind_arguments(std::uint32_t* indexes, const vt_name* parameters,
                         std::uint32_t parameter_count, std::uint32_t arg_count,
                         vt_argument* args) noexcept;
vt_status get_boolean_argument(vt_argument* arg, std::uint16_t* null_flag,
                               std::uint16_t* value) noexcept;
vt_status get_integer_argument(vt_host_runtime* runtime, vt_argument* arg, std::uint16_t* null_flag,
                               void* unused, std::uint16_t* second_flag,
                               std::uint32_t* value) noexcept;
vt_status get_string_argument(vt_argument* arg, std::uint16_t* null_flag,
                              std::uint16_t* second_flag, std::uint32_t* count,
                              const vt_unit** text) noexcept;
vt_status get_blob_argument(vt_argument* arg, std::uint16_t* null_flag, std::uint16_t* second_flag,
                            std::uint32_t* length, const std::uint8_t** data) noexcept;

// call.cpp
vt_status make_boolean_value(vt_value* value, std::uint16_t boolean) noexcept;
vt_status make_integer_value(vt_host_runtime* runtime, vt_value* value, std::uint32_t zero,
                             std::uint32_t integer) noexcept;
vt_status make_string_value(vt_host_runtime* runtime, vt_value* value, const vt_unit* text,
                            std::uint32_t count) noexcept;
vt_status make_blob_value(vt_host_runtime* runtime, vt_value* value, const std::uint8_t* data,
                          std::uint32_t length) noexcept;
void release_value(std::uint32_t kind, vt_value* value) noexcept;
void set_result(vt_call_context* context, void* result_slot, std::uint32_t kind,
                vt_value* value) noexcept;

// objects.cpp
vt_status create_object(void* type_handle, vt_object_reference* created) noexcept;
void add_object_reference(vt_object* object) noexcept;
void release_object(vt_object* object) noexcept;
vt_type_info* get_object_type_info(vt_object_reference* reference) noexcept;
vt_status set_object_property(vt_object* object, std::uint32_t base, std::uint32_t property,
                              std::uint32_t kind, vt_value* value, std::uint16_t flag) noexcept;

// registry.cpp
vt_status register_type(vt_registration_context* context, const vt_type_record* record,
                        void* extra) noexcept;
vt_status register_function(vt_registration_context* context, const vt_function_record* record,
                            void* extra) noexcept;

}  // namespace valtrosse::host::api
