// Values on their way from a Make function to SetResult, SetObjectProperty or ReleaseValue.
//
// Word 0 of a value record is its kind. Booleans and integers lie in word 1; text and bytes stay
// with the call that made them, and the record says where.
#pragma once

#include <cstdint>
#include <list>

#include "host/host.hpp"
#include "host/tally.hpp"

namespace valtrosse::host {

/// Places for text and bytes that are used again from call to call, so that passing a result costs
/// no allocation besides the text itself. One per call context.
struct ValuePool {
    Tally& tally;
    std::list<Outcome::Value> spare{};
};

/// The text and bytes made during one call. What nobody took over is released with it.
class CallValues {
public:
    explicit CallValues(ValuePool& pool) : pool_(pool) {}
    ~CallValues();
    CallValues(const CallValues&) = delete;
    CallValues& operator=(const CallValues&) = delete;

    /// A place for the content (a text or bytes) that a record of the given kind stands for; it is
    /// still empty.
    Outcome::Value& add(vt_value& record, std::uint32_t kind);
    void drop(std::list<Outcome::Value>::iterator place);

private:
    ValuePool& pool_;
    std::list<Outcome::Value> kept_{};
};

void write_boolean(vt_value& record, bool boolean);
void write_integer(vt_value& record, std::uint32_t integer);

/// Moves the content of the record to taken and empties the record. False, with nothing changed,
/// when the record does not hold a value of that kind.
bool take_value(std::uint32_t kind, vt_value& record, Outcome::Value& taken);

}  // namespace valtrosse::host
