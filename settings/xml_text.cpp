#include "settings/xml_text.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdlib>

namespace {

// Position behind the next `end` at or after `from`; the end of the text when there is none.
std::size_t Behind(const std::string& xml, const char* end, std::size_t from) {
    const std::size_t found = xml.find(end, from);
    return found == std::string::npos ? xml.size() : found + std::char_traits<char>::length(end);
}

// Position of the ">" that ends the tag at `from`; one in a quoted value does not.
std::size_t TagEnd(const std::string& xml, std::size_t from) {
    char quote = '\0';
    for (std::size_t i = from; i < xml.size(); ++i) {
        const char c = xml[i];
        if (quote) {
            if (c == quote) quote = '\0';
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '>') {
            return i;
        }
    }
    return xml.size();
}

bool StartsAt(const std::string& xml, std::size_t at, const char* text) {
    return xml.compare(at, std::char_traits<char>::length(text), text) == 0;
}

// The parser takes anything else behind a "<" for something unknown, which ends at the next ">".
bool StartsElement(const std::string& xml, std::size_t at) {
    if (at + 1 >= xml.size()) return false;
    const auto c = static_cast<unsigned char>(xml[at + 1]);
    return std::isalpha(c) || c == '_' || c >= 0x7F;
}

bool StartsDeclaration(const std::string& xml, std::size_t at) {
    return strncasecmp(xml.c_str() + at, "<?xml", 5) == 0;
}

void AppendUtf8(std::string& text, unsigned long code) {
    const auto trail = [code](int shift) { return static_cast<char>(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x800) {
        text += static_cast<char>(0xC0 | (code >> 6));
    } else {
        if (code < 0x10000) {
            text += static_cast<char>(0xE0 | (code >> 12));
        } else {
            text += static_cast<char>(0xF0 | (code >> 18));
            text += trail(12);
        }
        text += trail(6);
    }
    text += trail(0);
}

// The code of the reference at `at` ("&#…;") and the position behind it; 0 for anything else.
unsigned long ReferenceAt(const std::string& xml, std::size_t at, std::size_t& behind) {
    const bool hexadecimal = StartsAt(xml, at, "&#x") || StartsAt(xml, at, "&#X");
    const std::size_t digits = at + (hexadecimal ? 3 : 2);
    const std::size_t end = xml.find(';', digits);
    if (end == std::string::npos || end == digits || end - digits > 7) return 0;
    const auto first = xml.begin() + static_cast<std::ptrdiff_t>(digits);
    const bool valid = std::all_of(first, first + static_cast<std::ptrdiff_t>(end - digits), [hexadecimal](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return hexadecimal ? std::isxdigit(byte) : std::isdigit(byte);
    });
    if (!valid) return 0;
    behind = end + 1;
    return std::strtoul(xml.c_str() + digits, nullptr, hexadecimal ? 16 : 10);
}

}  // namespace

bool NestingWithin(const std::string& xml, int limit) {
    int depth = 0;
    std::size_t at = 0;
    while ((at = xml.find('<', at)) != std::string::npos) {
        if (StartsAt(xml, at, "<!--")) {
            at = Behind(xml, "-->", at + 4);
        } else if (StartsAt(xml, at, "<![CDATA[")) {
            at = Behind(xml, "]]>", at + 9);
        } else if (StartsElement(xml, at)) {
            if (++depth > limit) return false;
            at = TagEnd(xml, at);
            if (at < xml.size() && xml[at - 1] == '/') --depth;
        } else {
            // Within an element a declaration is an error, and its quotes could hide tags from the parser.
            if (depth > 0 && StartsDeclaration(xml, at)) return false;
            if (StartsAt(xml, at, "</")) depth = std::max(0, depth - 1);
            at = Behind(xml, ">", at);
        }
    }
    return true;
}

std::string WithExpandedReferences(const std::string& xml) {
    std::string expanded;
    expanded.reserve(xml.size());
    std::size_t copied = 0;
    std::size_t at = 0;
    while ((at = xml.find("&#", at)) != std::string::npos) {
        std::size_t behind = at + 2;
        const unsigned long code = ReferenceAt(xml, at, behind);
        const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
        if (code >= 0x80 && code <= 0x10FFFF && !surrogate) {
            expanded.append(xml, copied, at - copied);
            AppendUtf8(expanded, code);
            copied = behind;
        }
        at = behind;
    }
    return expanded.append(xml, copied, std::string::npos);
}
