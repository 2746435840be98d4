#include <string>
#include <vector>

#include "host/arguments.hpp"
#include "host/host.hpp"

namespace valtrosse::host {

namespace {

using Kind = Argument::Kind;

/// Whether a reader of the kind that gives the status may have refused the argument.
bool may_be_refused(const Argument& argument, vt_status status) {
    switch (argument.kind()) {
        case Kind::flagged:
        case Kind::boolean: return true;
        case Kind::null: return status == VT_BAD_INTEGER;
        case Kind::integer: return status != VT_BAD_INTEGER || argument.integer() == 0;
        case Kind::string: return status != VT_BUFFER_TOO_SMALL;
        case Kind::blob: return status != VT_BAD_BLOB;
        case Kind::missing: break;
    }
    return false;
}

/// The sentences about one call.
class Explanation {
public:
    Explanation(const Function& function, std::span<const Argument> args, vt_status status,
                std::uint32_t last_read)
        : function_(function),
          args_(args),
          status_(status),
          last_read_(last_read),
          positions_(function.parameters.size()) {
        bind_positions(
            positions_, static_cast<std::uint32_t>(args.size()),
            [&](std::uint32_t i) -> const Argument& { return args[i]; },
            [&](std::size_t k, std::string_view name) { return function.parameters[k] == name; });
    }

    std::string text() const { return sentence() + " (" + std::to_string(status_) + ")"; }

private:
    std::string sentence() const {
        const std::string& name = function_.name;
        switch (status_) {
            case VT_OK: return name + " succeeded";
            case VT_OUT_OF_MEMORY: return "the host's memory ran out in " + name;
            case VT_NOT_A_TYPE: return name + " was called on something that is no type";
            case VT_NO_PRIVATE_DATA: return "the object of " + name + " has no private data";
            case VT_BUFFER_TOO_SMALL: return refused("a text parameter", "is not text");
            case VT_BAD_INTEGER: return refused("an integer parameter", why_no_integer());
            case VT_NO_OBJECT_VALUE: return "the object has no value of its own";
            case VT_MALFORMED:
                return name == "xmlDOMUtilStrReplace" ? "nothing to replace"
                                                      : "malformed UTF-8 in the text of " + name;
            case VT_MISSING_ARGUMENT: return not_supplied();
            case VT_MISSING_FUNCTION: return "the host lacks a function that the library asks for";
            case VT_TOO_LARGE:
                return "a character above U+FFFF cannot cross, or the text is too long, in " + name;
            case VT_BAD_BLOB: return refused("a blob parameter", "is not a blob");
            default: return "a host function failed in " + name;
        }
    }

    std::string refused(const std::string& in_general, const std::string& why) const {
        const std::string* parameter = nullptr;
        std::size_t candidates = 0;
        for (std::size_t k = 0; k < positions_.size(); ++k) {
            if (positions_[k] == 0) continue;
            const bool candidate = last_read_ != 0
                                       ? positions_[k] == last_read_
                                       : may_be_refused(args_[positions_[k] - 1], status_);
            if (!candidate) continue;
            parameter = &function_.parameters[k];
            ++candidates;
        }
        const std::string who = candidates == 1 ? "parameter " + *parameter : in_general;
        return who + " of " + function_.name + " " + why;
    }

    /// What the argument that was read last is, where that says why it is no integer.
    std::string why_no_integer() const {
        const Kind kind = last_read_ == 0 ? Kind::missing : args_[last_read_ - 1].kind();
        switch (kind) {
            case Kind::string: return "is text, not a number";
            case Kind::blob: return "is bytes, not a number";
            case Kind::boolean: return "is a boolean, not a number";
            default: return "is 0, null or out of range";
        }
    }

    std::string not_supplied() const {
        std::string names;
        std::size_t count = 0;
        for (std::size_t k = 0; k < positions_.size(); ++k) {
            if (positions_[k] != 0) continue;
            names += (count++ == 0 ? "" : ", ") + function_.parameters[k];
        }
        if (count == 0) return "a parameter of " + function_.name + " is not supplied";
        return (count == 1 ? "parameter " : "parameters ") + names + " of " + function_.name +
               (count == 1 ? " is not supplied" : " are not supplied");
    }

    const Function& function_;
    std::span<const Argument> args_;
    vt_status status_;
    std::uint32_t last_read_;
    std::vector<std::uint32_t> positions_;  // per parameter, of the argument bound to it
};

}  // namespace

std::string explain(const Function& function, std::span<const Argument> args,
                    const Outcome& outcome) {
    return Explanation(function, args, outcome.status(), outcome.last_read()).text();
}

std::string explain(const Function& function, std::span<const Argument> args, vt_status status) {
    return Explanation(function, args, status, 0).text();
}

}  // namespace valtrosse::host
