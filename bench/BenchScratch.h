// What the benchmarks that write files of their own share: a scratch folder and
// little-endian numbers for hand-made file images.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

// A folder of this process's own in MIRAFILE_BENCH_DIR (else the system's temporary folder),
// so that syncs reach the file system asked for; removed with what it holds at the end.
class Bench_ScratchFolder
{
public:
    explicit Bench_ScratchFolder(const std::string& iPrefix)
    {
        const char* base = std::getenv("MIRAFILE_BENCH_DIR");
        mDir = (base ? std::filesystem::path(base) : std::filesystem::temp_directory_path()) /
               (iPrefix + "-" + std::to_string(::getpid()));
        std::filesystem::create_directories(mDir);
    }
    ~Bench_ScratchFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(mDir, error);
    }
    Bench_ScratchFolder(const Bench_ScratchFolder&) = delete;
    Bench_ScratchFolder& operator=(const Bench_ScratchFolder&) = delete;
    const std::filesystem::path& Dir() const { return mDir; }

private:
    std::filesystem::path mDir;
};

// Appends the iWidth low bytes of iValue, least significant first.
inline void Bench_PutLE(std::vector<unsigned char>& ioBytes, uint32_t iValue, int iWidth)
{
    for (int i = 0; i < iWidth; ++i)
        ioBytes.push_back(static_cast<unsigned char>(iValue >> (8 * i)));
}
