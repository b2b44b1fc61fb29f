// The configuration file as a document.
#pragma once

#include <memory>
#include <string>

class TiXmlDocument;
class TiXmlElement;

// Loads, changes and saves the XML file, whose texts are kept byte for byte: they mix UTF-8 with two-byte GB2312 codes.
// A save replaces the file at once or not at all. UI thread; load and save errors are reported on standard output.
class SettingsFile {
  public:
    // `shipped` is the file as it was delivered, from which a new one starts where there is one.
    SettingsFile(std::string path, std::string shipped);
    ~SettingsFile();
    SettingsFile(const SettingsFile&) = delete;
    SettingsFile& operator=(const SettingsFile&) = delete;

    // Reads the file anew; within a batch only the first time. False when there is none or it cannot be parsed.
    bool Load();
    // "Error in %s: %s\n" with the reason why the last Load failed, once for each time that the file was read.
    void ReportLoadError();
    // After a failed Load, starts a new document, that of the shipped file if it can be read. An unparsable file is
    // first put aside under a name ending in ".bad". False when the old file could not be read or put aside: nothing
    // must be written over it then.
    bool StartNew();
    // Writes the document; within a batch, at its end. False, and reported, when that fails.
    bool Save();

    // The root element, null when there is none.
    TiXmlElement* Root();
    // The root element, made where there is none.
    TiXmlElement* CreateRoot();

    // While one exists, the document is loaded once and written once, if it was saved at all.
    class Batch {
      public:
        explicit Batch(SettingsFile& file);
        ~Batch();
        Batch(const Batch&) = delete;
        Batch& operator=(const Batch&) = delete;

      private:
        SettingsFile& m_file;
    };

  private:
    enum class State { NotLoaded, Loaded, Missing, Unparsable, Unreadable };

    State LoadDocument(const std::string& path);
    bool PutAside();
    bool Write();

    const std::string m_path;
    const std::string m_shipped;
    std::unique_ptr<TiXmlDocument> m_document;
    State m_state = State::NotLoaded;
    std::string m_load_error;  // empty once it was reported
    bool m_batch = false;
    bool m_unsaved = false;
};
