// The store of user settings and of every translatable text.
#pragma once

#include <map>
#include <memory>
#include <string>

#include "settings/settings_file.h"

class TiXmlElement;
class TiXmlNode;

// One language of the configuration file.
struct LanguageType {
    int id = -1;
    std::string name = "en";           // short code
    std::string fullname = "English";  // as shown to the user
};

// Settings and texts in "varnosvconf.xml" in the working directory, and two small queries of the device. Every lookup
// reads the file, and a lookup that finds nothing writes its fallback there, so that the file ends up complete.
// UI thread; errors are reported on standard output and answered with the fallback.
class CVarnoSVSetting {
  public:
    // The one store, made by the first call and destroyed at exit.
    static CVarnoSVSetting& GetInstance();
    CVarnoSVSetting(const CVarnoSVSetting&) = delete;
    CVarnoSVSetting& operator=(const CVarnoSVSetting&) = delete;

    // Reads the settings and completes the file; before the first dialog.
    void InitConfigFile();

    // Colour display; false is monochrome.
    bool GetColorful() const { return m_bColorful; }
    // Saves the setting when it changes.
    void SetColorful(bool colorful);

    // Id of the current language.
    int GetLanguage() const { return m_nLanguage; }
    // Saves and switches to a language; nothing happens for an id that the file does not list.
    void SetLanguage(int id);
    // Languages by id; the records stay the store's and live until the list is built anew.
    void CopyLanguageList(std::map<unsigned int, LanguageType*>& languages) const;
    // Builds the list of languages from the file, and empties it.
    void InitLanguageList();
    void DeinitLanguageList();

    // A text in the current language; `fallback` where the file lists no such language.
    std::string GetXMLConfLangItemVal(int stringId, const std::string& fallback);
    // The same in a listed language; empty when it is not listed.
    std::string GetXMLConfLangItemVal(int languageId, int stringId, const std::string& fallback);
    // The same by language code, listed or not.
    std::string GetXMLConfLangItemVal(const std::string& languageCode, int stringId, const std::string& fallback);
    // The value of a setting.
    std::string GetXMLConfSettingsItemVal(const std::string& key, const std::string& fallback);

    // Store a setting. False when the file could not be written.
    bool SaveXMLSettingItem(const std::string& key, const std::string& value);
    bool SaveXMLSettingItem(const std::string& key, bool value);
    bool SaveXMLSettingItem(const std::string& key, int value);
    bool SaveXMLSettingItem(const std::string& key, const char* value) = delete;  // would be taken for a bool
    // Store attribute "value" of an entry, and one attribute of a text. False when the file could not be written.
    bool SaveXMLConfItemVal(const std::string& section, const std::string& key, const std::string& value);
    bool SaveXMLConfItemVal(const std::string& languageCode, const std::string& attributeName, int stringId,
                            const std::string& text);
    // The entry `key` of a section below the root `node`; null when there is none.
    static TiXmlElement* GetXMLSubItemFirstChildElement(TiXmlNode* node, const std::string& section,
                                                        const std::string& key);

    // Screen size in pixels.
    int GetScrWidth() const;
    int GetScrHeight() const;

    // Opens and closes the USB OTG device.
    bool InitFSLOTG();
    void DeinitFSLOTG();
    // 1 or 2 as the OTG device answers, 0 when it does not.
    int GetOTGStatus();

    // Files of "key=value" lines; a "#" begins a comment. 1 when the key was found or written, else 0.
    int ReadSettingItemToString(const std::string& file, const std::string& key, std::string& value);
    int ReadSettingItem(const std::string& file, const std::string& key, bool& value);
    int WriteSettingItem(const std::string& file, const std::string& key, const std::string& value);
    int WriteSettingItem(const std::string& file, const std::string& key, bool value);
    int WriteSettingItem(const std::string& file, const std::string& key, int value);  // not supported: always 0
    int WriteSettingItem(const std::string& file, const std::string& key, const char* value) = delete;

  private:
    CVarnoSVSetting();
    ~CVarnoSVSetting();

    void CheckXMLConfFile();
    void CheckCurrentLanguage();
    void CheckBuiltInTexts();
    const LanguageType* FindLanguage(int id) const;
    TiXmlElement* LoadedRoot();
    TiXmlElement* WritableEntry(const std::string& section, const std::string& key);

    bool m_bColorful = true;
    int m_nFslOTG_fd = -1;
    int m_nLanguage = 0;
    std::map<unsigned int, std::unique_ptr<LanguageType>> m_languages;
    SettingsFile m_file;
};
