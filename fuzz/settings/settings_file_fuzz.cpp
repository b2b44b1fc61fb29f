// Any text as the configuration file: it is loaded or refused, and what was changed and saved can be loaded again.
#include <tinyxml.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "settings/settings_file.h"
#include "sys/kernel_linux.h"

namespace {

// Path of the file, in a directory of its own.
std::string TemporaryFile() {
    char pattern[] = "/dev/shm/settings-fuzz-XXXXXX";
    if (!mkdtemp(pattern)) std::abort();
    return std::string(pattern) + "/settings.xml";
}

void WriteFile(const std::string& path, const std::uint8_t* data, std::size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file || std::fwrite(data, 1, size, file) != size || std::fclose(file) != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Varno::LinuxKernel kernel;
    static const std::string path = [] {
        Varno::InstallKernel(kernel);
        return TemporaryFile();
    }();

    WriteFile(path, data, size);
    SettingsFile file(path, "none");
    if (!file.Load()) return 0;
    TiXmlElement* root = file.CreateRoot();
    root->SetAttribute("checked", "\xE9\xA1\xE9");
    if (!file.Save() || !file.Load()) std::abort();
    const char* checked = file.Root() ? file.Root()->Attribute("checked") : nullptr;
    if (!checked || std::string(checked) != "\xE9\xA1\xE9") std::abort();
    return 0;
}
