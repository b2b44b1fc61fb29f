// Compresses camera frames to JPEG (ITU-T T.81, JFIF).
#pragma once

#include <cstdio>

// Compresses width x height pixels of packed YUYV (two bytes per pixel) to `fp`; quality 1 to 100, baseline. The stream
// is neither flushed nor closed. 0, or -1 with libjpeg's message on standard error when it was libjpeg that failed;
// what was written to the stream until then is no picture. Thread-safe (initLut must have run).
int encode_yuv422_to_rgb_jpeg(FILE* fp, unsigned char* yuyv, int width, int height, int quality);
