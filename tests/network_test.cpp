// vtdom --no-network: no road that libxml2 and libxslt know leads out.
#include "cli/network.hpp"

#include <arpa/inet.h>
#include <sys/socket.h>

#include "tests/fixture.hpp"

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

using Network = LibraryTest;

TEST_F(Network, is_not_used_by_anything_that_takes_an_address) {
    cli::forbid_network();
    const Listener listener;
    ASSERT_NE(listener.port(), 0);
    const std::string there = "HTTP://127.0.0.1:" + std::to_string(listener.port()) + "/";
    const auto expect_quiet = [&](const char* what) {
        EXPECT_FALSE(listener.was_called()) << what;
    };
    expect_no_value("xmlDOMDocLoadXMLFile", there + "a.xml", 0);
    EXPECT_NE(text("xmlDOMDocGetLastMsg", 0).find("network entity"), std::string::npos);
    expect_no_value("xmlHTMLDocLoadFile", there + "a.html", 0);
    expect_no_value("xmlDOMDocLoadDoctype", "", there + "a.dtd");
    expect_quiet("loading");

    const Handle doc = load("<a>x</a>");
    expect_no_value("xmlDOMDocSaveXMLFile", doc, there + "a.xml");
    expect_no_value("xmlDOMDocSaveXMLFormatFile", doc, there + "a.xml", "UTF-8", 0);
    expect_quiet("saving");

    const TempFile input("in.xml", "<a/>"), output("out.xml");
    const TempFile import("import.xsl", stylesheet("<xsl:import href='" + there + "b.xsl'/>"));
    const TempFile reader("document.xsl",
                          stylesheet("<xsl:template match='/'><b><xsl:copy-of select=\"document('" +
                                     there + "a.xml')\"/></b></xsl:template>"));
    call("xmlXSLTransformFile", input.path(), import.path(), output.path());
    call("xmlXSLTransformFile", input.path(), reader.path(), output.path());
    call("xmlXSLTransformFile", input.path(), reader.path(), there + "out.xml");
    expect_quiet("transforming");

    // From now on external DTDs and entities are loaded, and catalogues asked for them.
    call("xmlDOMDocValidateDTD",
         load("<?oasis-xml-catalog catalog='" + there + "catalog.xml'?><!DOCTYPE a SYSTEM '" +
              there + "a.dtd' [<!ENTITY e SYSTEM 'other.xml'>]><a>&e;</a>"));
    expect_quiet("parsing and validating");
}

}  // namespace
}  // namespace valtrosse::host
