// Checks and repairs of a configuration file's text before it is parsed. Thread-safe.
#pragma once

#include <string>

// True when elements are nested at most `limit` deep. The parser goes one call deeper with every level, without a bound
// of its own.
bool NestingWithin(const std::string& xml, int limit);

// Replaces numeric references to characters beyond ASCII ("&#243;") by the characters in UTF-8. The parser, which has
// to treat the text as plain bytes, would cut them down to one byte.
std::string WithExpandedReferences(const std::string& xml);
