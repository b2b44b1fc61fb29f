#include "sys/path_strings.h"

#include <algorithm>
#include <cstring>

namespace Varno {

std::size_t strlcpy(char* destination, const char* source, std::size_t size) {
    const std::size_t length = std::strlen(source);
    if (size > 0) {
        const std::size_t copied = std::min(length, size - 1);
        std::memcpy(destination, source, copied);
        destination[copied] = '\0';
    }
    return length;
}

std::size_t strlcat(char* destination, const char* source, std::size_t size) {
    const std::size_t used = strnlen(destination, size);
    return used + strlcpy(destination + used, source, size - used);
}

void StringToUpcase(std::string& text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
}

void StringToLowcase(std::string& text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
}

std::string TrimDIR(std::string path) {
    path.erase(path.find_last_not_of("/ \t\r\n") + 1);
    return path;
}

std::string Basename(const std::string& path) {
    const std::string trimmed = path.substr(0, path.find_last_not_of('/') + 1);
    return trimmed.substr(trimmed.find_last_of('/') + 1);
}

std::string PathBasename(const std::string& path) {
    const auto slash = path.find_last_of('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string GetParentDIR(const std::string& path) {
    const std::string trimmed = TrimDIR(path);
    if (trimmed.find('/') == std::string::npos) return path.empty() || path[0] != '/' ? std::string() : "/";
    const std::string parent = TrimDIR(PathBasename(trimmed));
    return parent.empty() ? "/" : parent;
}

std::string ShellWord(const std::string& text) {
    constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./+,:@%";
    if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
    std::string word = "'";
    for (const char c : text) {
        // A quote stands outside the quotes.
        if (c == '\'') {
            word += "'\\''";
        } else {
            word += c;
        }
    }
    return word + "'";
}

std::string GetExtendFilename(const std::string& path) {
    const std::string name = path.substr(path.find_last_of('/') + 1);
    const auto dot = name.find_last_of('.');
    return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

}  // namespace Varno
