// What an action prints, and how often a part stands in a text.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace support {

inline std::string Printed(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

inline int Count(const std::string& text, const std::string& part) {
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

}  // namespace support
