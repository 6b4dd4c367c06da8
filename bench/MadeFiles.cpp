#include "bench/MadeFiles.h"

#include <cstdlib>
#include <stdexcept>

namespace braq::bench {
namespace {

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "bench-files-XXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder can be made");
        }
        mPath = name;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return mPath; }

  private:
    std::filesystem::path mPath;
};

constexpr const char* left = "(0.6+0.4*sin(2.7*t))*(0.22*sin(2*PI*220*t)+0.16*sin(2*PI*277.18*t+sin(2*PI*5*t))"
                             "+0.1*sin(2*PI*1319*t)*exp(-3*mod(t,0.5)))+0.05*(random(0)-0.5)";
constexpr const char* right = "0.3*sin(1382*t)*exp(-2*mod(t,0.75))+0.2*sin(2*PI*329.6*t)+0.08*(random(1)-0.5)";

} // namespace

const std::filesystem::path& folderOfMadeFiles() {
    static const TemporaryFolder folder;
    return folder.path();
}

void runFfmpeg(const std::string& arguments) {
    const std::string command =
        "cd '" + folderOfMadeFiles().string() + "' && ffmpeg -nostdin -v error -y " + arguments + " >&2";
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("ffmpeg failed");
    }
}

std::string minuteOfSound() {
    const std::string name = "minute.wav";
    if (!exists(folderOfMadeFiles() / name)) {
        runFfmpeg(std::string("-f lavfi -i \"aevalsrc='") + left + "|" + right + "':s=44100:d=60\" -c:a pcm_f32le " +
                  name);
    }
    return name;
}

std::filesystem::path pathOf(const Recording& recording) {
    const std::string name = std::string(recording.name) + "." + recording.extension;
    std::filesystem::path path = folderOfMadeFiles() / name;
    if (!exists(path)) {
        runFfmpeg("-stream_loop 9 -i " + minuteOfSound() + " " + recording.arguments + " " + name);
    }
    return path;
}

} // namespace braq::bench
