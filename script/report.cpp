// Errors: how they are made, where they point to, and what is told of one that nobody caught.
#include <algorithm>
#include <new>

#include "script/runtime.hpp"

namespace valtrosse::script {

namespace {

constexpr std::size_t excerpt_width = 100;  // bytes of a line of source
constexpr int longest_chain = 8;            // causes of causes
// What is shown of a long stack.
constexpr std::size_t first_places = 12;
constexpr std::size_t last_places = 4;

std::string string_or_empty(JSContext* cx, JS::HandleString string) {
    return string ? to_utf8(cx, string) : "";
}

constexpr auto shown_frames = JS::SavedFrameSelfHosted::Exclude;  // not those of the engine itself

/// The place of a frame; false when it and all further ones are the engine's own.
bool read_place(JSContext* cx, JS::HandleObject frame, Place& place) {
    JS::RootedString text(cx);
    if (JS::GetSavedFrameSource(cx, nullptr, frame, &text, shown_frames) !=
        JS::SavedFrameResult::Ok) {
        return false;
    }
    place.file = string_or_empty(cx, text);
    JS::GetSavedFrameLine(cx, nullptr, frame, &place.line, shown_frames);
    JS::GetSavedFrameColumn(cx, nullptr, frame, &place.column, shown_frames);
    JS::GetSavedFrameFunctionDisplayName(cx, nullptr, frame, &text, shown_frames);
    place.function = string_or_empty(cx, text);
    return true;
}

/// Where an error says it is: the place of a mistake in a file that does not compile, for one.
Place reported_place(const JSErrorReport* report) {
    if (report == nullptr || report->filename == nullptr) return {};
    // The compiler, which has a line of source, counts columns from 0.
    const std::uint32_t first_column = report->linebuf() != nullptr ? 1 : 0;
    return {report->filename, report->lineno, report->column + first_column, ""};
}

/// The line of source with a mark under the column; empty where the source is not known.
std::string excerpt(const Runtime& runtime, const Place& place) {
    const auto found = runtime.sources.find(place.file);
    if (found == runtime.sources.end() || place.line == 0 || place.column == 0) return "";
    std::string_view text = found->second;
    for (std::uint32_t line = 1; line < place.line; ++line) {
        const std::size_t end = text.find('\n');
        if (end == text.npos) return "";
        text.remove_prefix(end + 1);
    }
    text = text.substr(0, text.find_first_of("\r\n"));
    // Columns count units, the text is bytes.
    const std::u16string units = host::to_units(text);
    if (place.column > units.size() + 1) return "";
    std::string before = host::to_utf8(std::u16string_view(units).substr(0, place.column - 1));
    std::string line(text);
    if (const std::size_t blanks = line.find_first_not_of(" \t");
        blanks != line.npos && blanks <= before.size()) {
        line.erase(0, blanks);
        before.erase(0, blanks);
    }
    if (before.size() > excerpt_width) return "";
    if (line.size() > excerpt_width) {
        line.resize(excerpt_width);
        line = host::to_utf8(host::to_units(line)) + "…";
    }
    std::string mark;
    for (const char byte : before) {
        if ((byte & 0xC0) != 0x80) mark += byte == '\t' ? '\t' : ' ';
    }
    return "    " + line + "\n    " + mark + "^\n";
}

std::string stack_text(const std::vector<Place>& places) {
    std::string text;
    for (std::size_t k = 0; k < places.size(); ++k) {
        if (k == first_places && places.size() > first_places + last_places) {
            const std::size_t left_out = places.size() - first_places - last_places;
            text += "    … " + std::to_string(left_out) + " more\n";
            k += left_out;
        }
        const Place& place = places[k];
        text += "    at " + (place.function.empty() ? place.text()
                                                    : place.function + " (" + place.text() + ")");
        text += '\n';
    }
    return text;
}

/// "TypeError: null has no properties"; of what is no error "uncaught", and the value as people read it.
std::string message_of(Runtime& runtime, JS::HandleValue thrown, bool is_error) {
    JS::RootedValue words(runtime.cx, thrown);
    if (!is_error) {
        try {
            call_helper(runtime, "inspect", JS::HandleValueArray(thrown), &words);
        } catch (const Pending&) {
            JS_ClearPendingException(runtime.cx);
        }
    }
    JS::RootedString text(runtime.cx, JS::ToString(runtime.cx, words));
    if (!text) JS_ClearPendingException(runtime.cx);
    return (is_error ? "" : "uncaught ") + (text ? to_utf8(runtime.cx, text) : "an object");
}

/// Of an engine without memory the exception is this text alone.
bool is_out_of_memory(Runtime& runtime, JS::HandleValue thrown) {
    if (!thrown.isString() || runtime.out_of_memory_at.empty()) return false;
    const JS::RootedString text(runtime.cx, thrown.toString());
    bool same = false;
    return JS_StringEqualsLiteral(runtime.cx, text, "out of memory", &same) && same;
}

bool is_error_object(Runtime& runtime, JS::HandleValue thrown) {
    if (!thrown.isObject()) return false;
    const JS::RootedObject object(runtime.cx, &thrown.toObject());
    return JS_ErrorFromException(runtime.cx, object) != nullptr;
}

}  // namespace

std::string Place::text() const {
    return file + ':' + std::to_string(line) + ':' + std::to_string(column);
}

bool is_bundled(const Runtime& runtime, std::string_view file) {
    const auto is_in = [=](std::string_view folder) {
        return file.size() > folder.size() && file.starts_with(folder) &&
               file[folder.size()] == '/';
    };
    const auto& folders = runtime.options.module_directories;
    return is_in(built_in) || std::any_of(folders.begin(), folders.end(), is_in);
}

std::vector<Place> places_of(Runtime& runtime, JS::HandleObject stack) {
    JSContext* const cx = runtime.cx;
    std::vector<Place> places;
    JS::RootedObject frame(cx, stack);
    for (Place place; frame && read_place(cx, frame, place);) {
        if (!is_bundled(runtime, place.file)) places.push_back(place);
        JS::RootedObject parent(cx);
        JS::GetSavedFrameParent(cx, nullptr, frame, &parent, shown_frames);
        if (!parent) JS::GetSavedFrameAsyncParent(cx, nullptr, frame, &parent, shown_frames);
        frame = parent;
    }
    return places;
}

std::vector<Place> current_places(Runtime& runtime) {
    JS::RootedObject stack(runtime.cx);
    check(JS::CaptureCurrentStack(runtime.cx, &stack));
    return places_of(runtime, stack);
}

std::string caller_of(JSContext* cx) {
    JS::AutoFilename file;
    unsigned line = 0;
    if (!JS::DescribeScriptedCaller(cx, &file, &line) || file.get() == nullptr) return "";
    return std::string(file.get()) + ':' + std::to_string(line);
}

JSObject* set_error(Runtime& runtime, JSExnType type, std::string_view message) {
    JSContext* const cx = runtime.cx;
    try {
        JS::RootedObject stack(cx);
        check(JS::CaptureCurrentStack(cx, &stack));
        const std::vector<Place> places = places_of(runtime, stack);
        const Place place = places.empty() ? Place() : places.front();
        const JS::RootedString text(cx, check(new_string(cx, message)));
        const JS::RootedString file(cx, check(new_string(cx, std::string_view(place.file))));
        const JS::Rooted<mozilla::Maybe<JS::Value>> cause(cx, mozilla::Nothing());
        JS::RootedValue error(cx);
        check(JS::CreateError(cx, type, stack, file, place.line, place.column, nullptr, text, cause,
                              &error));
        JS_SetPendingException(cx, error);
        return &error.toObject();
    } catch (const Pending&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        JS_ReportOutOfMemory(cx);
        return nullptr;
    }
}

void set_current_exception(Runtime& runtime) noexcept {
    try {
        throw;
    } catch (const Pending&) {
        // The engine has it, or nobody is to hear of it.
    } catch (const ScriptError& error) {
        set_error(runtime, error.type, error.what());
    } catch (const std::bad_alloc&) {
        JS_ReportOutOfMemory(runtime.cx);
    } catch (const std::exception& error) {
        set_error(runtime, JSEXN_ERR, error.what());
    }
}

std::string report_of(Runtime& runtime, JS::HandleValue thrown, JS::HandleObject thrown_at) {
    JSContext* const cx = runtime.cx;
    JS::RootedValue value(cx, thrown);
    JS::RootedObject stack(cx, thrown_at);
    std::string text;
    for (int depth = 0; depth < longest_chain; ++depth) {
        const bool is_error = is_error_object(runtime, value);
        Place place;
        mozilla::Maybe<JS::Value> cause;
        if (is_error) {
            const JS::RootedObject error(cx, &value.toObject());
            stack = JS::ExceptionStackOrNull(error);
            place = reported_place(JS_ErrorFromException(cx, error));
            cause = JS::GetExceptionCause(error);
        }
        const std::vector<Place> places = places_of(runtime, stack);
        if (!places.empty() && (place.file.empty() || is_bundled(runtime, place.file))) {
            place = places.front();
        }
        if (depth != 0) text += "caused by ";
        text += (place.file.empty() ? runtime.program : place.text()) + ": " +
                message_of(runtime, value, is_error) + '\n' + excerpt(runtime, place);
        // One place is told already.
        const bool says_more =
            places.size() > 1 || (places.size() == 1 && places.front().text() != place.text());
        if (says_more) text += stack_text(places);
        if (cause.isNothing()) break;
        value = *cause;
        stack = nullptr;
    }
    return text;
}

std::string take_report(Runtime& runtime) {
    if (!runtime.interrupted_at.empty()) {
        return std::exchange(runtime.interrupted_at, "") + ": interrupted\n";
    }
    JS::ExceptionStack thrown(runtime.cx);
    if (!JS_IsExceptionPending(runtime.cx) ||
        !JS::StealPendingExceptionStack(runtime.cx, &thrown)) {
        JS_ClearPendingException(runtime.cx);
        return runtime.program + ": the script was ended\n";
    }
    const JS::RootedValue value(runtime.cx, thrown.exception());
    if (is_out_of_memory(runtime, value)) return runtime.out_of_memory_at + ": out of memory\n";
    return report_of(runtime, value, thrown.stack());
}

}  // namespace valtrosse::script
