// A small metadata edit of a WAVE file that stands: the description changes between two
// texts of one length, which the filler in front of the samples takes up, so every flush
// writes the file header and a few chunks in place. BM_EditFlush keeps the file open and
// times the change and the flush; BM_EditOpenFlushClose times a whole edit as the tool makes
// it (open for writing, change, flush, close). The file (one second of 16-bit stereo at
// 44.1 kHz behind a 1,000-byte filler) lives in MIRAFILE_BENCH_DIR, else the system's
// temporary folder, so the syncs of the file and its folder reach that file system.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "BenchScratch.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Sys_FileLoc.h"

namespace
{
using Bytes = std::vector<unsigned char>;

void AppendChunk(Bytes& ioBytes, const char* iID, const Bytes& iData)
{
    ioBytes.insert(ioBytes.end(), iID, iID + 4);
    Bench_PutLE(ioBytes, uint32_t(iData.size()), 4);
    ioBytes.insert(ioBytes.end(), iData.begin(), iData.end());
}

class EditFile
{
public:
    EditFile()
    {
        mPath = (mScratch.Dir() / "take.wav").string();
        Bytes fmt;
        Bench_PutLE(fmt, 1, 2);
        Bench_PutLE(fmt, 2, 2);
        Bench_PutLE(fmt, 44100, 4);
        Bench_PutLE(fmt, 44100 * 4, 4);
        Bench_PutLE(fmt, 4, 2);
        Bench_PutLE(fmt, 16, 2);
        Bytes body = {'W', 'A', 'V', 'E'};
        AppendChunk(body, "fmt ", fmt);
        AppendChunk(body, "JUNK", Bytes(1000, 0));
        Bytes samples(44100 * 4);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<unsigned char>(i * 7);
        AppendChunk(body, "data", samples);
        Bytes image = {'R', 'I', 'F', 'F'};
        Bench_PutLE(image, uint32_t(body.size()), 4);
        image.insert(image.end(), body.begin(), body.end());
        std::ofstream(mPath, std::ios::binary)
            .write(reinterpret_cast<const char*>(image.data()), std::streamsize(image.size()));
    }
    const std::string& Path() const { return mPath; }

private:
    Bench_ScratchFolder mScratch{"mirafile-edit-bench"};
    std::string mPath;
};

const std::string cTexts[2] = {std::string(200, 'a'), std::string(200, 'b')};

void BM_EditFlush(benchmark::State& ioState)
{
    EditFile edit;
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(edit.Path())));
    file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
    size_t round = 0;
    for (auto _ : ioState)
    {
        file->mDescription.Set(cTexts[++round % 2]);
        file->Flush();
    }
    file->Close();
}
BENCHMARK(BM_EditFlush)->Unit(benchmark::kMicrosecond);

void BM_EditOpenFlushClose(benchmark::State& ioState)
{
    EditFile edit;
    size_t round = 0;
    for (auto _ : ioState)
    {
        FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(edit.Path())));
        file->Open(Cmn_Store::eOpenFlag_OpenForWrite);
        file->mDescription.Set(cTexts[++round % 2]);
        file->Flush();
        file->Close();
    }
}
BENCHMARK(BM_EditOpenFlushClose)->Unit(benchmark::kMicrosecond);
} // namespace
