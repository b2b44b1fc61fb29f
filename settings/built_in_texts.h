// The texts that the program itself writes into the configuration file.
#pragma once

// One language with its texts for the string ids from kFirstBuiltInText on.
struct BuiltInTexts {
    static constexpr int kFirstId = 10001;
    static constexpr int kCount = 8;

    const char* language;  // short code
    // Accented letters are two-byte GB2312 codes, which is what the fonts of the board render.
    const char* texts[kCount];
};

constexpr int kBuiltInLanguageCount = 5;
extern const BuiltInTexts kBuiltInTexts[kBuiltInLanguageCount];
