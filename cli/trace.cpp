#include "cli/trace.hpp"

#include <array>
#include <cstdint>
#include <cstdio>
#include <ostream>

#include "cli/format.hpp"

namespace valtrosse::cli {

namespace {

constexpr std::size_t text_limit = 40;
constexpr std::size_t time_width = 8;

std::string object_name(const void* object) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "LIBXMLLife@%zx",
                  reinterpret_cast<std::uintptr_t>(object));
    return text.data();
}

std::string written(const host::Argument* argument) {
    if (argument == nullptr) return "(not supplied)";
    switch (argument->kind()) {
        case host::Argument::Kind::missing: return "(not supplied)";
        case host::Argument::Kind::null: return "null";
        case host::Argument::Kind::boolean: return argument->integer() != 0 ? "true" : "false";
        case host::Argument::Kind::integer: return std::to_string(argument->integer());
        case host::Argument::Kind::string: return quoted(argument->text(), text_limit);
        case host::Argument::Kind::blob: return counted(argument->bytes().size(), "byte");
        case host::Argument::Kind::flagged: break;
    }
    return "?";
}

struct WriteValue {
    std::string operator()(std::monostate) const { return "no value"; }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(std::uint32_t value) const { return std::to_string(value); }
    std::string operator()(const std::u16string& value) const { return quoted(value, text_limit); }
    std::string operator()(const host::Blob& value) const { return counted(value.size(), "byte"); }
    std::string operator()(const host::ObjectHandle& value) const {
        return object_name(value.get());
    }
};

std::string written(const script::ObservedCall& call) {
    std::string text = call.function.name;
    if (call.object != nullptr) {
        text.replace(0, std::string_view("LIBXMLLife").size(), object_name(call.object));
    }
    text += '(';
    const auto& parameters = call.function.parameters;
    for (std::size_t k = 0; k < parameters.size(); ++k) {
        if (k != 0) text += ", ";
        text += parameters[k] + ": " + written(call.argument(k));
    }
    return text + ')';
}

}  // namespace

void Trace::after(const script::ObservedCall& call, const host::Outcome& outcome,
                  std::chrono::nanoseconds time) {
    const bool succeeded = outcome.status() == 0;
    line(duration(time), written(call) + (succeeded ? " = " : " failed: ") +
                             (succeeded ? std::visit(WriteValue(), outcome.value())
                                        : host::explain(call.function, call.arguments, outcome)));
}

void Trace::life_ends(const vt_object* object) { line("", object_name(object) + " ends"); }

void Trace::line(const std::string& time, const std::string& text) {
    script_out_.flush();
    out_ << right_aligned(time, time_width) << "  " << text << '\n';
    out_.flush();
}

}  // namespace valtrosse::cli
