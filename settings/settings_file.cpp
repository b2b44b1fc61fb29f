#include "settings/settings_file.h"

#include <sys/stat.h>
#include <tinyxml.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "settings/xml_text.h"
#include "sys/kernel.h"
#include "sys/medium_file.h"

namespace {

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr char kRoot[] = "Varno";
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

// Far beyond what the program writes (some 10 KiB, four levels), and harmless for the parser.
constexpr std::size_t kMostBytes = 1024 * 1024;
constexpr int kMostLevels = 32;

// How many files are kept aside; the last of them is replaced when there are more.
constexpr int kMostPutAside = 9;

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

// Reads a plain file, or so much of it that it is seen to be too large. False with errno set.
bool ReadFile(const std::string& path, std::string& text) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return false;
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;  // opening a pipe would wait for a writer
        return false;
    }
    const std::unique_ptr<FILE, FileCloser> file(std::fopen(path.c_str(), "rbe"));
    if (!file) return false;
    char chunk[8192];
    std::size_t length = 0;
    while (text.size() <= kMostBytes && (length = std::fread(chunk, 1, sizeof(chunk), file.get())) > 0) {
        text.append(chunk, length);
    }
    return std::ferror(file.get()) == 0;
}

// Why a text cannot be given to the parser; null when it can.
const char* Unacceptable(const std::string& text) {
    if (text.size() > kMostBytes) return "File too large.";
    if (text.find('\0') != std::string::npos) return "Binary file.";
    if (!NestingWithin(text, kMostLevels)) return "Elements nested too deeply.";
    return nullptr;
}

// As plain bytes: taken for UTF-8, a two-byte code could swallow the quote behind it.
void ParseBytes(TiXmlDocument& document, const char* text) {
    document.Parse(text, nullptr, TIXML_ENCODING_LEGACY);
}

// The parser takes any text for the values of a declaration, and prints it as it is.
bool HasSoundDeclarations(const TiXmlDocument& document) {
    for (const TiXmlNode* node = document.FirstChild(); node; node = node->NextSibling()) {
        const TiXmlDeclaration* declaration = node->ToDeclaration();
        if (!declaration) continue;
        const std::string values =
            std::string(declaration->Version()) + declaration->Encoding() + declaration->Standalone();
        if (values.find_first_of("\"'<>&?") != std::string::npos) return false;
    }
    return true;
}

}  // namespace

SettingsFile::SettingsFile(std::string path, std::string shipped)
    : m_path(std::move(path)), m_shipped(std::move(shipped)), m_document(std::make_unique<TiXmlDocument>()) {}

SettingsFile::~SettingsFile() = default;

bool SettingsFile::Load() {
    if (!m_batch || m_state == State::NotLoaded) m_state = LoadDocument(m_path);
    return m_state == State::Loaded;
}

void SettingsFile::ReportLoadError() {
    if (m_load_error.empty()) return;
    std::printf("Error in %s: %s\n", m_path.c_str(), m_load_error.c_str());
    m_load_error.clear();
}

bool SettingsFile::StartNew() {
    if (m_state == State::Unreadable || (m_state == State::Unparsable && !PutAside())) return false;
    if (LoadDocument(m_shipped) != State::Loaded) {
        m_document = std::make_unique<TiXmlDocument>();
        ParseBytes(*m_document, kDeclaration);
    }
    m_load_error.clear();
    m_state = State::Loaded;
    return true;
}

bool SettingsFile::Save() {
    m_unsaved = true;
    return m_batch || Write();
}

TiXmlElement* SettingsFile::Root() {
    return m_document->FirstChildElement(kRoot);
}

TiXmlElement* SettingsFile::CreateRoot() {
    if (!Root()) m_document->LinkEndChild(new TiXmlElement(kRoot));
    return Root();
}

SettingsFile::State SettingsFile::LoadDocument(const std::string& path) {
    m_document = std::make_unique<TiXmlDocument>();
    std::string text;
    if (!ReadFile(Varno::kernel().Path(path), text)) {
        m_load_error = "Failed to open file";  // the parser's own words, here and below
        return errno == ENOENT ? State::Missing : State::Unreadable;
    }
    if (text.compare(0, 3, kByteOrderMark) == 0) text.erase(0, 3);
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        m_load_error = "Error document empty.";
        return State::Missing;  // there is nothing in it to lose
    }
    if (const char* reason = Unacceptable(text)) {
        m_load_error = reason;
        return State::Unparsable;
    }
    ParseBytes(*m_document, WithExpandedReferences(text).c_str());
    if (m_document->Error()) {
        m_load_error = m_document->ErrorDesc();
        return State::Unparsable;
    }
    if (!HasSoundDeclarations(*m_document)) {
        m_load_error = "Error parsing Declaration.";
        return State::Unparsable;
    }
    return State::Loaded;
}

bool SettingsFile::PutAside() {
    const std::string path = Varno::kernel().Path(m_path);
    std::string aside = path + ".bad";
    for (int number = 2; number <= kMostPutAside; ++number) {
        if (access(aside.c_str(), F_OK) != 0) break;
        aside = path + ".bad" + std::to_string(number);
    }
    if (std::rename(path.c_str(), aside.c_str()) == 0) return true;
    std::printf("Error in %s: %s\n", m_path.c_str(), std::strerror(errno));
    return false;
}

bool SettingsFile::Write() {
    m_unsaved = false;
    const auto file = Varno::MediumFile::CreateNew(m_path);
    if (file) m_document->Print(file->Stream());
    if (file && file->Commit()) return true;
    std::printf("Error in %s: %s\n", m_path.c_str(), std::strerror(errno));
    return false;
}

SettingsFile::Batch::Batch(SettingsFile& file) : m_file(file) {
    m_file.m_batch = true;
    m_file.m_state = State::NotLoaded;
}

SettingsFile::Batch::~Batch() {
    m_file.m_batch = false;
    if (m_file.m_unsaved) m_file.Write();
}
