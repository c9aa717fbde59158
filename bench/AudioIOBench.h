// Reading and writing a long 24-bit stereo file of one type from the page cache: the audio
// file front beside libsndfile's raw transfers and a plain pread/pwrite loop over the same
// bytes, in blocks of 4,096 to 262,144 frames. Included by one benchmark program per type,
// which defines cBenchType (the type written and read), cBenchExtension and cFileOrder (the
// byte order of the type's samples) first.
//
// One file of ten minutes at 96 kHz (345.6 MB of samples) is written once through the front
// into a temporary folder (MIRAFILE_BENCH_DIR, else the system's) and read once whole, so
// that every reader finds it in the page cache. Each iteration of a read benchmark reads
// every sample once, in the file's byte order (BM_Read_MirafileSwapped: in the other order,
// so that the front swaps every sample). Each writer overwrites the samples of its own copy
// (libsndfile's written by libsndfile), made and warmed before the timing starts, so that no
// iteration allocates pages or grows a file.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "Sys_FileLoc.h"

#ifdef MIRAFILE_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace
{
constexpr int32_t cRate = 96000;
constexpr int16_t cChannels = 2;
constexpr int16_t cBits = 24;
constexpr int64_t cFrameSize = cChannels * cBits / 8;
constexpr int64_t cFrames = int64_t(cRate) * 600;
constexpr int64_t cBytes = cFrames * cFrameSize;

// The temporary folder and the files in it, made on first use and removed at exit.
class BenchFiles
{
public:
    static BenchFiles& Get()
    {
        static BenchFiles sFiles;
        return sFiles;
    }

    const std::string& ReadPath() const { return mReadPath; }
    int64_t DataOffset() const { return mDataOffset; }
    // A copy of the read file for a writer, with its samples in the page cache.
    std::string WriterCopy(const std::string& iName)
    {
        const std::string path = mDir + "/" + iName + cBenchExtension;
        if (!std::filesystem::exists(path))
        {
            std::filesystem::copy_file(mReadPath, path);
            Warm(path);
        }
        return path;
    }

#ifdef MIRAFILE_HAVE_SNDFILE
    // A file of the same format and length written by libsndfile itself, with its samples in
    // the page cache: libsndfile updates an AIFF file in place only when "SSND" is its last
    // chunk, as in the files it writes.
    std::string LibsndfileCopy(const std::string& iName)
    {
        const std::string path = mDir + "/" + iName + cBenchExtension;
        if (!std::filesystem::exists(path))
        {
            SF_INFO info{};
            info.samplerate = cRate;
            info.channels = cChannels;
            info.format =
                (cBenchType == eAudioFileType_WAVE ? SF_FORMAT_WAV : SF_FORMAT_AIFF) | SF_FORMAT_PCM_24;
            SNDFILE* sf = sf_open(path.c_str(), SFM_WRITE, &info);
            if (!sf)
                std::abort();
            std::vector<unsigned char> buffer(size_t(65536 * cFrameSize), 0);
            for (int64_t done = 0; done < cBytes; done += int64_t(buffer.size()))
                sf_write_raw(sf, buffer.data(), std::min(int64_t(buffer.size()), cBytes - done));
            sf_close(sf);
            Warm(path);
        }
        return path;
    }
#endif

    ~BenchFiles()
    {
        std::error_code ec;
        std::filesystem::remove_all(mDir, ec);
    }

private:
    BenchFiles()
    {
        const char* base = std::getenv("MIRAFILE_BENCH_DIR");
        std::string pattern =
            (base ? std::filesystem::path(base) : std::filesystem::temp_directory_path()) /
            "mirafile-bench-XXXXXX";
        if (!::mkdtemp(pattern.data()))
            std::abort();
        mDir = pattern;
        mReadPath = mDir + "/long" + std::string(cBenchExtension);

        FF_AudioFileRef file(new FF_AudioFile(cBenchType, Sys_FileLoc(mReadPath),
                                              cChannels, cBits, cRate, 0, 0));
        file->Open(Cmn_Store::eOpenFlag_OpenCreate);
        constexpr int64_t block = 65536;
        std::vector<unsigned char> buffer(size_t(block * cFrameSize));
        uint32_t x = 1;
        for (auto& b : buffer)
            b = uint8_t((x = x * 1664525u + 1013904223u) >> 24);
        for (int64_t done = 0; done < cFrames; done += block)
            file->Write(buffer.data(), std::min(block, cFrames - done), cFileOrder, false);
        file->Flush();
        mDataOffset = file->mOffsetToData.GetOr(0);
        file->Close();
        Warm(mReadPath);
    }

    static void Warm(const std::string& iPath)
    {
        const int fd = ::open(iPath.c_str(), O_RDONLY);
        std::vector<char> buffer(1 << 20);
        int64_t at = 0;
        for (ssize_t n; (n = ::pread(fd, buffer.data(), buffer.size(), at)) > 0;)
            at += n;
        ::close(fd);
    }

    std::string mDir;
    std::string mReadPath;
    int64_t mDataOffset = 0;
};

void Finish(benchmark::State& ioState, int64_t iBytesPerPass)
{
    ioState.SetBytesProcessed(int64_t(ioState.iterations()) * iBytesPerPass);
    ioState.counters["frames_per_block"] = double(ioState.range(0));
}

// ---- reading -------------------------------------------------------------------------------

void ReadMirafile(benchmark::State& ioState, EByteOrder iOrder)
{
    BenchFiles& files = BenchFiles::Get();
    const int64_t block = ioState.range(0);
    std::vector<unsigned char> buffer(size_t(block * cFrameSize));
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(files.ReadPath())));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    if (file->GetProperties().mNumSamples != cFrames)
        ioState.SkipWithError("the file does not hold the frames it was written with");
    for (auto _ : ioState)
    {
        file->SetPosition(0);
        int64_t total = 0;
        for (int64_t n; (n = file->Read(buffer.data(), block, iOrder)) > 0;)
            total += n;
        if (total != cFrames)
            ioState.SkipWithError("short read");
        benchmark::DoNotOptimize(buffer.data());
    }
    file->Close();
    Finish(ioState, cBytes);
}

