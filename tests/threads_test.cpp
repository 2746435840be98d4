// Eight threads at once: documents, messages and lifetime objects of their own, hosts that come and go.
// Under helgrind (tests/CMakeLists.txt) this shows races in what the threads share inside the library.
#include <array>
#include <set>
#include <thread>

#include "tests/fixture.hpp"

namespace valtrosse::host {
namespace {

constexpr unsigned thread_count = 8;

/// VALTROSSE_ROUNDS makes a longer run.
int rounds() {
    const char* asked = std::getenv("VALTROSSE_ROUNDS");
    return asked ? std::atoi(asked) : under_valgrind() ? 3 : 100;
}

/// What one thread does with a host; a name of its own stands in everything that it writes.
template <typename Caller>
class Script {
public:
    Script(Caller& host, std::string name) : host_(host), name_(std::move(name)) {}

    template <typename... T>
    Outcome call(std::string_view function, const T&... args) {
        silence_libxml2();
        return host_.call(function, {Argument(args)...});
    }
    template <typename... T>
    Handle get(std::string_view function, const T&... args) {
        const Outcome outcome = call(function, args...);
        EXPECT_TRUE(!outcome.no_value()) << name_ << ' ' << function;
        return outcome.no_value() ? 0 : outcome.handle();
    }
    std::string message(Handle node = 0) {
        const Outcome outcome = call("xmlDOMDocGetLastMsg", node);
        return outcome.no_value() ? "none" : outcome.utf8();
    }

    void fails_to_load() {
        EXPECT_TRUE(call("xmlDOMDocLoadXMLString", "<" + name_ + "><b>", 1).no_value());
    }
    bool has_own_message() { return message().find(name_ + "><b>") != std::string::npos; }

