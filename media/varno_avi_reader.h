// Reads a recorded clip frame by frame.
#pragma once

#include <string>

struct avi_t;

enum VarnoMediaType {
    MEDIA_UNKNOWN = -1,
    MEDIA_VIDEO = 0,
    MEDIA_AUDIO = 1,
};

// Formats a caller may name for the frames it wants.
enum VarnoPixelFormat {
    Varno_PIX_FMT_NONE = -1,
    Varno_PIX_FMT_YUV420P = 0,
    Varno_PIX_FMT_YUYV422 = 1,
    Varno_PIX_FMT_RGB24 = 2,
    Varno_PIX_FMT_BGR24 = 3,
    Varno_PIX_FMT_YUV422P = 4,
    Varno_PIX_FMT_YUV444P = 5,
    Varno_PIX_FMT_YUV410P = 6,
    Varno_PIX_FMT_YUV411P = 7,
    Varno_PIX_FMT_GRAY8 = 8,
    Varno_PIX_FMT_MONOWHITE = 9,
    Varno_PIX_FMT_MONOBLACK = 10,
    Varno_PIX_FMT_PAL8 = 11,
    Varno_PIX_FMT_YUVJ420P = 12,
    Varno_PIX_FMT_YUVJ422P = 13,
    Varno_PIX_FMT_YUVJ444P = 14,
    Varno_PIX_FMT_XVMC_MPEG2_MC = 15,
    Varno_PIX_FMT_XVMC_MPEG2_IDCT = 16,
    Varno_PIX_FMT_UYVY422 = 17,
    Varno_PIX_FMT_UYYVYY411 = 18,
    Varno_PIX_FMT_BGR8 = 19,
    Varno_PIX_FMT_BGR4 = 20,
    Varno_PIX_FMT_BGR4_BYTE = 21,
    Varno_PIX_FMT_RGB8 = 22,
    Varno_PIX_FMT_RGB4 = 23,
    Varno_PIX_FMT_RGB4_BYTE = 24,
    Varno_PIX_FMT_NV12 = 25,
};

// One AVI file open for reading. Frames come as they are stored, whatever format was named. On a closed reader every
// call does nothing and answers -1 (-1.0, null). Errors of reading are told by AVI_errno. One thread.
class CVarnoAVIReader {
  public:
    // Opens a file by its path on the device; null when that fails. Without `index` the time that takes does not depend
    // on the clip's length, and ReadFirstFrame is the only way to a frame.
    static CVarnoAVIReader* CreateNew(const std::string& path, VarnoPixelFormat format, bool index = true);
    CVarnoAVIReader() = default;
    virtual ~CVarnoAVIReader();
    CVarnoAVIReader(const CVarnoAVIReader&) = delete;
    CVarnoAVIReader& operator=(const CVarnoAVIReader&) = delete;

    // Opens another file instead. False when that fails; for an empty path the open file stays.
    bool Open(const std::string& path, VarnoPixelFormat format, bool index = true);
    void Close();

    int GetTotalFrames() const;
    int GetVideoFrames() const { return GetTotalFrames(); }
    // Number of the frame that ReadFrame reads next; the total at the end.
    int GetCurrentFramePos() const;
    void ResetFrame();
    // Goes to a frame, at least 0 and at most the total, where there is nothing to be read. 0 or -1.
    int SetFramePosition(long pos);
    // Reads the next frame into a buffer of GetVideoMaxChunk bytes. Bytes read, or -1; `type` stays as it is.
    int ReadFrame(char* buf, int& keyframe, VarnoMediaType& type);
    // Reads any frame and leaves the position where it was.
    int ReadOneFrame(char* buf, long index);
    // Reads the frame that lies first in the file into a buffer of `room` bytes, and goes back to the start. Bytes
    // read; -1 also for a frame that is larger.
    int ReadFirstFrame(char* buf, long room);
    int GetVideoMaxChunk() const;
    // Four-character code.
    const char* GetVideoCompressor() const;
    // Frames per second; 0 when the file does not tell.
    double GetVideoFrameRate() const;
    // In pixels.
    int GetVideoWidth() const;
    int GetVideoHeight() const;

  private:
    avi_t* m_pAVIReader = nullptr;
};
