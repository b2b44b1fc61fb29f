// Writes the first inputs of the fuzzer of AVI files into the folder (with its slash) that is named.
#include "media/avilib.h"
#include "sys/kernel_linux.h"
#include "tests/media/avi_file.h"

namespace {

// As the recorder writes it, with two tracks of sound.
void Record(const std::string& path) {
    avi_t* avi = AVI_open_output_file(path.c_str());
    AVI_set_video(avi, 4, 2, 12, "YUY2");
    for (const int bits : {16, 8})
        AVI_set_audio(avi, 1, 8000, bits, 1, 64);
    for (const char* frame : {"a whole frame...", "", "odd"}) {
        AVI_write_frame(avi, frame, static_cast<long>(std::string(frame).size()), 1);
        AVI_write_audio(avi, "sound", 4);
    }
    AVI_close(avi);
}

}  // namespace

int main(int /*argc*/, char** argv) {
    static Varno::LinuxKernel kernel;
    Varno::InstallKernel(kernel);
    const std::string folder = argv[1];
    Record(folder + "recorded");

    const std::string lists =
        List("hdrl", Chunk("avih", std::string(56, '\0')) + Stream("vids", BitmapFormat(4, 2), 1, 25, 2) +
                         Stream("auds", std::string("\1\0\1\0", 4) + std::string(12, '\1')));
    const std::string chunks =
        Chunk("00db", "a whole frame...") + Chunk("01wb", "sound.") + Chunk("JUNK", "odd") + Chunk("00dc", "short");
    const std::string index = IndexRecord("00db", 16, 4, 16) + IndexRecord("01wb", 0, 28, 6);
    const std::pair<const char*, std::string> files[] = {
        {"no_index", Riff(lists + List("movi", chunks))},
        {"index_in_list", Riff(lists + List("movi", chunks) + Chunk("idx1", index))},
        {"nested", Riff(Chunk("JUNK", "") + lists + List("movi", List("rec ", chunks) + List("rec ", chunks)))},
        {"cut", Riff(lists + List("movi", chunks)).substr(0, lists.size() + 60)}};
    for (const auto& [name, bytes] : files)
        std::ofstream(folder + name, std::ios::binary) << bytes;
}
