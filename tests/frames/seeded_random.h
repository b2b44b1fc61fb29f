// Random numbers that can be had again: the seed is printed.
#pragma once

#include <cstdio>
#include <random>

inline std::mt19937 SeededRandom() {
    const unsigned seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    return std::mt19937(seed);
}
