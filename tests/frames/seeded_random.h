// Random numbers that can be had again: the seed is printed, and taken from VARNO_TEST_SEED.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

inline std::mt19937 SeededRandom() {
    const char* wanted = std::getenv("VARNO_TEST_SEED");
    const unsigned long seed = wanted ? std::stoul(wanted) : std::random_device{}();
    std::printf("seed %lu\n", seed);
    return std::mt19937(static_cast<unsigned>(seed));
}
