// Frame converters for packed YUYV (bytes Y0 U Y1 V for two pixels; V4L2_PIX_FMT_YUYV), and quarter turns of RGB
// pictures. Free functions on memory of the caller. All are thread-safe and none allocates once initLut was called.
#pragma once

// Builds the colour tables; freeLut releases them. Calls nest: the tables go with the last freeLut, and further calls
// of freeLut are ignored. A conversion that runs meanwhile keeps the tables it uses; one that runs without initLut
// builds them for itself, which is correct and slow.
void initLut();
void freeLut();

// Packed YUYV to the planar 4:2:2 of V4L2_PIX_FMT_YUV422P with signed chroma (each sample less 128): a Y plane of
// outWidth × outHeight bytes, then U and V planes of half as many bytes each. Takes the left outWidth pixels of the
// middle outHeight lines. `in` holds inWidth × inHeight × 2 bytes, `out` outWidth × outHeight × 2, and they do not
// overlap. Returns 2, or -1 without writing anything when the picture wanted is larger than the one given.
int YUYVtoYUV422PZoomoutCen(const unsigned char* in, unsigned char* out, unsigned inWidth, unsigned inHeight,
                            int outWidth, unsigned outHeight);

// Packed YUYV to RGB, 3 bytes a pixel, red first. `in` holds width × height × 2 bytes, `out` width × height × 3. An odd
// last pixel is not converted. Returns 2. Prints a line before and one after.
int Pyuv422torgb24(const unsigned char* in, unsigned char* out, unsigned width, unsigned height);
// Packed YUYV to 32-bit pixels: blue, green, red, 255 in memory. As above, without the lines.
int Pyuv422torgb32(const unsigned char* in, unsigned char* out, unsigned width, unsigned height);

// A quarter turn clockwise of a square picture of `height` rows of 3 or 4 bytes a pixel; `out` holds height × height
// pixels. The first pixel read for each output row lies one line below the picture's last, so that `in` must be
// readable for height pixels behind the picture: callers' buffers have that room. Pictures wider than high lose their
// right part.
void rgb24rotate(const unsigned char* in, unsigned char* out, unsigned width, unsigned height);
void rgb32rotate(const unsigned char* in, unsigned char* out, unsigned width, unsigned height);
