#include "mwin/text_coding.h"

#include <iconv.h>

#include <cstdint>

#include "mwin/font.h"
#include "mwin/windows.h"

namespace mwin {
namespace {

int g_coding = 0;

// False when the bytes are not UTF-8 throughout (RFC 3629: no overlong forms, surrogates or values above U+10FFFF).
bool DecodeUtf8(const unsigned char* bytes, std::size_t length, std::u32string& text) {
    for (std::size_t i = 0; i < length;) {
        const unsigned char lead = bytes[i];
        if (lead < 0x80) {
            text.push_back(lead);
            ++i;
            continue;
        }
        const std::size_t extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        if (lead < 0xC2 || lead > 0xF4 || extra >= length - i) return false;
        char32_t character = lead & (0x3FU >> extra);
        for (std::size_t k = 1; k <= extra; ++k) {
            if ((bytes[i + k] & 0xC0U) != 0x80) return false;
            character = character << 6U | (bytes[i + k] & 0x3FU);
        }
        constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
        if (character < kSmallest[extra] || character > 0x10FFFF || (character >= 0xD800 && character < 0xE000))
            return false;
        text.push_back(character);
        i += extra + 1;
    }
    return true;
}

// The character of one two-byte GBK code; kNoCharacter when there is none, or no converter is installed.
char32_t DecodeGbkPair(const unsigned char* pair) {
    static iconv_t converter = iconv_open("UCS-4BE", "GBK");
    if (converter == reinterpret_cast<iconv_t>(-1)) return kNoCharacter;
    char in[2] = {static_cast<char>(pair[0]), static_cast<char>(pair[1])};
    unsigned char out[4];
    char* from = in;
    char* to = reinterpret_cast<char*>(out);
    std::size_t in_left = sizeof in;
    std::size_t out_left = sizeof out;
    iconv(converter, nullptr, nullptr, nullptr, nullptr);
    if (iconv(converter, &from, &in_left, &to, &out_left) != 0 || in_left != 0 || out_left != 0) return kNoCharacter;
    return static_cast<char32_t>(out[0]) << 24U | static_cast<char32_t>(out[1]) << 16U |
           static_cast<char32_t>(out[2]) << 8U | out[3];
}

void DecodeGbk(const unsigned char* bytes, std::size_t length, std::u32string& text) {
    for (std::size_t i = 0; i < length; ++i) {
        if (bytes[i] < 0x80) {
            text.push_back(bytes[i]);
            continue;
        }
        const char32_t character = i + 1 < length ? DecodeGbkPair(bytes + i) : kNoCharacter;
        text.push_back(character);
        if (character != kNoCharacter) ++i;
    }
}

}  // namespace

std::u32string DecodeText(const char* text, std::size_t length) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    std::u32string decoded;
    decoded.reserve(length);
    if (g_coding == 0) {
        decoded.assign(bytes, bytes + length);
    } else if (!DecodeUtf8(bytes, length, decoded)) {
        decoded.clear();
        DecodeGbk(bytes, length, decoded);
    }
    return decoded;
}

}  // namespace mwin

void MwSetTextCoding(int coding) {
    mwin::g_coding = coding;
}
