// Shared by the resampling benchmarks: running mirafile's sample-rate conversion stage by
// hand over whole signals, and running sox's `rate` effect on the same signal through raw
// files in a temporary folder.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "FF/Audio/Processing/Chain/FF_AudioProcessBlock.h"
#include "FF/Audio/Processing/Stages/FF_AudioProcessSRC.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"

namespace resample
{

// Channels of integer samples of iBits bits through the stage in blocks of iBlock samples, as
// a chain runs it.
inline std::vector<std::vector<int32_t>> RunMirafile(ESRCQuality iQuality, int32_t iSrcRate,
                                                     int32_t iDstRate, int32_t iBits,
                                                     const std::vector<std::vector<int32_t>>& iIn,
                                                     int64_t iBlock = 4096)
{
    const int16_t channels = int16_t(iIn.size());
    const int64_t total = int64_t(iIn[0].size());
    FF_AudioProcessSRC stage(iSrcRate, iDstRate, iQuality);
    FF_AudioProcessBlock proto(channels, iSrcRate, iBits, iBlock, total);
    stage.Preflight(&proto);
    FF_AudioProcessBlock maximal = proto;
    maximal.SetNumSamples(std::max(iBlock, proto.GetNumSamples()));
    stage.Allocate(maximal);
    FF_AudioProcessBlock in(maximal), out(maximal);
    const int32_t bytes = (iBits + 7) / 8;
    std::vector<std::vector<int32_t>> result(static_cast<size_t>(channels));
    for (auto& r : result)
        r.reserve(size_t(proto.GetTotalNumSamples()));
    for (int64_t done = 0; done < total;)
    {
        const int64_t n = std::min(iBlock, total - done);
        in.SetNumSamples(n);
        in.SetNumChannels(channels);
        in.SetBitsPerSample(iBits);
        in.SetTotalNumSamples(total);
        for (int16_t c = 0; c < channels; ++c)
            for (int64_t k = 0; k < n; ++k)
                FF_AudioSampleAccess::Write(in.GetBuffer(size_t(c)), bytes, k,
                                            iIn[size_t(c)][size_t(done + k)]);
        out.CopyDescription(in);
        stage.Process(&in, &out);
        for (int16_t c = 0; c < channels; ++c)
            for (int64_t k = 0; k < out.GetNumSamples(); ++k)
                result[size_t(c)].push_back(
                    FF_AudioSampleAccess::Read(out.GetBuffer(size_t(c)), bytes, k));
        done += n;
    }
    return result;
}

class TempFolder
{
public:
    TempFolder()
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "mirafile-resample-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            std::abort();
        mPath = pattern;
    }
    ~TempFolder()
    {
        std::error_code ec;
        std::filesystem::remove_all(mPath, ec);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    std::string File(const std::string& iName) const { return mPath + "/" + iName; }

private:
    std::string mPath;
};

inline bool HaveSox()
{
    return std::system("sox --version >/dev/null 2>&1") == 0;
}

// "sox <in> <out> rate <iSetting> <dst>" on raw files; iFormat is sox's type options for both
// ("-e signed -b 16" or "-e floating-point -b 32"). True when sox succeeded.
inline bool RunSox(const std::string& iIn, const std::string& iOut, const std::string& iFormat,
                   int32_t iSrcRate, int32_t iChannels, const std::string& iSetting,
                   int32_t iDstRate)
{
    const std::string command =
        "sox -D -V1 -t raw " + iFormat + " -r " + std::to_string(iSrcRate) + " -c " +
        std::to_string(iChannels) + " '" + iIn + "' -t raw " + iFormat + " '" + iOut + "'" +
        (iSetting.empty() ? std::string() : " rate " + iSetting + " " + std::to_string(iDstRate));
    return std::system(command.c_str()) == 0;
}

template <class T> void WriteRaw(const std::string& iPath, const std::vector<T>& iData)
{
    std::ofstream f(iPath, std::ios::binary);
    f.write(reinterpret_cast<const char*>(iData.data()), std::streamsize(iData.size() * sizeof(T)));
}

template <class T> std::vector<T> ReadRaw(const std::string& iPath)
{
    std::ifstream f(iPath, std::ios::binary | std::ios::ate);
    const auto bytes = size_t(f.tellg());
    std::vector<T> data(bytes / sizeof(T));
    f.seekg(0);
    f.read(reinterpret_cast<char*>(data.data()), std::streamsize(data.size() * sizeof(T)));
    return data;
}

} // namespace resample