// In the file's byte order: nothing is converted.
void BM_Read_Mirafile(benchmark::State& ioState)
{
    ReadMirafile(ioState, cFileOrder);
}

// In the other byte order: every sample is swapped in the caller's buffer.
void BM_Read_MirafileSwapped(benchmark::State& ioState)
{
    ReadMirafile(ioState, cFileOrder == eByteOrder_Big ? eByteOrder_Little : eByteOrder_Big);
}

#ifdef MIRAFILE_HAVE_SNDFILE
void BM_Read_Libsndfile(benchmark::State& ioState)
{
    BenchFiles& files = BenchFiles::Get();
    const int64_t blockBytes = ioState.range(0) * cFrameSize;
    std::vector<unsigned char> buffer(static_cast<size_t>(blockBytes));
    SF_INFO info{};
    SNDFILE* sf = sf_open(files.ReadPath().c_str(), SFM_READ, &info);
    if (!sf || info.frames != cFrames)
        ioState.SkipWithError("libsndfile does not open the file");
    for (auto _ : ioState)
    {
        sf_seek(sf, 0, SEEK_SET);
        int64_t total = 0;
        for (sf_count_t n; (n = sf_read_raw(sf, buffer.data(), blockBytes)) > 0;)
            total += n;
        if (total != cBytes)
            ioState.SkipWithError("short read");
        benchmark::DoNotOptimize(buffer.data());
    }
    if (sf)
        sf_close(sf);
    Finish(ioState, cBytes);
}
#endif

void BM_Read_Pread(benchmark::State& ioState)
{
    BenchFiles& files = BenchFiles::Get();
    const int64_t blockBytes = ioState.range(0) * cFrameSize;
    std::vector<unsigned char> buffer(static_cast<size_t>(blockBytes));
    const int fd = ::open(files.ReadPath().c_str(), O_RDONLY);
    for (auto _ : ioState)
    {
        int64_t total = 0;
        for (ssize_t n; total < cBytes &&
                        (n = ::pread(fd, buffer.data(), size_t(std::min(blockBytes, cBytes - total)),
                                     files.DataOffset() + total)) > 0;)
            total += n;
        if (total != cBytes)
            ioState.SkipWithError("short read");
        benchmark::DoNotOptimize(buffer.data());
    }
    ::close(fd);
    Finish(ioState, cBytes);
}

