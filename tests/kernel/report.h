// What the running test has shown, for its line in the report.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace kernel_test {

constexpr char kHeldProperty[] = "held";

inline void Held(const std::string& sentence) {
    testing::Test::RecordProperty(kHeldProperty, sentence);
}

}  // namespace kernel_test
