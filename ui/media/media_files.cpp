#include "ui/media/media_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "sys/kernel.h"
#include "sys/varno_sv_utils.h"

namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

int Upper(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 'a' && byte <= 'z' ? byte - 'a' + 'A' : byte;
}

bool IsOrdinaryFile(DIR* directory, const char* name) {
    struct stat status {};
    return fstatat(dirfd(directory), name, &status, 0) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

bool compare_nocase(const std::string& a, const std::string& b) {
    const auto [at_a, at_b] =
        std::mismatch(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return Upper(x) == Upper(y); });
    if (at_a != a.end() && at_b != b.end()) return Upper(*at_a) < Upper(*at_b);
    if (a.size() != b.size()) return a.size() < b.size();
    return a < b;
}

std::string MediaDirectory() {
    const std::string card = Varno::GetMMCFirstPart();
    return card.empty() ? Varno::GetNandDataPart() : card + "/DCIM";
}

int KindOfFile(const std::string& path) {
    std::string extension = Varno::GetExtendFilename(path);
    Varno::StringToUpcase(extension);
    if (extension == "AVI") return FileList::kClip;
    return extension == "JPG" ? FileList::kPhoto : -1;
}

std::vector<FileList> ListMediaFiles(const std::string& directory, int kind) {
    std::vector<FileList> files;
    const std::unique_ptr<DIR, DirectoryCloser> open_directory(opendir(Varno::kernel().Path(directory).c_str()));
    if (!open_directory) {
        printf("ERROR(%s): open %s.\n", std::strerror(errno), directory.c_str());
        return files;
    }
    while (const dirent* entry = readdir(open_directory.get())) {
        const char* name = entry->d_name;
        if (name[0] == '.' || !IsOrdinaryFile(open_directory.get(), name) || KindOfFile(name) != kind) continue;
        files.push_back({name, kind, directory + "/" + name});
    }
    std::sort(files.begin(), files.end(),
              [](const FileList& a, const FileList& b) { return compare_nocase(a.m_strName, b.m_strName); });
    return files;
}
