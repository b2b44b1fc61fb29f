#include "settings/varno_sv_setting.h"

#include <fcntl.h>
#include <tinyxml.h>

#include <cstdio>
#include <utility>

#include "mwin/windows.h"
#include "settings/built_in_texts.h"
#include "settings/key_value_file.h"
#include "sys/kernel.h"

namespace {

constexpr char kConfigFile[] = "varnosvconf.xml";
constexpr char kShippedFile[] = "varnosvconf.default.xml";
constexpr char kSettings[] = "Settings";
constexpr char kLanguages[] = "Languages";
constexpr char kItem[] = "Item";
constexpr char kStringTable[] = "StringTable";
constexpr char kString[] = "string";
constexpr char kColorful[] = "colorful";
constexpr char kLanguage[] = "language";

constexpr unsigned long kReadOtgState = 0x80044201;  // _IOR('B', 1, int)

const char* BoolText(bool value) {
    return value ? "true" : "false";
}

bool HasName(const TiXmlElement& element, const std::string& name) {
    const std::string* value = element.Attribute(std::string("name"));
    return value && *value == name;
}

TiXmlElement* AppendNamed(TiXmlElement* parent, const std::string& tag, const std::string& name) {
    TiXmlElement* child = parent->LinkEndChild(new TiXmlElement(tag))->ToElement();
    child->SetAttribute(std::string("name"), name);
    return child;
}

// The "StringTable" child with this id; null when there is none.
TiXmlElement* FindText(TiXmlElement* language, int string_id) {
    for (auto* text = language->FirstChildElement(kStringTable); text; text = text->NextSiblingElement(kStringTable)) {
        int id = 0;
        if (text->QueryIntAttribute("ID", &id) == TIXML_SUCCESS && id == string_id) return text;
    }
    return nullptr;
}

std::unique_ptr<LanguageType> ReadLanguage(const TiXmlElement& element) {
    auto language = std::make_unique<LanguageType>();
    if (const char* name = element.Attribute("name")) language->name = name;
    if (const char* fullname = element.Attribute("fullname")) language->fullname = fullname;
    if (element.QueryIntAttribute("id", &language->id) != TIXML_SUCCESS) language->id = -1;
    return language;
}

}  // namespace

CVarnoSVSetting& CVarnoSVSetting::GetInstance() {
    static CVarnoSVSetting instance;
    return instance;
}

CVarnoSVSetting::CVarnoSVSetting() : m_file(kConfigFile, kShippedFile) {
    InitFSLOTG();
}

CVarnoSVSetting::~CVarnoSVSetting() {
    DeinitFSLOTG();
    DeinitLanguageList();
}

void CVarnoSVSetting::InitConfigFile() {
    CheckXMLConfFile();
}

void CVarnoSVSetting::SetColorful(bool colorful) {
    if (colorful == m_bColorful) return;
    m_bColorful = colorful;
    SaveXMLSettingItem(kColorful, colorful);
}

void CVarnoSVSetting::SetLanguage(int id) {
    const LanguageType* language = FindLanguage(id);
    if (!language) return;
    SaveXMLSettingItem(kLanguage, language->name);
    m_nLanguage = language->id;
}

void CVarnoSVSetting::CopyLanguageList(std::map<unsigned int, LanguageType*>& languages) const {
    languages.clear();
    for (const auto& [id, language] : m_languages)
        languages.emplace(id, language.get());
}

void CVarnoSVSetting::InitLanguageList() {
    DeinitLanguageList();
    if (!m_file.Load()) {
        m_file.ReportLoadError();
        return;
    }
    TiXmlElement* root = m_file.Root();
    for (auto* item = root ? root->FirstChildElement(kItem) : nullptr; item; item = item->NextSiblingElement(kItem)) {
        if (!HasName(*item, kLanguages)) continue;
        for (auto* entry = item->FirstChildElement(kLanguages); entry; entry = entry->NextSiblingElement(kLanguages)) {
            auto language = ReadLanguage(*entry);
            const auto id = static_cast<unsigned int>(language->id);
            m_languages.emplace(id, std::move(language));  // the first one with an id counts
        }
    }
}

