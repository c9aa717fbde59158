// Reading a large file that stands in the page cache: Sys_FileBasedInStream with typed
// 32-bit values and with raw blocks, Sys_File plain and unbuffered, and a bare pread loop
// over the same file with the same block sizes. The file (256 MiB) is made once per run in
// a fresh folder under the temporary folder and removed at exit.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

#include "Sys_File.h"
#include "Sys_FileBasedStream.h"
#include "Sys_TypedStream.h"

namespace
{
constexpr int64_t cFileSize = int64_t(256) << 20;

class BenchFile
{
public:
    static const std::string& Path()
    {
        static BenchFile sFile;
        return sFile.mPath;
    }

private:
    BenchFile()
    {
        std::string folder =
            (std::filesystem::temp_directory_path() / "mirafile-bench-XXXXXX").string();
        if (!::mkdtemp(folder.data()))
            std::abort();
        mFolder = folder;
        mPath = folder + "/read.bin";
        const int fd = ::open(mPath.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
        std::vector<uint32_t> block(1 << 18);
        uint32_t value = 1;
        for (int64_t written = 0; written < cFileSize;)
        {
            for (auto& v : block)
                v = value = value * 1664525u + 1013904223u;
            const ssize_t n = ::write(fd, block.data(), block.size() * 4);
            if (n <= 0)
                std::abort();
            written += n;
        }
        ::close(fd);
        // Read it once so that every benchmark starts from the page cache.
        const int in = ::open(mPath.c_str(), O_RDONLY);
        std::vector<char> buffer(1 << 20);
        while (::read(in, buffer.data(), buffer.size()) > 0)
        {
        }
        ::close(in);
    }
    ~BenchFile()
    {
        std::error_code ec;
        std::filesystem::remove_all(mFolder, ec);
    }
    std::string mFolder;
    std::string mPath;
};

constexpr int32_t cOpenForRead = Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing;

void BM_FileBasedInStream_TypedInt32(benchmark::State& state)
{
    Sys_File file{Sys_FileLoc(BenchFile::Path())};
    file.Open(cOpenForRead);
    for (auto _ : state)
    {
        file.SetPosition(Sys_File::eOffsetFrom_Start, 0);
        Sys_FileBasedInStream raw(file);
        raw.SetReadAhead(int32_t(state.range(0)));
        Sys_LittleEndianInStream in(&raw);
        uint32_t sum = 0;
        int32_t value = 0;
        for (int64_t i = 0; i < cFileSize / 4; ++i)
        {
            in.Read(value);
            sum += uint32_t(value);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * cFileSize);
}
BENCHMARK(BM_FileBasedInStream_TypedInt32)->Arg(128)->Arg(262144)->Unit(benchmark::kMillisecond);

void BM_FileBasedInStream_Blocks(benchmark::State& state)
{
    Sys_File file{Sys_FileLoc(BenchFile::Path())};
    file.Open(cOpenForRead);
    std::vector<char> buffer(size_t(state.range(0)));
    for (auto _ : state)
    {
        file.SetPosition(Sys_File::eOffsetFrom_Start, 0);
        Sys_FileBasedInStream in(file);
        in.SetReadAhead(262144);
        for (int64_t at = 0; at < cFileSize; at += state.range(0))
            in.Read(buffer.data(), int32_t(state.range(0)));
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(state.iterations() * cFileSize);
}
BENCHMARK(BM_FileBasedInStream_Blocks)
    ->Arg(4096)
    ->Arg(65536)
    ->Arg(1 << 20)
    ->Unit(benchmark::kMillisecond);

void ReadWithSysFile(benchmark::State& state, int32_t iFlags)
{
    Sys_File file{Sys_FileLoc(BenchFile::Path())};
    file.Open(iFlags);
    const size_t size = size_t(state.range(0));
    void* buffer = nullptr;
    if (::posix_memalign(&buffer, 4096, size) != 0)
        std::abort();
    for (auto _ : state)
    {
        file.SetPosition(Sys_File::eOffsetFrom_Start, 0);
        while (file.Read(buffer, int64_t(size)) == int64_t(size))
        {
        }
        benchmark::DoNotOptimize(buffer);
    }
    std::free(buffer);
    state.SetBytesProcessed(state.iterations() * cFileSize);
}

void BM_SysFile_Read(benchmark::State& state)
{
    ReadWithSysFile(state, cOpenForRead);
}
BENCHMARK(BM_SysFile_Read)->Arg(4096)->Arg(65536)->Arg(1 << 20)->Unit(benchmark::kMillisecond);

void BM_SysFile_ReadUnbuffered(benchmark::State& state)
{
    ReadWithSysFile(state, cOpenForRead | Sys_File::eOpen_Unbuffered | Sys_File::eOpen_AsyncIO);
}
BENCHMARK(BM_SysFile_ReadUnbuffered)
    ->Arg(4096)
    ->Arg(65536)
    ->Arg(1 << 20)
    ->Unit(benchmark::kMillisecond);

void BM_PlainPRead(benchmark::State& state)
{
    const int fd = ::open(BenchFile::Path().c_str(), O_RDONLY | O_CLOEXEC);
    const size_t size = size_t(state.range(0));
    void* buffer = nullptr;
    if (::posix_memalign(&buffer, 4096, size) != 0)
        std::abort();
    for (auto _ : state)
    {
        off_t at = 0;
        ssize_t n;
        while ((n = ::pread(fd, buffer, size, at)) > 0)
            at += n;
        benchmark::DoNotOptimize(buffer);
    }
    std::free(buffer);
    ::close(fd);
    state.SetBytesProcessed(state.iterations() * cFileSize);
}
BENCHMARK(BM_PlainPRead)->Arg(4096)->Arg(65536)->Arg(1 << 20)->Unit(benchmark::kMillisecond);
} // namespace
