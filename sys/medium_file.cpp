#include "sys/medium_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "sys/kernel.h"

namespace Varno {
namespace {

// Cards write large blocks far faster than small ones.
constexpr std::size_t kBufferSize = 64 * 1024;

std::string DirectoryOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Makes a rename in `directory` last. 0, or the errno of the failure.
int FlushDirectory(const std::string& directory) {
    const int fd = kernel().Open(directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0) return errno;
    const int error = kernel().Flush(fd) < 0 ? errno : 0;
    kernel().Close(fd);
    return error == EINVAL ? 0 : error;  // some file systems cannot flush a directory and need not
}

}  // namespace

std::unique_ptr<MediumFile> MediumFile::CreateNew(const std::string& path) {
    std::unique_ptr<MediumFile> file(new (std::nothrow) MediumFile(path));
    if (!file) {
        errno = ENOMEM;
        return nullptr;
    }
    if (file->Open()) return file;
    const int error = errno;
    file.reset();
    errno = error;
    return nullptr;
}

// One name for all: what a power cut leaves behind is overwritten by the next file.
MediumFile::MediumFile(const std::string& path) : m_path(path), m_temporary(DirectoryOf(path) + "/unfinished.part") {}

MediumFile::~MediumFile() {
    Remove();
}

bool MediumFile::Open() {
    m_fd = kernel().Open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (m_fd < 0) return false;
    cookie_io_functions_t functions{};
    functions.write = &MediumFile::WriteCookie;
    m_stream = fopencookie(this, "w", functions);
    if (!m_stream) return false;
    // Without it the stream still works, in smaller pieces.
    m_buffer.reset(new (std::nothrow) char[kBufferSize]);
    if (m_buffer) std::setvbuf(m_stream, m_buffer.get(), _IOFBF, kBufferSize);
    return true;
}

bool MediumFile::Commit() {
    if (!m_stream) return false;
    CloseStream();
    if (!m_error && kernel().Flush(m_fd) < 0) Remember(errno);
    if (!CloseFile()) Remember(errno);
    if (!m_error && std::rename(kernel().Path(m_temporary).c_str(), kernel().Path(m_path).c_str()) < 0) {
        Remember(errno);
    }
    if (m_error) {
        unlink(kernel().Path(m_temporary).c_str());
    } else {
        Remember(FlushDirectory(DirectoryOf(m_path)));
    }
    errno = m_error;
    return m_error == 0;
}

ssize_t MediumFile::WriteAll(const char* data, std::size_t length) {
    std::size_t done = 0;
    while (done < length && !m_error) {
        const struct iovec rest = {const_cast<char*>(data) + done, length - done};
        const ssize_t written = kernel().Write(m_fd, &rest, 1);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            Remember(written == 0 ? ENOSPC : errno);
        }
    }
    return static_cast<ssize_t>(done);
}

void MediumFile::CloseStream() {
    if (m_stream && std::fclose(m_stream) != 0) Remember(errno);
    m_stream = nullptr;
}

bool MediumFile::CloseFile() {
    const int fd = m_fd;
    m_fd = -1;
    return fd < 0 || kernel().Close(fd) == 0;
}

void MediumFile::Remove() {
    if (m_fd < 0) return;
    CloseStream();
    CloseFile();
    unlink(kernel().Path(m_temporary).c_str());
}

void MediumFile::Remember(int error) {
    if (!m_error) m_error = error;
}

ssize_t MediumFile::WriteCookie(void* self, const char* data, std::size_t length) {
    auto* file = static_cast<MediumFile*>(self);
    const ssize_t written = file->WriteAll(data, length);
    if (file->m_error) errno = file->m_error;
    return written;
}

}  // namespace Varno