void CVarnoSVSetting::DeinitLanguageList() {
    m_languages.clear();
}

std::string CVarnoSVSetting::GetXMLConfLangItemVal(int stringId, const std::string& fallback) {
    // On a first start no language has an id yet; the texts are English then, not empty.
    return FindLanguage(m_nLanguage) ? GetXMLConfLangItemVal(m_nLanguage, stringId, fallback) : fallback;
}

std::string CVarnoSVSetting::GetXMLConfLangItemVal(int languageId, int stringId, const std::string& fallback) {
    const LanguageType* language = FindLanguage(languageId);
    return language ? GetXMLConfLangItemVal(language->name, stringId, fallback) : std::string();
}

std::string CVarnoSVSetting::GetXMLConfLangItemVal(const std::string& languageCode, int stringId,
                                                   const std::string& fallback) {
    TiXmlElement* language = GetXMLSubItemFirstChildElement(LoadedRoot(), kLanguages, languageCode);
    TiXmlElement* text = language ? FindText(language, stringId) : nullptr;
    if (!text) {
        SaveXMLConfItemVal(languageCode, kString, stringId, fallback);
        return fallback;
    }
    if (const char* value = text->Attribute(kString)) return value;
    text->SetAttribute(std::string(kString), fallback);
    m_file.Save();
    return fallback;
}

std::string CVarnoSVSetting::GetXMLConfSettingsItemVal(const std::string& key, const std::string& fallback) {
    const TiXmlElement* entry = GetXMLSubItemFirstChildElement(LoadedRoot(), kSettings, key);
    const char* value = entry ? entry->Attribute("value") : nullptr;
    if (value) return value;
    SaveXMLConfItemVal(kSettings, key, fallback);
    return fallback;
}

bool CVarnoSVSetting::SaveXMLSettingItem(const std::string& key, const std::string& value) {
    return SaveXMLConfItemVal(kSettings, key, value);
}

bool CVarnoSVSetting::SaveXMLSettingItem(const std::string& key, bool value) {
    return SaveXMLSettingItem(key, std::string(BoolText(value)));
}

bool CVarnoSVSetting::SaveXMLSettingItem(const std::string& key, int value) {
    return SaveXMLSettingItem(key, std::to_string(value));
}

bool CVarnoSVSetting::SaveXMLConfItemVal(const std::string& section, const std::string& key, const std::string& value) {
    TiXmlElement* entry = WritableEntry(section, key);
    if (!entry) return false;
    entry->SetAttribute(std::string("value"), value);
    return m_file.Save();
}

bool CVarnoSVSetting::SaveXMLConfItemVal(const std::string& languageCode, const std::string& attributeName,
                                         int stringId, const std::string& text) {
    TiXmlElement* language = WritableEntry(kLanguages, languageCode);
    if (!language) return false;
    TiXmlElement* entry = FindText(language, stringId);
    if (!entry) {
        entry = language->LinkEndChild(new TiXmlElement(kStringTable))->ToElement();
        entry->SetAttribute("ID", stringId);
    }
    entry->SetAttribute(attributeName, text);
    return m_file.Save();
}

TiXmlElement* CVarnoSVSetting::GetXMLSubItemFirstChildElement(TiXmlNode* node, const std::string& section,
                                                              const std::string& key) {
    for (auto* item = node ? node->FirstChildElement(kItem) : nullptr; item; item = item->NextSiblingElement(kItem)) {
        if (!HasName(*item, section)) continue;
        for (auto* entry = item->FirstChildElement(section); entry; entry = entry->NextSiblingElement(section)) {
            if (HasName(*entry, key)) return entry;
        }
    }
    return nullptr;
}

int CVarnoSVSetting::GetScrWidth() const {
    return GetSystemMetrics(SM_CXSCREEN);
}

int CVarnoSVSetting::GetScrHeight() const {
    return GetSystemMetrics(SM_CYSCREEN);
}

bool CVarnoSVSetting::InitFSLOTG() {
    DeinitFSLOTG();
    m_nFslOTG_fd = Varno::kernel().Open("/dev/fsl_otg", O_RDWR);
    const bool opened = m_nFslOTG_fd > 0;
    std::printf(opened ? "Init FSL OTG status device OK\n" : "Can't init FSL OTG\n");
    return opened;
}

