#include "plugin/readers.hpp"

using valtrosse::HostApi;

namespace {

vt_argument* argument(vt_argument* args, std::uint32_t position) { return args + (position - 1); }

/// Text and blobs differ only in the unit and in the statuses of their flags.
template <typename Unit>
vt_status read_counted(vt_status (*reader)(vt_argument*, std::uint16_t*, std::uint16_t*,
                                           std::uint32_t*, const Unit**),
                       vt_status if_null, vt_status if_flagged, std::uint32_t position,
                       vt_argument* args, std::uint32_t* count_out, const Unit** data_out) {
    if (position == 0) return VT_MISSING_ARGUMENT;
    std::uint16_t null_flag = 0;
    std::uint16_t second_flag = 0;
    std::uint32_t count = 0;
    const Unit* data = nullptr;
    if (vt_status status =
            reader(argument(args, position), &null_flag, &second_flag, &count, &data))
        return status;
    if (null_flag == 1) return if_null;
    if (second_flag == 1) return if_flagged;
    if (count_out) *count_out = count;
    if (data_out) *data_out = data;
    return VT_OK;
}

vt_status read_bounded(vt_get_integer_argument reader, vt_host_runtime* runtime,
                       std::uint32_t position, vt_argument* args, std::uint32_t* out,
                       std::uint32_t low, std::uint32_t high) {
    if (position == 0) return VT_OK;
    std::uint16_t null_flag = 0;
    std::uint16_t second_flag = 0;
    std::uint32_t value = 0;
    if (vt_status status =
            reader(runtime, argument(args, position), &null_flag, nullptr, &second_flag, &value))
        return status;
    if (null_flag == 1 || second_flag == 1 || value < low || value > high) return VT_BAD_INTEGER;
    *out = value;
    return VT_OK;
}

}  // namespace

vt_status TOVIKParam_StrParam(vt_host_runtime*, const HostApi* api, std::uint32_t position,
                              vt_argument* args, std::uint32_t* count, const char16_t** text) {
    return read_counted(api->get_string_argument(), VT_NULL_STRING, VT_BUFFER_TOO_SMALL, position,
                        args, count, text);
}

vt_status TOVIKParam_BlobParam(vt_host_runtime*, const HostApi* api, std::uint32_t position,
                               vt_argument* args, std::uint32_t* length,
                               const std::uint8_t** data) {
    return read_counted(api->get_blob_argument(), VT_NULL_BLOB, VT_BAD_BLOB, position, args, length,
                        data);
}

vt_status TOVIKParam_Vtu32intParam(vt_host_runtime* runtime, const HostApi* api,
                                   std::uint32_t position, vt_argument* args, std::uint32_t* value,
                                   std::uint32_t low, std::uint32_t high) {
    return read_bounded(api->get_integer_argument(), runtime, position, args, value, low, high);
}

vt_status TOVIKParam_VtuintParam(vt_host_runtime* runtime, const HostApi* api,
                                 std::uint32_t position, vt_argument* args, std::uint32_t* value,
                                 std::uint32_t low, std::uint32_t high) {
    return read_bounded(api->get_integer_argument(), runtime, position, args, value, low, high);
}

vt_status TOVIKParam_VtramsizeParam(vt_host_runtime* runtime, const HostApi* api,
                                    std::uint32_t position, vt_argument* args, std::uint32_t* value,
                                    std::uint32_t low, std::uint32_t high) {
    return read_bounded(api->get_ramsize_argument(), runtime, position, args, value, low, high);
}

vt_status TOVIKParam_BoolParam(vt_host_runtime*, const HostApi* api, std::uint32_t position,
                               vt_argument* args, std::uint16_t* value) {
    if (position == 0) return VT_OK;
    std::uint16_t null_flag = 0;
    std::uint16_t read = 0;
    if (vt_status status = api->get_boolean_argument()(argument(args, position), &null_flag, &read))
        return status;
    if (null_flag == 1) return VT_BAD_INTEGER;
    *value = read;
    return VT_OK;
}
