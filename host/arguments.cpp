#include "host/arguments.hpp"

#include <bit>

#include "host/api.hpp"
#include "host/call.hpp"

namespace valtrosse::host {

// ---- Argument -----------------------------------------------------------------------------------

Argument::Argument(std::string_view utf8) : Argument(to_units(utf8)) {}

Argument::Argument(std::u16string&& text)
    : kind_(Kind::string),
      integer_(static_cast<std::uint32_t>(text.size())),
      owned_(std::make_shared<const std::u16string>(std::move(text))) {
    text_ = owned_->data();
}

Argument::Argument(const Outcome& outcome) {
    if (outcome.status() != VT_OK) {
        throw UsageError("an argument is the outcome of a call that failed with status " +
                         std::to_string(outcome.status()));
    }
    const Outcome::Value& value = outcome.value();
    if (const auto* boolean = std::get_if<bool>(&value)) {
        *this = Argument(*boolean);
    } else if (const auto* integer = std::get_if<std::uint32_t>(&value)) {
        *this = Argument(*integer);
    } else if (const auto* text = std::get_if<std::u16string>(&value)) {
        *this = Argument(std::u16string_view(*text));
    } else if (const auto* bytes = std::get_if<Blob>(&value)) {
        *this = Argument(*bytes);
    } else if (std::holds_alternative<ObjectHandle>(value)) {
        throw UsageError("an object cannot be an argument");
    } else {
        kind_ = Kind::null;
    }
}

Argument Argument::string_without_text() {
    Argument argument;
    argument.kind_ = Kind::string;
    return argument;
}

Argument Argument::with_second_flag() {
    Argument argument;
    argument.kind_ = Kind::flagged;
    return argument;
}

// ---- Argument records ---------------------------------------------------------------------------

namespace {

// Words of an argument record. The value stays in the Argument that the caller owns.
constexpr std::size_t kArgument = 0;
constexpr std::size_t kPosition = 1;
constexpr std::size_t kLastRead = 2;

}  // namespace

void write_argument(vt_argument& record, const Argument& argument, std::uint32_t position,
                    std::uint32_t& last_read) {
    record.host_words[kArgument] = std::bit_cast<vt_word>(&argument);
    record.host_words[kPosition] = position;
    record.host_words[kLastRead] = std::bit_cast<vt_word>(&last_read);
}

const Argument& argument_of(const vt_argument& record) {
    return *std::bit_cast<const Argument*>(record.host_words[kArgument]);
}

// ---- Host functions -----------------------------------------------------------------------------

namespace api {

namespace {

/// The argument that a reader is about to read, noted as the last one read.
const Argument& read(const vt_argument& record) {
    *std::bit_cast<std::uint32_t*>(record.host_words[kLastRead]) =
        static_cast<std::uint32_t>(record.host_words[kPosition]);
    return argument_of(record);
}

/// An argument of another kind than the reader's is no value of that kind: it raises the second
/// flag. True when the argument is of the kind.
bool raise_flags(const Argument& argument, Argument::Kind wanted, std::uint16_t& null_flag,
                 std::uint16_t& second_flag) {
    null_flag =
        argument.kind() == Argument::Kind::null || argument.kind() == Argument::Kind::missing;
    second_flag = null_flag == 0 && argument.kind() != wanted;
    return argument.kind() == wanted;
}

/// Parameter names are ASCII; a name with other characters matches none.
bool same_name(const vt_name& parameter, std::string_view name) {
    return std::equal(name.begin(), name.end(), parameter.units,
                      parameter.units + parameter.bytes / sizeof(vt_unit),
                      [](char c, vt_unit unit) { return static_cast<unsigned char>(c) == unit; });
}

}  // namespace

vt_status bind_arguments(std::uint32_t* indexes, const vt_name* parameters,
                         std::uint32_t parameter_count, std::uint32_t arg_count,
                         vt_argument* args) noexcept {
    if (const vt_status fault = injected_fault(&Faults::bind)) return fault;
    bind_positions(
        {indexes, parameter_count}, arg_count,
        [args](std::uint32_t i) -> const Argument& { return argument_of(args[i]); },
        [parameters](std::size_t k, std::string_view name) {
            return same_name(parameters[k], name);
        });
    return VT_OK;
}

vt_status get_boolean_argument(vt_argument* arg, std::uint16_t* null_flag,
                               std::uint16_t* value) noexcept {
    if (const vt_status fault = injected_read_fault()) return fault;
    const Argument& argument = read(*arg);
    // There is no second flag here: whatever is no boolean counts as null.
    *null_flag = argument.kind() != Argument::Kind::boolean;
    if (*null_flag == 0) *value = argument.integer() != 0;
    return VT_OK;
}

vt_status get_integer_argument(vt_host_runtime*, vt_argument* arg, std::uint16_t* null_flag, void*,
                               std::uint16_t* second_flag, std::uint32_t* value) noexcept {
    if (const vt_status fault = injected_read_fault()) return fault;
    const Argument& argument = read(*arg);
    if (raise_flags(argument, Argument::Kind::integer, *null_flag, *second_flag)) {
        *value = argument.integer();
    }
    return VT_OK;
}

vt_status get_string_argument(vt_argument* arg, std::uint16_t* null_flag,
                              std::uint16_t* second_flag, std::uint32_t* count,
                              const vt_unit** text) noexcept {
    if (const vt_status fault = injected_read_fault()) return fault;
    const Argument& argument = read(*arg);
    if (raise_flags(argument, Argument::Kind::string, *null_flag, *second_flag)) {
        *count = argument.integer();
        *text = argument.units();
    }
    return VT_OK;
}

vt_status get_blob_argument(vt_argument* arg, std::uint16_t* null_flag, std::uint16_t* second_flag,
                            std::uint32_t* length, const std::uint8_t** data) noexcept {
    if (const vt_status fault = injected_read_fault()) return fault;
    const Argument& argument = read(*arg);
    if (raise_flags(argument, Argument::Kind::blob, *null_flag, *second_flag)) {
        *length = argument.integer();
        *data = argument.bytes().data();
    }
    return VT_OK;
}

}  // namespace api

}  // namespace valtrosse::host
