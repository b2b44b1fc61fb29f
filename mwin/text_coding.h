// From the bytes of a string to characters.
#pragma once

#include <cstddef>
#include <string>

namespace mwin {

// Decodes by the coding that MwSetTextCoding chose. A byte that is no character becomes kNoCharacter. UI thread.
std::u32string DecodeText(const char* text, std::size_t length);

}  // namespace mwin
