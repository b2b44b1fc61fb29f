#include "settings/key_value_file.h"

#include <cstdio>
#include <memory>

#include "sys/kernel.h"

namespace {

constexpr int kLongestLine = 254;

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

File OpenFile(const std::string& path, const char* mode) {
    return File(std::fopen(Varno::kernel().Path(path).c_str(), mode));
}

// Reads a file in lines; a longer line comes in pieces.
class LineReader {
  public:
    explicit LineReader(FILE* file) : m_file(file) {}

    bool Next() {
        m_continued = m_unfinished;
        char line[kLongestLine + 1];
        if (!std::fgets(line, sizeof(line), m_file)) return false;
        m_text = line;
        m_unfinished = m_text.empty() || m_text.back() != '\n';
        return true;
    }
    // The piece as it is, with its line end.
    const std::string& Text() const { return m_text; }
    // It ends in the middle of a line.
    bool Unfinished() const { return m_unfinished; }

    // The key and value in this line; false when it holds none.
    bool Split(std::string& key, std::string& value) const {
        if (m_continued) return false;
        std::string line = m_text.substr(0, m_text.find('#'));
        line.erase(line.find_last_not_of("\r\n") + 1);
        const auto equals = line.find('=');
        if (equals == std::string::npos) return false;
        key = line.substr(0, equals);
        value = line.substr(equals + 1);
        return true;
    }

  private:
    FILE* const m_file;
    std::string m_text;
    bool m_unfinished = false;
    bool m_continued = false;
};

// Copies `source` to `target` with the new value in place. False when not all of it could be read or written.
bool CopyWithValue(FILE* source, FILE* target, const std::string& key, const std::string& value) {
    LineReader lines(source);
    const std::string entry = key + "=" + value + "\n";
    bool written = false;
    bool replacing = false;  // the line was replaced, and its further pieces are dropped
    while (lines.Next()) {
        std::string name;
        std::string old_value;
        const bool matches = lines.Split(name, old_value) && name == key;
        if (matches) {
            std::fputs(entry.c_str(), target);
            written = true;
        } else if (!replacing) {
            std::fputs(lines.Text().c_str(), target);
        }
        replacing = (matches || replacing) && lines.Unfinished();
    }
    if (!written) {
        if (lines.Unfinished()) std::fputc('\n', target);
        std::fputs(entry.c_str(), target);
    }
    return !std::ferror(source) && std::fflush(target) == 0 && !std::ferror(target);
}

}  // namespace

bool ReadKeyValue(const std::string& file, const std::string& key, std::string& value) {
    const File source = OpenFile(file, "re");
    if (!source) {
        std::printf("Error: read file %s\n", file.c_str());
        return false;
    }
    bool found = false;
    LineReader lines(source.get());
    while (lines.Next()) {
        std::string name;
        std::string text;
        if (!lines.Split(name, text)) continue;
        std::printf("name:%s, value:%s\n", name.c_str(), text.c_str());
        if (!found && name == key) {
            value = text;
            found = true;
        }
    }
    return found;
}

bool WriteKeyValue(const std::string& file, const std::string& key, const std::string& value) {
    const std::string temporary = file + ".tmp";
    {
        const File source = OpenFile(file, "re");
        if (!source) {
            std::printf("Error: read orig file %s\n", file.c_str());
            return false;
        }
        const File target = OpenFile(temporary, "we");
        if (!target || !CopyWithValue(source.get(), target.get(), key, value)) {
            std::printf("Error: read file %s\n", temporary.c_str());
            return false;
        }
    }
    const std::string command = "mv " + temporary + " " + file;
    if (Varno::kernel().System(command.c_str()) == 0) return true;
    std::printf("Error: Excute %s\n", command.c_str());
    return false;
}
