#include "host/values.hpp"

#include <bit>
#include <charconv>

namespace valtrosse::host {

// ---- Value records ------------------------------------------------------------------------------

namespace {

// Words of a value record.
constexpr std::size_t kKind = 0;
constexpr std::size_t kContent = 1;  // the boolean or integer, or the place of text or bytes
constexpr std::size_t kOwner = 2;    // the CallValues that the place belongs to

using Place = std::list<Outcome::Value>::iterator;
static_assert(sizeof(Place) == sizeof(vt_word));

}  // namespace

void write_boolean(vt_value& record, bool boolean) {
    record.host_words[kKind] = VT_BOOLEAN;
    record.host_words[kContent] = boolean;
}

void write_integer(vt_value& record, std::uint32_t integer) {
    record.host_words[kKind] = VT_INTEGER;
    record.host_words[kContent] = integer;
}

bool take_value(std::uint32_t kind, vt_value& record, Outcome::Value& taken) {
    if (record.host_words[kKind] != kind) return false;
    const vt_word content = record.host_words[kContent];
    switch (kind) {
        case VT_BOOLEAN: taken = content != 0; break;
        case VT_INTEGER: taken = static_cast<std::uint32_t>(content); break;
        case VT_STRING:
        case VT_BLOB: {
            const auto place = std::bit_cast<Place>(content);
            taken = std::move(*place);
            std::bit_cast<CallValues*>(record.host_words[kOwner])->drop(place);
            break;
        }
        default: return false;
    }
    record.host_words[kKind] = VT_NO_VALUE;
    return true;
}

CallValues::~CallValues() {
    while (!kept_.empty()) drop(kept_.begin());
}

Outcome::Value& CallValues::add(vt_value& record, std::uint32_t kind) {
    if (pool_.spare.empty()) pool_.spare.emplace_back();
    kept_.splice(kept_.begin(), pool_.spare, pool_.spare.begin());
    ++pool_.tally.live_values;
    record.host_words[kKind] = kind;
    record.host_words[kContent] = std::bit_cast<vt_word>(kept_.begin());
    record.host_words[kOwner] = std::bit_cast<vt_word>(this);
    return kept_.front();
}

void CallValues::drop(Place place) {
    *place = std::monostate{};
    pool_.spare.splice(pool_.spare.begin(), kept_, place);
    --pool_.tally.live_values;
}

// ---- Outcome ------------------------------------------------------------------------------------

namespace {

constexpr const char* kKindNames[] = {"no value", "a boolean", "an integer",
                                      "text",     "bytes",     "an object"};

template <typename T>
const T& held(const Outcome& outcome) {
    if (const T* value = std::get_if<T>(&outcome.value())) return *value;
    const Outcome::Value wanted{std::in_place_type<T>};
    std::string message = std::string("the outcome holds ") + kKindNames[outcome.value().index()] +
                          ", not " + kKindNames[wanted.index()];
    if (outcome.status() != VT_OK) {
        message += "; the call failed with status " + std::to_string(outcome.status());
    }
    throw UsageError(message);
}

}  // namespace

std::uint32_t Outcome::integer() const { return held<std::uint32_t>(*this); }
bool Outcome::boolean() const { return held<bool>(*this); }
const std::u16string& Outcome::text() const { return held<std::u16string>(*this); }
std::string Outcome::utf8() const { return to_utf8(text()); }
const Blob& Outcome::blob() const { return held<Blob>(*this); }
const ObjectHandle& Outcome::object() const { return held<ObjectHandle>(*this); }

std::vector<std::uint32_t> Outcome::handles() const {
    constexpr std::size_t digits = 8;
    const std::string list = utf8();
    if (list.empty() || list[0] != '4' || list.size() % digits != 1) {
        throw UsageError("the outcome holds text that is no handle list: " + list);
    }
    std::vector<std::uint32_t> handles;
    handles.reserve(list.size() / digits);
    for (const char* at = list.data() + 1; at != list.data() + list.size(); at += digits) {
        std::uint32_t handle = 0;
        if (std::from_chars(at, at + digits, handle, 16).ptr != at + digits) {
            throw UsageError("the outcome holds text that is no handle list: " + list);
        }
        handles.push_back(handle);
    }
    return handles;
}

}  // namespace valtrosse::host
