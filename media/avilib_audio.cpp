// Reading the audio tracks of a file.
#include <algorithm>

#include "media/avilib.h"
#include "media/avilib_internal.h"

namespace {

// The current track of a file read with its index; null, with AVI_errno set, when there is none.
avi_track* IndexedTrack(avi_t* avi) {
    if (!avi_permitted(avi, AVI_MODE_READ)) return nullptr;
    avi_track& track = avi->track[static_cast<std::size_t>(avi->aptr)];
    if (!track.audio_index.empty()) return &track;
    AVI_errno = AVI_ERR_NO_IDX;
    return nullptr;
}

// The chunk that is being read, null at the end of the track; chunks read to their end are stepped over.
const avi_audio_entry* CurrentChunk(avi_track* track) {
    while (track->audio_posc < track->audio_chunks) {
        const avi_audio_entry& chunk = track->audio_index[static_cast<std::size_t>(track->audio_posc)];
        if (track->audio_posb < std::int64_t{chunk.len}) return &chunk;
        ++track->audio_posc;
        track->audio_posb = 0;
    }
    return nullptr;
}

}  // namespace

int AVI_set_audio_position(avi_t* avi, std::int64_t byte) {
    avi_track* track = IndexedTrack(avi);
    if (!track) return -1;
    byte = std::max<std::int64_t>(byte, 0);
    // The last chunk that begins at or before the byte.
    const auto& index = track->audio_index;
    const auto after = std::upper_bound(index.begin(), index.end(), byte,
                                        [](std::int64_t at, const avi_audio_entry& chunk) { return at < chunk.tot; });
    const auto chunk = after - 1;  // the first chunk begins at 0
    track->audio_posc = static_cast<int>(chunk - index.begin());
    track->audio_posb = std::min(byte - chunk->tot, std::int64_t{chunk->len});
    return 0;
}

long AVI_read_audio(avi_t* avi, char* buffer, long bytes) {
    avi_track* track = IndexedTrack(avi);
    if (!track) return -1;
    long done = 0;
    while (done < bytes) {
        const avi_audio_entry* chunk = CurrentChunk(track);
        if (!chunk) break;
        const auto step = std::min<std::int64_t>(bytes - done, std::int64_t{chunk->len} - track->audio_posb);
        if (avi_read_at(avi, chunk->pos + track->audio_posb, buffer + done, static_cast<std::size_t>(step)) != step) {
            return avi_fail(AVI_ERR_READ);
        }
        track->audio_posb += step;
        done += static_cast<long>(step);
    }
    return done;
}

long AVI_read_audio_chunk(avi_t* avi, char* buffer) {
    avi_track* track = IndexedTrack(avi);
    if (!track) return -1;
    const avi_audio_entry* chunk = CurrentChunk(track);
    if (!chunk) return 0;
    const std::int64_t left = std::int64_t{chunk->len} - track->audio_posb;
    if (!buffer) return static_cast<long>(left);
    if (avi_read_at(avi, chunk->pos + track->audio_posb, buffer, static_cast<std::size_t>(left)) != left) {
        return avi_fail(AVI_ERR_READ);
    }
    ++track->audio_posc;
    track->audio_posb = 0;
    return static_cast<long>(left);
}

long AVI_audio_size(avi_t* avi, long chunk) {
    avi_track* track = IndexedTrack(avi);
    if (!track || chunk < 0 || chunk >= track->audio_chunks) return -1;
    return static_cast<long>(track->audio_index[static_cast<std::size_t>(chunk)].len);
}