    /// A document that warns when it loads, changed in many ways.
    Handle edited_document() {
        const Handle doc =
            get("xmlDOMDocLoadXMLString",
                "<!DOCTYPE r [<!ATTLIST e id ID #IMPLIED>]><r xmlns:p='urn:p'><e id='" + name_ +
                    "' xmlns='" + name_ + "'>text</e><p:e p:k='1'>&#233;<!--c--></p:e></r>",
                0);
        EXPECT_NE(message(doc).find("xmlns: URI " + name_ + " is"), std::string::npos);
        get("xmlDOMDocSetLastMsg", doc, name_);
        const Handle root = get("xmlDOMDocGetRootNode", doc);
        const Handle first = get("xmlDOMDocGetElementById", doc, name_);
        const Handle last = get("xmlDOMNodeUnlinkNode", get("xmlDOMNodeGetRelative", root, 4));
        get("xmlDOMNodeAddChild", 0, first, last);
        const Handle attr = get("xmlDOMDocCreateNode", doc, 2, "made");
        get("xmlDOMNodeAddChild", 0, attr, get("xmlDOMDocCreateNode", doc, 3, name_));
        get("xmlDOMElementSetAttributeNode", root, attr);
        EXPECT_EQ(call("xmlDOMNodeSelectNodes", root, "//p:e[@p:k]/..").handles(),
                  std::vector{first});
        EXPECT_EQ(call("xmlDOMElementGetAttribute", root, "made").utf8(), name_);
        EXPECT_EQ(message(last), name_);
        return doc;
    }
    /// A copy of the root element with its document's clone freed.
    Handle loose_copy(Handle doc) {
        const Handle clone = get("xmlDOMNodeCloneNode", doc, 1);
        const Handle copy = get("xmlDOMNodeCloneNode", get("xmlDOMDocGetRootNode", clone), 1);
        get("xmlDOMDocFreeDoc", clone);
        return copy;
    }

private:
    Caller& host_;
    std::string name_;
};

/// Objects that hold trees, freed in every order: by hand, by the object, by another object.
void hold_and_free(Host& own, Script<Host>& script) {
    const Handle doc = script.edited_document(), other = script.edited_document();
    const Handle copy = script.loose_copy(doc);
    ObjectHandle first = own.create().object(), second = own.create().object();
    own.call_method(first, "addInternal", {copy});
    own.call_method(second, "addInternal", {copy});
    first = {};  // frees the copy, and the second object knows
    second = own.create().object();
    own.call_method(second, "addInternal", {doc});
    script.get("xmlDOMDocFreeDoc", doc);
    own.call_method(second, "addInternal", {other});
    second = {};
    const Handle kept = script.edited_document();
    const ObjectHandle third = own.create().object();
    own.call_method(third, "addInternal", {kept});
    own.call_method(third, "removeInternal", {});
    EXPECT_NE(script.message(kept), "none");
    script.get("xmlDOMDocFreeDoc", kept);
}

TEST(Threads, have_documents_messages_and_hosts_of_their_own) {
    Host shared(plugin_path());
    const auto work = [&shared](unsigned number) {
        Host::Context context(shared), other_context(shared);
        Script one(context, "one" + std::to_string(number));
        Script two(other_context, "two" + std::to_string(number));
        EXPECT_EQ(one.message() + two.message(), "nonenone");
        for (int round = 0; round < rounds(); ++round) {
            Host own(plugin_path());
            Script third(own, "own" + std::to_string(number));
            one.fails_to_load();
            two.fails_to_load();
            third.fails_to_load();
            const Handle doc = one.edited_document();
            two.get("xmlDOMDocSetLastMsg", doc, "from another context");
            EXPECT_EQ(one.message(doc), "from another context");
            hold_and_free(own, third);
            EXPECT_TRUE(one.has_own_message() && two.has_own_message() && third.has_own_message());
            one.get("xmlDOMDocFreeDoc", doc);
            EXPECT_EQ(own.counters().live_blocks, 0U);
            EXPECT_EQ(own.counters().live_objects, 0U);
        }
    };
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < thread_count; ++number) threads.emplace_back(work, number);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(shared.counters().live_blocks, 0U);
    EXPECT_EQ(shared.counters().live_values, 0U);
}

// What the threads of the other test do besides makes them wait for each other, and by chance keeps
// helgrind from seeing that the table of held trees has no lock. Here they do nothing else.
TEST(Threads, hold_trees_at_the_same_time) {
    struct Own {
        Host host{plugin_path()};
        Handle doc = host.call("xmlDOMDocCreateDoc", {"1.0"}).handle();
        ObjectHandle life = host.create().object();
    };
    std::vector<std::unique_ptr<Own>> all;
    for (unsigned i = 0; i < thread_count; ++i) all.push_back(std::make_unique<Own>());
    std::vector<std::thread> threads;
    for (const auto& own : all)
        threads.emplace_back([&own] {
            for (int round = 0; round < rounds(); ++round) {
                own->host.call_method(own->life, "addInternal", {own->doc});
                own->host.call_method(own->life, "removeInternal");
            }
            own->host.call_method(own->life, "addInternal", {own->doc});
        });
    for (std::thread& thread : threads) thread.join();
    for (const auto& own : all) {
        // Held by nobody else, the document can be freed by hand.
        own->host.call_method(own->life, "removeInternal");
        EXPECT_FALSE(own->host.call("xmlDOMDocFreeDoc", {own->doc}).no_value());
    }
}

// Handles are made, read and ended while the others grow what they stand in, and look beyond its end.
TEST(Threads, give_and_end_handles_at_the_same_time) {
    Host shared(plugin_path());
    const bool knows_handles = shared.symbol("valtrosse_object_of_handle") != nullptr;
    std::array<Handle, thread_count> declarations{};
    const auto work = [&](unsigned number) {
        Host::Context context(shared);
        Script script(context, "thread" + std::to_string(number));
        const Handle doc = script.get("xmlDOMDocCreateDoc", "1.0");
        std::vector<Handle> nodes;
        for (int i = 0; i < rounds() * 40; ++i) {
            nodes.push_back(script.get("xmlDOMDocCreateNode", doc, 1, "e"));
            if (knows_handles) {
                EXPECT_TRUE(script.call("xmlDOMNodeGetName", 0x40000000 + (i << 6)).no_value());
            }
            if (i % 3 == 0) script.get("xmlDOMNodeFreeNode", nodes[nodes.size() / 2]);
            if (i % 3 == 0) nodes.erase(nodes.begin() + static_cast<long>(nodes.size() / 2));
        }
        // One declaration for the whole process.
        const Handle reference = script.get("xmlDOMDocCreateNode", doc, 5, "lt");
        declarations[number] = script.get("xmlDOMNodeGetRelative", reference, 3);
        nodes.push_back(reference);
        std::set<Handle> different(nodes.begin(), nodes.end());
        EXPECT_EQ(different.size(), nodes.size());
        for (const Handle node : nodes) script.get("xmlDOMNodeFreeNode", node);
        script.get("xmlDOMDocFreeDoc", doc);
    };
    std::vector<std::thread> threads;
    for (unsigned number = 0; number < thread_count; ++number) threads.emplace_back(work, number);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::set(declarations.begin(), declarations.end()).size(), 1U);
}

}  // namespace
}  // namespace valtrosse::host
