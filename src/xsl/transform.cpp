// XSLT: a stylesheet over a file into a file.
#include <libxml/parser.h>
#include <libxslt/imports.h>
#include <libxslt/transform.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <memory>

#include "dom/doc/memory_watch.hpp"
#include "dom/doc/parse.hpp"
#include "dom/doc/whole_file.hpp"
#include "utf8/text.hpp"

namespace valtrosse {
namespace {

struct Release {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
    void operator()(xsltStylesheet* stylesheet) const { xsltFreeStylesheet(stylesheet); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

/// Reads a path parameter when its turn comes: each is read and converted before the next is read.
class Path {
public:
    Path(Call& call, const Deferred<HostText>& argument)
        : text_{},
          status_(argument.read(call, text_)),
          utf8_(call, text_) {}
    bool failed() const { return status_ != VT_OK || utf8_.failed(); }
    Result failure() const {
        return status_ != VT_OK ? valtrosse::failure(status_) : utf8_.failure();
    }
    const char* c_str() const { return utf8_.c_str(); }
    const xmlChar* text() const { return utf8_.text(); }

private:
    HostText text_;
    vt_status status_;
    Utf8 utf8_;
};

/// Which of libxslt's writers writes the result.
Syntax syntax_of(xsltStylesheet* stylesheet, const xmlDoc* result) {
    const xmlChar* method = nullptr;
    XSLT_GET_IMPORT_PTR(method, stylesheet, method);
    const auto is = [method](const char* name) {
        return xmlStrEqual(method, reinterpret_cast<const xmlChar*>(name));
    };
    if (is("text")) return Syntax::text;
    const bool is_html =
        method ? is("html") || is("xhtml") : result->type == XML_HTML_DOCUMENT_NODE;
    return is_html ? Syntax::html : Syntax::xml;
}

/// Applies the stylesheet at `xslFilepath` to the file at `xmlFilepath` and writes the result to
/// `outputFilepath` (UTF-8 paths); gives the number of bytes written. No value when one of them cannot
/// be read, parsed or written, or the transformation gives no document. From the first call on, all
/// parses of this thread substitute entities and load external DTDs.
Result transform(Call& call, Deferred<HostText> xml_argument, Deferred<HostText> xsl_argument,
                 Deferred<HostText> output_argument) {
    const Path xml_path(call, xml_argument);
    if (xml_path.failed()) return xml_path.failure();
    const Path xsl_path(call, xsl_argument);
    if (xsl_path.failed()) return xsl_path.failure();
    const Path output_path(call, output_argument);
    if (output_path.failed()) return output_path.failure();

    xmlSubstituteEntitiesDefault(1);
    xmlLoadExtDtdDefaultValue = 1;
    const Parsed parsed = parse_file(xml_path.c_str());
    const Owned<xmlDoc> source(parsed.doc);
    if (!source) {
        if (parsed.reason) xmlGenericError(xmlGenericErrorContext, "%s", parsed.reason);
        return no_value;
    }
    const MemoryWatch memory;
    WholeFiles files;  // the stylesheet may write documents of its own
    const Owned<xsltStylesheet> stylesheet(xsltParseStylesheetFile(xsl_path.text()));
    if (!stylesheet || memory.ran_out()) return no_value;
    const Owned<xmlDoc> result(xsltApplyStylesheet(stylesheet.get(), source.get(), nullptr));
    if (!result || memory.ran_out()) return no_value;
    files.will_write(result.get(), syntax_of(stylesheet.get(), result.get()), true);
    const int written =
        xsltSaveResultToFilename(output_path.c_str(), result.get(), stylesheet.get(), 0);
    if (written != -1) return call.integer(static_cast<std::uint32_t>(written));
    if (const XmlString message = files.message())
        xmlGenericError(xmlGenericErrorContext, "%s", reinterpret_cast<const char*>(message.get()));
    return no_value;
}

}  // namespace
}  // namespace valtrosse

SCRIPT_FUNCTION(TOVIKXSL_, xmlXSLTransformFile, valtrosse::transform)