// ---- writing -------------------------------------------------------------------------------

std::vector<unsigned char> WriteBlock(int64_t iFrames)
{
    std::vector<unsigned char> buffer(size_t(iFrames * cFrameSize));
    uint32_t x = 7;
    for (auto& b : buffer)
        b = uint8_t((x = x * 1664525u + 1013904223u) >> 24);
    return buffer;
}

void BM_Write_Mirafile(benchmark::State& ioState)
{
    const std::string path = BenchFiles::Get().WriterCopy("write-mirafile");
    const int64_t block = ioState.range(0);
    std::vector<unsigned char> buffer = WriteBlock(block);
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(path)));
    file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
    for (auto _ : ioState)
    {
        file->SetPosition(0);
        int64_t done = 0;
        for (int64_t n; done < cFrames && (n = file->Write(buffer.data(),
                                                           std::min(block, cFrames - done),
                                                           cFileOrder, false)) > 0;)
            done += n;
        if (done != cFrames)
            ioState.SkipWithError("short write");
        file->Flush();
    }
    if (file->GetProperties().mNumSamples != cFrames)
        ioState.SkipWithError("the file changed its length");
    file->Close();
    Finish(ioState, cBytes);
}

#ifdef MIRAFILE_HAVE_SNDFILE
void BM_Write_Libsndfile(benchmark::State& ioState)
{
    const std::string path = BenchFiles::Get().LibsndfileCopy("write-libsndfile");
    const int64_t blockBytes = ioState.range(0) * cFrameSize;
    std::vector<unsigned char> buffer = WriteBlock(ioState.range(0));
    SF_INFO info{};
    SNDFILE* sf = sf_open(path.c_str(), SFM_RDWR, &info);
    if (!sf || info.frames != cFrames)
        ioState.SkipWithError("libsndfile does not open the file");
    for (auto _ : ioState)
    {
        sf_seek(sf, 0, SEEK_SET);
        int64_t done = 0;
        for (sf_count_t n; done < cBytes && (n = sf_write_raw(sf, buffer.data(),
                                                              std::min(blockBytes, cBytes - done))) > 0;)
            done += n;
        if (done != cBytes)
            ioState.SkipWithError("short write");
    }
    if (sf)
        sf_close(sf);
    Finish(ioState, cBytes);
}
#endif

void BM_Write_Pwrite(benchmark::State& ioState)
{
    BenchFiles& files = BenchFiles::Get();
    const std::string path = files.WriterCopy("write-pwrite");
    const int64_t blockBytes = ioState.range(0) * cFrameSize;
    std::vector<unsigned char> buffer = WriteBlock(ioState.range(0));
    const int fd = ::open(path.c_str(), O_RDWR);
    for (auto _ : ioState)
    {
        int64_t total = 0;
        for (ssize_t n; total < cBytes &&
                        (n = ::pwrite(fd, buffer.data(), size_t(std::min(blockBytes, cBytes - total)),
                                      files.DataOffset() + total)) > 0;)
            total += n;
        if (total != cBytes)
            ioState.SkipWithError("short write");
    }
    ::close(fd);
    Finish(ioState, cBytes);
}

void Blocks(benchmark::internal::Benchmark* ioB)
{
    for (int64_t frames : {4096, 16384, 65536, 262144})
        ioB->Arg(frames);
    ioB->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(BM_Read_Mirafile)->Apply(Blocks);
BENCHMARK(BM_Read_MirafileSwapped)->Apply(Blocks);
#ifdef MIRAFILE_HAVE_SNDFILE
BENCHMARK(BM_Read_Libsndfile)->Apply(Blocks);
#endif
BENCHMARK(BM_Read_Pread)->Apply(Blocks);
BENCHMARK(BM_Write_Mirafile)->Apply(Blocks);
#ifdef MIRAFILE_HAVE_SNDFILE
BENCHMARK(BM_Write_Libsndfile)->Apply(Blocks);
#endif
BENCHMARK(BM_Write_Pwrite)->Apply(Blocks);
} // namespace
