// Last messages: whose they are, what is captured, how they go.
#include <gmock/gmock.h>
#include <libxml/globals.h>
#include <libxml/hash.h>
#include <sys/resource.h>

#include <cstdio>
#include <thread>

#include "tests/tree_fixture.hpp"

namespace valtrosse::host {
namespace {

using testing::HasSubstr;

class Messages : public TreeTest {
protected:
    void SetUp() override { remove_all(); }
    void TearDown() override {
        LibraryTest::TearDown();
        remove_all();
    }

    std::string message(Handle node = 0) { return text("xmlDOMDocGetLastMsg", node); }
    static std::string message(Host::Context& context) {
        const Outcome outcome = context.call("xmlDOMDocGetLastMsg", {0});
        return outcome.no_value() ? "none" : outcome.utf8();
    }
    void fail_to_load(std::string_view xml) { expect_no_value("xmlDOMDocLoadXMLString", xml, 1); }

    template <typename R>
    using Operation = R (*)(const xmlNode*, const vt_call_context*);
    void (*add)(const xmlNode*, const vt_call_context*,
                const char*) = host.symbol_as<decltype(add)>("_x_addMsgCopy");
    Operation<xmlChar*> get_copy = host.symbol_as<decltype(get_copy)>("_x_getMsgCopy");
    Operation<void> remove = host.symbol_as<decltype(remove)>("_x_removeMsg");
    void (*remove_all)() = host.symbol_as<decltype(remove_all)>("_x_removeAllMsgs");
    xmlHashTable* (*table)() = host.symbol_as<decltype(table)>("_x_getMsgTable");
};

TEST_F(Messages, keys) {
    using Address = std::uintptr_t;
    const auto key_of = host.symbol_as<xmlChar* (*)(Address)>("_x_xmlNodePtrToxmlCharPtr");
    const auto address_of = host.symbol_as<Address (*)(const char*)>("_x_xmlCharPtrToxmlNodePtr");
    const auto thread_key = host.symbol_as<xmlChar* (*)(const void*)>("_x_getMsgThreadId");
    const auto owner = host.symbol_as<const void* (*)(const void*)>("_x_getDocNode");
    const std::string upper_half(2 * sizeof(Address) - 8, '\1');
    EXPECT_EQ(taken(key_of(0x0804A1B2)), "\x0C\x03\x0B\x02\x01\x05\x01\x09" + upper_half);
    EXPECT_EQ(address_of(nullptr) | address_of("") | address_of("\1\2\3\4\5\6\7\x8\x9"), 0U);
    EXPECT_EQ(taken(thread_key(host.call_context())),
              taken(key_of(reinterpret_cast<Address>(xmlGetGlobalState()))) +
                  taken(key_of(reinterpret_cast<Address>(host.call_context()))));
    const Handle root = load_root("<a/>");
    const void* const doc = node_of(parent(root));
    EXPECT_TRUE(owner(nullptr) == nullptr && owner(node_of(root)) == doc && owner(doc) == doc);
}

TEST_F(Messages, belong_to_a_document_or_to_a_failed_load) {
    EXPECT_EQ(message(), "none");
    fail_to_load("<a><b></a>");
    const std::string failed = message();
    Host::Context other(host);
    EXPECT_EQ(message(other), "none");
    EXPECT_THAT(failed, HasSubstr("Opening and ending tag mismatch"));

    // A document that loads with a warning has a message; that of the failure stays.
    const Handle doc = load("<a xmlns='relative'><b/></a>"), quiet = load("<a/>");
    const Handle root = TreeTest::root(doc);
    EXPECT_THAT(message(doc), HasSubstr("xmlns: URI relative is not absolute"));
    EXPECT_EQ(message(find(root, "*")), message(doc));
    EXPECT_EQ(message(quiet), "none");
    EXPECT_EQ(message(), failed);
    get("xmlDOMDocSetLastMsg", quiet, "quiet");
    EXPECT_EQ(call("xmlDOMDocSetLastMsg", root, "two \u20ac").integer(), 0U);
    EXPECT_EQ(message(doc) + message(quiet) + message(), "two \u20acquiet" + failed);
    EXPECT_EQ(call("xmlDOMDocSetLastMsg", 0, u"").integer(), 0U);
    EXPECT_EQ(message(), "");
    const std::string large(20000, 'x');
    get("xmlDOMDocSetLastMsg", doc, large);
    EXPECT_EQ(message(doc), large);
    free(doc);
    EXPECT_EQ(xmlHashSize(table()), 2);  // the freed document's is gone
}

TEST_F(Messages, exported_operations) {
    const Handle root = load_root("<a/>");
    const xmlNode *node = node_of(root), *doc = node->parent;
    const auto* context = host.call_context();
    add(node, nullptr, nullptr);
    EXPECT_EQ(message(root), "none");
    add(node, context, "first");
    add(doc, nullptr, "second");
    add(nullptr, context, "thread");
    add(nullptr, nullptr, "no context");
    EXPECT_EQ(xmlHashSize(table()), 3);
    EXPECT_EQ(taken(get_copy(node, context)), "second");
    EXPECT_EQ(message() + taken(get_copy(nullptr, nullptr)), "threadno context");
    remove(node, context);
    remove(node, context);
    remove(nullptr, nullptr);
    EXPECT_EQ(message(root) + message() + taken(get_copy(nullptr, nullptr)), "nonethreadnull");
    remove_all();
    remove_all();
    EXPECT_TRUE(message() == "none" && xmlHashSize(table()) == 0);
    add(nullptr, context, "again");
    EXPECT_EQ(message(), "again");
    host.symbol_as<void (*)(void*, void*, const char*)>("_x_freeMsg")(nullptr, nullptr, "");
}

TEST_F(Messages, are_not_inherited_by_a_later_thread) {
    // Threads are told apart by a state that, of an ended thread, lies where the next one's will.
    std::vector<std::unique_ptr<Host::Context>> contexts;
    for (int i = 0; i < 100; ++i) contexts.push_back(std::make_unique<Host::Context>(host));
    std::vector<const void*> states;
    bool reused = false;
    for (unsigned t = 0; t < 20; ++t)
        std::thread([&] {
            const void* state = xmlGetGlobalState();
            reused |= std::find(states.begin(), states.end(), state) != states.end();
            states.push_back(state);
            // Failing first or asking first makes no difference.
            if (t % 2) contexts[0]->call("xmlDOMDocLoadXMLString", {"<mine", 1});
            for (std::size_t i = t % 2; i < contexts.size(); ++i)
                EXPECT_EQ(message(*contexts[i]), "none") << t;
            for (auto& context : contexts) context->call("xmlDOMDocSetLastMsg", {0, "left"});
            for (auto& context : contexts) EXPECT_EQ(message(*context), "left");
        }).join();
    if (!reused) GTEST_SKIP() << "this allocator gave no state's place to a later thread";
}

TEST_F(Messages, captures_up_to_4998_bytes) {
    const auto create = host.symbol_as<std::FILE* (*)()>("_x_createOutputTempFile");
    const auto destroy = host.symbol_as<xmlChar* (*)(std::FILE*)>("_x_destroyOutputTempFile");
    const auto captured = [&](const std::string& text) {
        std::FILE* const file = create();
        EXPECT_EQ(xmlGenericErrorContext, file);
        std::fwrite(text.data(), 1, text.size(), file);
        std::string result = taken(destroy(file));
        EXPECT_EQ(xmlGenericErrorContext, nullptr);
        return result;
    };
    EXPECT_EQ(captured(""), "null");
    EXPECT_EQ(captured({'a', 'b', 0, 'c', 'd'}), "ab");
    for (std::size_t length : {1U, 4998U, 4999U, 5000U, 5001U, 100000U})
        EXPECT_EQ(captured(std::string(length, 'x')), std::string(length < 4999 ? length : 0, 'x'));

    // The same through a load: a name of the right length makes the message as long as wanted.
    const auto load_with_name = [&](std::size_t length) {
        fail_to_load("<" + std::string(length, 'n'));
        return message();
    };
    const std::size_t rest = load_with_name(2000).size() - 2000;
    EXPECT_EQ(load_with_name(4998 - rest).size(), 4998U);
    EXPECT_EQ(load_with_name(4999 - rest), "");
    EXPECT_EQ(load_with_name(2000).size(), rest + 2000);  // nothing of the earlier ones remains

    silence_libxml2();
    const xmlGenericErrorFunc handler = xmlGenericError;
    rlimit limit{}, none{};
    getrlimit(RLIMIT_NOFILE, &limit);
    none.rlim_max = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(create(), nullptr);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(destroy(nullptr), nullptr);
    EXPECT_EQ(xmlGenericError, handler);
}

TEST_F(Messages, bytes_that_are_no_text_are_replaced) {
    const std::pair<std::string, std::u16string> cases[] = {
        {"cut \xE2\x82", u"cut \uFFFD"},
        {"\xF0\x9F\x98\x80 and \xC3\xA9", u"\uFFFD and \u00e9"},
        {"\x80\xBF\xFF.", u"\uFFFD\uFFFD\uFFFD."},
        {"\xC3(\xE2\x82(\xF8\x88\x80\x80\x80)", u"\uFFFD(\uFFFD(\uFFFD)"},
        {"a\xC0\x80z\xFF.", {u'a', 0, u'z', 0xFFFD, u'.'}},
        {std::string(300, '\xFF'), std::u16string(300, u'\uFFFD')},
    };
    for (const auto& [stored, shown] : cases) {
        add(nullptr, host.call_context(), stored.c_str());
        EXPECT_EQ(call("xmlDOMDocGetLastMsg", 0).text(), shown);
    }
    const TempFile file("latin.xml", "<?xml version='1.0'?><a>caf\xE9</a>");
    expect_no_value("xmlDOMDocLoadXMLFile", file.path(), 1);
    EXPECT_THAT(message(), HasSubstr("caf\uFFFD</a>"));
}

}  // namespace
}  // namespace valtrosse::host
