#include "dom/doc/encodings.hpp"

#include <algorithm>
#include <iterator>

constexpr const char* accepted[] = {"UTF-8", "UTF-16LE", "UTF-16BE", "ISO-8859-1",
                                    "ASCII", "US-ASCII", "HTML"};

const xmlChar* _x_getValidEncoding(const xmlChar* name) {
    const bool found =
        name && std::any_of(std::begin(accepted), std::end(accepted), [&](auto* text) {
            return xmlStrEqual(name, reinterpret_cast<const xmlChar*>(text));
        });
    return found ? name : nullptr;
}

constinit const int iTemp = 1;

int _x_isLittleEndian() { return *reinterpret_cast<const unsigned char*>(&iTemp) != 0; }
