// The loops behind YUYVtoYUV422PZoomoutCen, one for CPUs with vector units and one for those without.
#pragma once

#include <cstddef>

namespace frames {

// Where the samples of a run of pixel pairs go: two bytes a pair to y, one each to u and v.
struct Planes {
    unsigned char* y;
    unsigned char* u;
    unsigned char* v;
};

// Splits `pairs` pixel pairs of packed YUYV into planes with signed chroma. The planes do not overlap the source or
// each other. Both give the same bytes; the second moves whole aligned words where all four pointers are word-aligned,
// and single bytes elsewhere, never reading a plane. Thread-safe.
void SplitYuyvBytes(const unsigned char* yuyv, const Planes& planes, std::size_t pairs);
void SplitYuyvWords(const unsigned char* yuyv, const Planes& planes, std::size_t pairs);

}  // namespace frames
