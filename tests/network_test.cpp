// vtdom --no-network: no road that libxml2 and libxslt know leads out.
#include "cli/network.hpp"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>
#include <sys/socket.h>

#include "fixture.hpp"

namespace valtrosse::host {
namespace {

/// Somebody who would be called, and notices.
class Listener {
public:
    Listener() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0)) {
        sockaddr_in place{};
        place.sin_family = AF_INET;
        place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof place;
        auto* const address = reinterpret_cast<sockaddr*>(&place);
        const bool listens = socket_ >= 0 && bind(socket_, address, size) == 0 &&
                             listen(socket_, 16) == 0 && getsockname(socket_, address, &size) == 0;
        if (listens) port_ = ntohs(place.sin_port);
    }
    ~Listener() { close(socket_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int port() const { return port_; }
    bool was_called() const { return accept(socket_, nullptr, nullptr) >= 0; }

private:
    int socket_;
    int port_ = 0;
};

TEST(Network, is_not_used_for_documents_dtds_entities_catalogues_stylesheets_and_results) {
    const ParserDefaults defaults;
    cli::forbid_network();
    silence_libxml2();
    const Listener listener;
    ASSERT_NE(listener.port(), 0);
    const std::string there = "HTTP://127.0.0.1:" + std::to_string(listener.port()) + "/";
    Host host(plugin_path());
    const auto expect_quiet = [&](const char* what) {
        EXPECT_FALSE(listener.was_called()) << what;
    };

    EXPECT_TRUE(host.call("xmlDOMDocLoadXMLFile", {there + "a.xml", 0}).no_value());
    EXPECT_NE(host.call("xmlDOMDocGetLastMsg", {0}).utf8().find("network entity"),
              std::string::npos);
    EXPECT_TRUE(host.call("xmlHTMLDocLoadFile", {there + "a.html", 0}).no_value());
    EXPECT_TRUE(host.call("xmlDOMDocLoadDoctype", {"", there + "a.dtd"}).no_value());
    expect_quiet("loading");

    const Handle doc = host.call("xmlDOMDocLoadXMLString", {u"<a>x</a>", 0}).handle();
    EXPECT_TRUE(host.call("xmlDOMDocSaveXMLFile", {doc, there + "a.xml"}).no_value());
    EXPECT_TRUE(
        host.call("xmlDOMDocSaveXMLFormatFile", {doc, there + "a.xml", "UTF-8", 0}).no_value());
    expect_quiet("saving");

    const std::string head =
        "<xsl:stylesheet version='1.0' "
        "xmlns:xsl='http://www.w3.org/1999/XSL/Transform'>";
    const TempFile input("in.xml", "<a/>");
    const TempFile import("import.xsl",
                          head + "<xsl:import href='" + there + "b.xsl'/></xsl:stylesheet>");
    const TempFile reader("document.xsl", head +
                                              "<xsl:template match='/'><b><xsl:copy-of "
                                              "select=\"document('" +
                                              there +
                                              "a.xml')\"/></b></xsl:template>"
                                              "</xsl:stylesheet>");
    const TempFile output("out.xml");
    host.call("xmlXSLTransformFile", {input.path(), import.path(), output.path()});
    host.call("xmlXSLTransformFile", {input.path(), reader.path(), output.path()});
    host.call("xmlXSLTransformFile", {input.path(), reader.path(), there + "out.xml"});
    expect_quiet("transforming");

    // From now on external DTDs and entities are loaded, and catalogues asked for them.
    const std::string text = "<?oasis-xml-catalog catalog='" + there +
                             "catalog.xml'?><!DOCTYPE a SYSTEM '" + there +
                             "a.dtd' [<!ENTITY e SYSTEM 'other.xml'>]><a>&e;</a>";
    const Handle parsed = host.call("xmlDOMDocLoadXMLString", {text, 0}).handle();
    host.call("xmlDOMDocValidateDTD", {parsed});
    expect_quiet("parsing and validating");

    host.call("xmlDOMDocFreeDoc", {parsed});
    host.call("xmlDOMDocFreeDoc", {doc});
    // Other tests may share the process.
    xmlSubstituteEntitiesDefault(0);
    xmlLoadExtDtdDefaultValue = 0;
}

}  // namespace
}  // namespace valtrosse::host
