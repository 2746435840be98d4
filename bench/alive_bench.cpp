// Calls that look into the tables of what is alive: beside a million documents or held trees as beside
// a thousand.
#include <vector>

#include "bench/functions.hpp"
#include "bench/report.hpp"

namespace valtrosse::bench {
namespace {

using Handle = std::uint32_t;

Handle new_document() { return shared_host().call("xmlDOMDocCreateDoc", {u"1.0"}).handle(); }

/// An object that holds an element of no document.
class HeldTree {
public:
    HeldTree() : object_(shared_host().create().object()) {
        static const Handle doc = new_document();
        const Handle tree = call(library().create, {doc, 1, u"e"}).handle();
        shared_host().call_method(object_, "addInternal", {tree});
    }

private:
    host::ObjectHandle object_;
};

class Document {
public:
    Document() : handle_(new_document()) {}
    ~Document() { call(library().free_doc, {handle_}); }
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

private:
    Handle handle_;
};

template <typename Thing>
Job make_and_end_beside(std::size_t count) {
    return [count](benchmark::State& state) {
        const std::vector<Thing> others(count);
        for (auto _ : state) Thing();
    };
}

template <typename Thing>
void compare_numbers(const std::string& name) {
    compare("Beside 1,000,000 others", name, 1.25, make_and_end_beside<Thing>(1000000),
            make_and_end_beside<Thing>(1000), "the same beside 1,000 others");
}

const Registration tables([] {
    compare_numbers<Document>("create and free a document");
    compare_numbers<HeldTree>("create, hold and end a tree");
});

}  // namespace
}  // namespace valtrosse::bench