void CVarnoSVSetting::DeinitFSLOTG() {
    if (m_nFslOTG_fd >= 0) Varno::kernel().Close(m_nFslOTG_fd);
    m_nFslOTG_fd = -1;
}

int CVarnoSVSetting::GetOTGStatus() {
    if (m_nFslOTG_fd < 1) return 0;
    int state = 0;  // filled in by the driver, but the answer is the call's own result
    switch (Varno::kernel().Ioctl(m_nFslOTG_fd, kReadOtgState, &state)) {
        case 1:
            return 1;
        case 0:
            return 2;
        default:
            return 0;
    }
}

int CVarnoSVSetting::ReadSettingItemToString(const std::string& file, const std::string& key, std::string& value) {
    return ReadKeyValue(file, key, value) ? 1 : 0;
}

int CVarnoSVSetting::ReadSettingItem(const std::string& file, const std::string& key, bool& value) {
    std::string text;
    if (!ReadKeyValue(file, key, text) || (text != BoolText(true) && text != BoolText(false))) return 0;
    value = text == BoolText(true);
    return 1;
}

int CVarnoSVSetting::WriteSettingItem(const std::string& file, const std::string& key, const std::string& value) {
    return WriteKeyValue(file, key, value) ? 1 : 0;
}

int CVarnoSVSetting::WriteSettingItem(const std::string& file, const std::string& key, bool value) {
    return WriteSettingItem(file, key, std::string(BoolText(value)));
}

int CVarnoSVSetting::WriteSettingItem(const std::string& /*file*/, const std::string& /*key*/, int /*value*/) {
    return 0;
}

// Completes the file in one load and at most one write.
void CVarnoSVSetting::CheckXMLConfFile() {
    const SettingsFile::Batch batch(m_file);
    const std::string colorful = GetXMLConfSettingsItemVal(kColorful, BoolText(true));
    if (colorful.empty()) {
        SaveXMLSettingItem(kColorful, true);
    } else {
        m_bColorful = colorful == BoolText(true);
    }
    InitLanguageList();
    CheckCurrentLanguage();
    CheckBuiltInTexts();
}

void CVarnoSVSetting::CheckCurrentLanguage() {
    const std::string code = GetXMLConfSettingsItemVal(kLanguage, "en");
    for (const auto& [id, language] : m_languages) {
        if (language->name == code) {
            m_nLanguage = language->id;
            return;
        }
    }
    m_nLanguage = 0;
    SaveXMLSettingItem(kLanguage, true);  // deliberately "true", which no language is called
}

void CVarnoSVSetting::CheckBuiltInTexts() {
    for (const BuiltInTexts& language : kBuiltInTexts) {
        for (int i = 0; i < BuiltInTexts::kCount; ++i) {
            GetXMLConfLangItemVal(language.language, BuiltInTexts::kFirstId + i, language.texts[i]);
        }
    }
}

// The language with this id and a usable code; null when the file lists none.
const LanguageType* CVarnoSVSetting::FindLanguage(int id) const {
    const auto found = m_languages.find(static_cast<unsigned int>(id));
    return found == m_languages.end() || found->second->name.empty() ? nullptr : found->second.get();
}

// The root of the file as it is now; null when there is none.
TiXmlElement* CVarnoSVSetting::LoadedRoot() {
    return m_file.Load() ? m_file.Root() : nullptr;
}

// An entry of the file, made with all that lies above it; null when the file must not be written.
TiXmlElement* CVarnoSVSetting::WritableEntry(const std::string& section, const std::string& key) {
    if (!m_file.Load()) {
        m_file.ReportLoadError();
        if (!m_file.StartNew()) return nullptr;
    }
    TiXmlElement* root = m_file.CreateRoot();
    if (TiXmlElement* entry = GetXMLSubItemFirstChildElement(root, section, key)) return entry;
    TiXmlElement* item = root->FirstChildElement(kItem);
    while (item && !HasName(*item, section))
        item = item->NextSiblingElement(kItem);
    if (!item) item = AppendNamed(root, kItem, section);
    return AppendNamed(item, section, key);
}
