// Embeds the installed reference host: prints the root element's name of a small document.
#include <iostream>

#include "valtrosse/host/host.hpp"

int main() {
    valtrosse::host::Host host(PLUGIN);
    const auto document = host.call("xmlDOMDocLoadXMLString", {u"<keemun/>", 1});
    const auto root = host.call("xmlDOMDocGetRootNode", {document});
    std::cout << host.call("xmlDOMNodeGetName", {root}).utf8() << '\n';
    host.call("xmlDOMDocFreeDoc", {document});
}
