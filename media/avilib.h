// Writes and reads RIFF AVI 1.0 files (Microsoft/IBM "Multimedia Programming Interface and Data Specifications 1.0" and
// its AVI 1.0 form; one "idx1" index, no OpenDML extension).
//
// A file that is being written carries a readable header from the start, so a recording cut at any byte keeps its
// frames. A file that is read may be broken in any way: every count, length and offset in it is held against its real
// size.
//
// Failures are told by -1 (or a null handle) and AVI_errno. AVI_errno and the text of AVI_strerror are process-wide, so
// they tell about the last failure of any handle. A handle belongs to one thread at a time.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

enum : int {
    AVI_MAX_TRACKS = 8,            // audio tracks a file can have
    AVI_HEADER_BYTES = 2048,       // reserved at the start of a file that is written
    AVI_INDEX_GROWTH = 4096,       // index records added at a time
    AVI_FRAME_RATE_SCALE = 333333  // dwScale of the video stream
};

enum : int { AVI_MODE_WRITE = 0, AVI_MODE_READ = 1 };

// Values of AVI_errno.
enum : int {
    AVI_ERR_NONE = 0,
    AVI_ERR_SIZELIM = 1,  // the file would grow beyond AVI_max_size()
    AVI_ERR_OPEN = 2,     // 2 to 6: a system call failed, errno tells why
    AVI_ERR_READ = 3,
    AVI_ERR_WRITE = 4,
    AVI_ERR_WRITE_INDEX = 5,
    AVI_ERR_CLOSE = 6,
    AVI_ERR_NOT_PERM = 7,  // writing to a handle opened for reading, or the other way round
    AVI_ERR_NO_MEM = 8,
    AVI_ERR_NO_AVI = 9,
    AVI_ERR_NO_HDRL = 10,
    AVI_ERR_NO_MOVI = 11,
    AVI_ERR_NO_VIDS = 12,
    AVI_ERR_NO_IDX = 13
};

struct avi_free {
    void operator()(void* memory) const { std::free(memory); }
};

// One record of "idx1" exactly as it lies on the medium; all numbers little-endian.
struct avi_index_record {
    unsigned char tag[4];
    unsigned char flags[4];   // 0x10: key frame
    unsigned char offset[4];  // of the chunk's 8-byte header; from the start of the file when this library wrote it
    unsigned char length[4];  // of the data, without padding
};
static_assert(sizeof(avi_index_record) == 16, "idx1 records have no gaps");

// One frame of a file that is read.
struct avi_video_entry {
    std::uint32_t key;  // the index flags
    std::uint32_t len;
    std::int64_t pos;  // of the frame's data in the file
};

// One audio chunk of a file that is read.
struct avi_audio_entry {
    std::int64_t pos;  // of the chunk's data in the file
    std::int64_t tot;  // bytes of the track before this chunk
    std::uint32_t len;
};

struct avi_track {
    int a_fmt = 0;  // wave format tag, 1 = PCM
    int a_chans = 0;
    int a_rate = 0;   // samples per second
    int a_bits = 0;   // per sample
    int mp3rate = 0;  // kilobits per second
    int audio_strn = 0;
    std::int64_t audio_bytes = 0;
    int audio_chunks = 0;
    char audio_tag[4] = {};
    int audio_posc = 0;           // next chunk to read
    std::int64_t audio_posb = 0;  // next byte within it
    std::int64_t a_codech_off = 0;
    std::int64_t a_codecf_off = 0;
    std::vector<avi_audio_entry> audio_index;
};

// One open file, between an AVI_open_… and AVI_close.
struct avi_t {
    int fdes = -1;
    int mode = AVI_MODE_WRITE;
    int width = 0;
    int height = 0;
    double fps = 0.0;
    char compressor[8] = {};   // four-character code, zero-terminated
    char compressor2[8] = {};  // the same as the stream header says it (reading)
    int video_strn = 0;
    int video_frames = 0;
    char video_tag[4] = {};
    int video_pos = 0;          // next frame to read
    std::uint32_t max_len = 0;  // largest chunk in the index; reading: largest frame
    std::array<avi_track, AVI_MAX_TRACKS> track;
    std::uint32_t pos = 0;  // writing: where the next chunk goes
    int n_idx = 0;
    int max_idx = 0;
    std::int64_t v_codech_off = 0;
    std::int64_t v_codecf_off = 0;
    std::unique_ptr<avi_index_record[], avi_free> idx;
    std::vector<avi_video_entry> video_index;
    std::uint32_t last_pos = 0;
    std::uint32_t last_len = 0;
    int must_use_index = 0;
    std::uint32_t movi_start = 0;  // first chunk after the "movi" code
    int anum = 0;
    int aptr = 0;
    std::vector<unsigned char> bitmap_info_header;
    std::array<std::vector<unsigned char>, AVI_MAX_TRACKS> wave_format_ex;
    std::array<unsigned char, AVI_HEADER_BYTES> header;  // writing: the header area, off the caller's small stack
    std::int64_t file_size = 0;  // reading: what every length and offset in the file is held against
    std::int64_t read_pos = 0;   // reading: where AVI_read_data goes on
};

extern int AVI_errno;

// --- Writing ------------------------------------------------------------------------------------------------------

