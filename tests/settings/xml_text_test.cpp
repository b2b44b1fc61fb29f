#include "settings/xml_text.h"

#include <gtest/gtest.h>

namespace {

TEST(XmlText, NestingIsCountedAsTheParserGoesDown) {
    const auto nested = [](int depth) {
        std::string xml;
        for (int i = 0; i < depth; ++i)
            xml += "<a b='/>' c=\"<\">";
        return xml;
    };
    const std::pair<std::string, bool> cases[] = {{"", true},
                                                  {"text < & >", true},
                                                  {nested(10), true},
                                                  {nested(11), false},
                                                  {nested(10) + "<!-- <a><a> --><![CDATA[<b>]]><?x <y?>", true},
                                                  {nested(10) + "<!-- --><a>", false},
                                                  {nested(10) + "<!--><a>", true},
                                                  {nested(9) + "<b/><b /><b x=1/><c></c><c>", true},
                                                  {nested(9) + "<b/><c><c>", false},
                                                  {nested(10) + "</a><a>", true},
                                                  {"</a></a></a>" + nested(11), false},
                                                  {nested(11) + "</a>", false},
                                                  // Not elements, and not quoting: what stands behind their ">" counts.
                                                  {"<1 '>" + nested(11) + "'>", false},
                                                  {"< \">" + nested(11) + "\">", false},
                                                  {std::string(1000000, '<'), true},
                                                  // A declaration's quotes hide closing tags from the parser.
                                                  {"<?xml version='1.0'?><a>", true},
                                                  {"<a><?XML version='></a>'?>", false}};
    for (const auto& [xml, within] : cases)
        EXPECT_EQ(NestingWithin(xml, 10), within) << xml.substr(0, 400);
}

TEST(XmlText, ReferencesBeyondAsciiBecomeUtf8) {
    const std::pair<const char*, const char*> cases[] = {{"", ""},
                                                         {"a&#243;b&#xF3;c&#XE9;", "aóbócé"},
                                                         {"&#x4E2D;&#x1F600;", "\xE4\xB8\xAD\xF0\x9F\x98\x80"},
                                                         {"&#65;&#38;&#60;&#127;", "&#65;&#38;&#60;&#127;"},
                                                         {"&#xD800;&#x110000;&#99999999;&#xZZ;&#;&#x;&#-5;&#243",
                                                          "&#xD800;&#x110000;&#99999999;&#xZZ;&#;&#x;&#-5;&#243"},
                                                         {"&amp;#243; &#&#243;", "&amp;#243; &#\xC3\xB3"},
                                                         {"\xA8\xAE&#243;\xA8", "\xA8\xAE\xC3\xB3\xA8"}};
    for (const auto& [xml, expanded] : cases)
        EXPECT_EQ(WithExpandedReferences(xml), expanded) << xml;
}

}  // namespace
