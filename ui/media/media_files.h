// The recorded files of one kind on the medium.
#pragma once

#include <string>
#include <vector>

enum MEDIA_TYPE {
    Media_Unknown = 0,
    Media_Video = 1,
    Media_Photo = 2,
};

// One listed file.
struct FileList {
    static constexpr int kClip = 0;
    static constexpr int kPhoto = 1;

    std::string m_strName;
    int m_nKind = kPhoto;
    std::string m_strPath;  // on the device
};

// Orders file names without regard to ASCII case, and names that differ in nothing else by their bytes.
bool compare_nocase(const std::string& a, const std::string& b);

// Where recordings are kept: the card's "/DCIM", else the internal storage. Empty without a medium.
std::string MediaDirectory();

// What a file is by its name's extension, in any case: FileList::kClip, FileList::kPhoto, or -1.
int KindOfFile(const std::string& path);

// The ordinary files of a directory (a path on the device) that are of that kind, in the order of their names; not
// those whose names begin with a dot, and none of the directories in it. Empty, and reported on standard output, when
// it cannot be opened; cut short where reading fails.
std::vector<FileList> ListMediaFiles(const std::string& directory, int kind);