// Creates the file (a path on the device), replacing one of that name. Null on failure.
avi_t* AVI_open_output_file(const char* filename);
// Sets frame size, frames per second and four-character code (a code beginning with "RGB" means uncompressed bitmaps)
// and writes the provisional header. No effect on a handle opened for reading.
void AVI_set_video(avi_t* avi, int width, int height, double fps, const char* compressor);
// Adds an audio track and makes it the current one. A ninth track ends the process with status 1.
void AVI_set_audio(avi_t* avi, int channels, long rate, int bits, int format, long mp3rate);
// Appends one frame. An odd length takes its pad byte from data[bytes], which must exist. 0 or -1.
int AVI_write_frame(avi_t* avi, const char* data, long bytes, int keyframe);
// Shows the last frame once more without writing its data again. 0 or -1.
int AVI_dup_frame(avi_t* avi);
// Appends a chunk to the current audio track; padding as in AVI_write_frame. 0 or -1.
int AVI_write_audio(avi_t* avi, const char* data, long bytes);
// Makes the last chunk longer, which must be one of the current audio track; padding as in AVI_write_frame. 0 or -1.
int AVI_append_audio(avi_t* avi, const char* data, long bytes);
// Bytes that still fit, and bytes the file would have if it were closed now. -1 on a handle opened for reading.
std::int64_t AVI_bytes_remain(avi_t* avi);
std::int64_t AVI_bytes_written(avi_t* avi);
// Chooses the audio track the audio functions work on. 0 or -1.
int AVI_set_audio_track(avi_t* avi, int track);
int AVI_get_audio_track(const avi_t* avi);
// Sets the current track's bit rate (kilobits per second) and writes the provisional header.
void AVI_set_audio_bitrate(avi_t* avi, long bitrate);
// Largest length of a file in bytes.
std::uint32_t AVI_max_size();

// --- Both ---------------------------------------------------------------------------------------------------------

// Finishes a file that was written, flushes it, closes the descriptor and frees the handle, whatever fails. 0 or -1.
int AVI_close(avi_t* avi);

// Text of AVI_errno, with the system's error for 2 to 6; valid until the next call.
const char* AVI_strerror();
// Prints `str` and the text of AVI_errno to standard error.
void AVI_print_error(const char* str);

// --- Reading ------------------------------------------------------------------------------------------------------

// Opens a file (a path on the device). Without getIndex only AVI_read_data can read it. Null on failure.
avi_t* AVI_open_input_file(const char* filename, int getIndex);
// The same on an open descriptor of a seekable file. The descriptor belongs to the library from here on, also on
// failure.
avi_t* AVI_open_fd(int fd, int getIndex);
// Audio streams that the header of an open file names, however many; 0 where there is no header to be read. Opening a
// file with more than AVI_MAX_TRACKS ends the process.
int AVI_count_audio_streams(int fd);

int AVI_video_frames(const avi_t* avi);
int AVI_video_width(const avi_t* avi);
int AVI_video_height(const avi_t* avi);
double AVI_frame_rate(const avi_t* avi);
const char* AVI_video_compressor(const avi_t* avi);
// Bytes a buffer for AVI_read_frame must hold.
long AVI_max_video_chunk(const avi_t* avi);

int AVI_audio_tracks(const avi_t* avi);
// Of the current audio track.
int AVI_audio_channels(const avi_t* avi);
long AVI_audio_mp3rate(const avi_t* avi);
int AVI_audio_bits(const avi_t* avi);
int AVI_audio_format(const avi_t* avi);
long AVI_audio_rate(const avi_t* avi);
std::int64_t AVI_audio_bytes(const avi_t* avi);
int AVI_audio_chunks(const avi_t* avi);

// Where the four-character codes and the audio format lie in the file; 0 when unknown.
std::int64_t AVI_audio_codech_offset(const avi_t* avi);
std::int64_t AVI_audio_codecf_offset(const avi_t* avi);
std::int64_t AVI_video_codech_offset(const avi_t* avi);
std::int64_t AVI_video_codecf_offset(const avi_t* avi);

// Back to the first frame, for AVI_read_frame and AVI_read_data. 0 or -1.
int AVI_seek_start(avi_t* avi);
// Next frame to read; negative means 0. 0 or -1.
int AVI_set_video_position(avi_t* avi, long frame);
int AVI_get_video_position(const avi_t* avi);
// Bytes of one frame, -1 when there is no such frame.
long AVI_frame_size(avi_t* avi, long frame);
// Reads the next frame into `buffer` (AVI_max_video_chunk bytes) and moves on. `keyframe` becomes 1 when the frame's
// index flags are exactly 0x10, else 0. Bytes read, or -1.
long AVI_read_frame(avi_t* avi, char* buffer, int* keyframe);

// Moves to a byte of the current audio track. 0 or -1.
int AVI_set_audio_position(avi_t* avi, std::int64_t byte);
// Reads up to `bytes` bytes across chunks. Bytes read (fewer only at the end), or -1.
long AVI_read_audio(avi_t* avi, char* buffer, long bytes);
// Reads what is left of the current chunk; with a null buffer only tells its length. Bytes, 0 at the end, or -1.
long AVI_read_audio_chunk(avi_t* avi, char* buffer);
// Bytes of one audio chunk, -1 when there is no such chunk.
long AVI_audio_size(avi_t* avi, long chunk);
// Reads the next chunk of video or of the current audio track in file order. 1 video, 2 audio, 0 at the end, -1 on a
// read error, -2 when the chunk is longer than its buffer (it is skipped). `bytes` is the chunk's length.
int AVI_read_data(avi_t* avi, char* video, long maxVideo, char* audio, long maxAudio, long* bytes);
