// AVI files for tests: put together byte by byte, and taken apart by the letter of the format.
#pragma once

#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <set>
#include <string>
#include <vector>

// Numbers are stored as the machine that runs the tests has them in memory: the lowest byte first.
inline std::string Words(std::initializer_list<std::uint32_t> values) {
    return {reinterpret_cast<const char*>(values.begin()), 4 * values.size()};
}
inline std::string Le32(std::uint32_t value) {
    return Words({value});
}

inline std::uint32_t Read32(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    bytes.copy(reinterpret_cast<char*>(&value), 4, at);
    return value;
}

inline std::string Chunk(const std::string& tag, const std::string& data) {
    return tag + Le32(static_cast<std::uint32_t>(data.size())) + data + std::string(data.size() & 1, '\0');
}

inline std::string List(const std::string& type, const std::string& data) {
    return Chunk("LIST", type + data);
}

inline std::string Riff(const std::string& chunks) {
    return "RIFF" + Le32(static_cast<std::uint32_t>(chunks.size() + 4)) + "AVI " + chunks;
}

// A stream list: header of kind "vids" or "auds" and its format.
inline std::string Stream(const std::string& kind, const std::string& header, const std::string& format) {
    return List("strl", Chunk("strh", kind + header) + Chunk("strf", format));
}
inline std::string Stream(const std::string& kind, const std::string& format, std::uint32_t scale = 1,
                          std::uint32_t rate = 25, std::uint32_t length = 0) {
    return Stream(kind, "YUY2" + Words({~0U, 0, 0, scale, rate, 0, length, 0, 0, 0, 0, 0}), format);
}

inline std::string BitmapFormat(std::uint32_t width, std::uint32_t height) {
    return Words({40, width, height, 0}) + "YUY2" + std::string(20, '\0');
}

inline std::string IndexRecord(const std::string& tag, std::uint32_t flags, std::uint32_t offset,
                               std::uint32_t length) {
    return tag + Words({flags, offset, length});
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A finished recording: every list ends where its last chunk ends, and the index, whose offsets count from the start of
// the file, knows every chunk of the movi list. Nothing is forgiven: `defect` tells the first thing that is wrong.
class AviFile {
  public:
    explicit AviFile(const std::string& bytes) : m_bytes(bytes) {
        Walk(0, bytes.size());
        std::set<std::size_t> known;
        for (std::size_t at = 0; defect.empty() && at < m_index.size(); at += 16) {
            const std::size_t chunk = Read32(m_index, at + 8);
            const std::size_t length = Read32(m_index, at + 12);
            if (m_chunks.count(chunk) == 0 ||
                bytes.substr(chunk, 8) != m_index.substr(at, 4) + m_index.substr(at + 12, 4))
                defect = "index record " + std::to_string(at / 16);
            known.insert(chunk);
            if (m_index[at + 2] != 'd') continue;
            frames.push_back(bytes.substr(chunk + 8, length));
            flags.push_back(Read32(m_index, at + 4));
        }
        if (defect.empty() && known != m_chunks) defect = "a chunk that the index leaves out";
        for (const std::size_t at : {48U, 140U}) {
            if (defect.empty() && Read32(bytes, at) != frames.size()) defect = "the header's number of frames";
        }
    }

    std::string defect;
    std::vector<std::string> frames;
    std::vector<std::int64_t> flags;  // of the frames, in the index

  private:
    void Walk(std::size_t at, std::size_t end) {
        while (at + 8 <= end && defect.empty()) {
            const std::string tag = m_bytes.substr(at, 4);
            const std::size_t size = Read32(m_bytes, at + 4);
            const std::size_t behind = at + 8 + size + (size & 1);
            if (behind > end) break;
            if (tag == "RIFF" || tag == "LIST") {
                Walk(at + 12, at + 8 + size);
            } else if (tag == "idx1") {
                m_index = m_bytes.substr(at + 8, size);
            } else if (tag[0] == '0') {
                m_chunks.insert(at);
            }
            at = behind;
        }
        if (at != end && defect.empty()) defect = "no chunk ends at " + std::to_string(end);
    }

    const std::string m_bytes;
    std::string m_index;
    std::set<std::size_t> m_chunks;  // where those of the movi list begin
};
