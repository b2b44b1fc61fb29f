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
    for (const std::string& xml :
         {std::string(), std::string("text < & >"), nested(10), nested(10) + "<!-- <a><a> --><![CDATA[<b>]]><?x <y?>",
          nested(9) + "<b/><b /><b x=1/><c></c><c>", nested(10) + "</a><a>", nested(10) + "<!--><a>",
          std::string(1000000, '<'), std::string("<?xml version='1.0'?><a>")})
        EXPECT_TRUE(NestingWithin(xml, 10)) << xml.substr(0, 400);
    // What is no element does not quote: what stands behind its ">" counts. A declaration's quotes hide closing tags
    // from the parser.
    for (const std::string& xml :
         {nested(11), nested(10) + "<!-- --><a>", nested(10) + "<![CDATA[<b>]]><a>", nested(9) + "<b/><c><c>",
          "</a></a></a>" + nested(11), nested(11) + "</a>", "<1 '>" + nested(11) + "'>", "< \">" + nested(11) + "\">",
          std::string("<a><?XML version='></a>'?>")})
        EXPECT_FALSE(NestingWithin(xml, 10)) << xml.substr(0, 400);
}

TEST(XmlText, ReferencesBeyondAsciiBecomeUtf8) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"a&#243;b&#xF3;c&#XE9;", "aóbócé"},
        {"&#x4E2D;&#x1F600;", "\xE4\xB8\xAD\xF0\x9F\x98\x80"},
        {"&#x80;&#x7FF;&#x800;&#xFFFF;&#x10000;", "\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"},
        {"&#0000243;&#00000243;", "\xC3\xB3&#00000243;"},
        {"&#65;&#38;&#60;&#127;", "&#65;&#38;&#60;&#127;"},
        {"&#xD800;&#x110000;&#99999999;&#xZZ;&#;&#x;&#-5;&#243",
         "&#xD800;&#x110000;&#99999999;&#xZZ;&#;&#x;&#-5;&#243"},
        {"&amp;#243; &#&#243;", "&amp;#243; &#\xC3\xB3"},
        {"\xA8\xAE&#243;\xA8", "\xA8\xAE\xC3\xB3\xA8"}};
    for (const auto& [xml, expanded] : cases)
        EXPECT_EQ(WithExpandedReferences(xml), expanded) << xml;
}

}  // namespace
