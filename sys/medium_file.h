// A file on a medium that appears whole or not at all.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

namespace Varno {

// Writes a file beside its final name and gives it that name only once every byte lies safely on the medium; a file of
// that name that existed before stays until then. One thread; one file at a time in a directory.
class MediumFile {
  public:
    // Opens the file that Commit will name `path`, a path on the device. Null, with errno set, when it cannot be
    // opened.
    static std::unique_ptr<MediumFile> CreateNew(const std::string& path);
    // Removes what was written unless it was committed.
    ~MediumFile();
    MediumFile(const MediumFile&) = delete;
    MediumFile& operator=(const MediumFile&) = delete;

    // Buffered stream to write to; owned by this object, null after Commit. It cannot seek.
    FILE* Stream() const { return m_stream; }
    // errno of the first write or flush that failed, 0 while all went well.
    int Error() const { return m_error; }
    // Writes out the rest, flushes file and directory to the medium and gives the file its name. True when all of it
    // and every write before succeeded; else the file is removed (a failed flush of the directory leaves it) and errno
    // is Error(). Only once.
    bool Commit();

  private:
    explicit MediumFile(const std::string& path);
    bool Open();
    ssize_t WriteAll(const char* data, std::size_t length);
    void CloseStream();
    bool CloseFile();
    void Remove();
    void Remember(int error);
    static ssize_t WriteCookie(void* self, const char* data, std::size_t length);

    const std::string m_path;
    const std::string m_temporary;
    std::unique_ptr<char[]> m_buffer;
    FILE* m_stream = nullptr;
    int m_fd = -1;
    int m_error = 0;
};

}  // namespace Varno
