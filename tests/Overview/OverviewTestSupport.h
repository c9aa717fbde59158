// Helpers of the overview tests: signals, the overview by a plain loop (the reference every
// chain is checked against) and WAVE files; the channel producer is in Chain/ChainTestStages.h.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverviewMgr.h"
#include "Support/FFTestSupport.h"
#include "Sys_FileLoc.h"

using Test_Channels = std::vector<std::vector<int32_t>>;

inline int32_t Test_Full(int32_t iBits)
{
    return int32_t((int64_t(1) << (iBits - 1)) - 1);
}

// Noise, a ramp through the extremes and some silence, per channel; every value of the
// format's range can occur, including its lowest.
inline Test_Channels Test_MakeSamples(int32_t iBits, int16_t iChannels, int64_t iLength,
                                      uint32_t iSeed = 7)
{
    std::mt19937 random(iSeed);
    const int32_t full = Test_Full(iBits);
    std::uniform_int_distribution<int32_t> any(-full - 1, full);
    Test_Channels channels(size_t(iChannels), std::vector<int32_t>(size_t(iLength), 0));
    for (int16_t c = 0; c < iChannels; ++c)
        for (int64_t k = 0; k < iLength; ++k)
        {
            const int64_t kind = (k / 300 + c) % 4;
            const int32_t v =
                kind == 0   ? any(random)
                : kind == 1 ? int32_t(-full - 1 + (int64_t(k % 300) * 2 * full) / 299)
                : kind == 2
                    ? 0
                    : int32_t(std::lround(full * 0.3 * std::sin(double(k) * 0.05 * (c + 1))));
            channels[size_t(c)][size_t(k)] = v;
        }
    return channels;
}

// The overview by the rule, sample by sample: the greatest and smallest value of each group
// of iPerPoint samples, reduced by magnitude.
inline std::vector<int8_t> Test_LoopOverview(const std::vector<int32_t>& iSamples, int32_t iBits,
                                             int32_t iPerPoint = 256)
{
    std::vector<int8_t> bytes;
    for (size_t start = 0; start < iSamples.size(); start += size_t(iPerPoint))
    {
        const size_t end = std::min(iSamples.size(), start + size_t(iPerPoint));
        int32_t max = iSamples[start], min = iSamples[start];
        for (size_t k = start; k < end; ++k)
        {
            max = std::max(max, iSamples[k]);
            min = std::min(min, iSamples[k]);
        }
        for (int32_t v : {max, min})
        {
            const int32_t magnitude = v < 0 ? -v : v;
            const int32_t reduced = magnitude >> (iBits - 8);
            bytes.push_back(int8_t(v < 0 ? -reduced : reduced));
        }
    }
    return bytes;
}

inline std::vector<int8_t> Test_Bytes(const FF_AudioOverview& iOverview)
{
    const int8_t* p = iOverview.GetBuffer();
    return p ? std::vector<int8_t>(p, p + iOverview.GetSize()) : std::vector<int8_t>();
}

// A WAVE file with the samples given (channels of equal length).
inline void Test_WriteWave(const std::string& iPath, const Test_Channels& iChannels, int16_t iBits,
                           int32_t iRate = 48000)
{
    const int16_t channels = int16_t(iChannels.size());
    const size_t frames = iChannels.empty() ? 0 : iChannels[0].size();
    const int32_t bytes = iBits / 8;
    std::vector<char> interleaved(frames * size_t(channels) * size_t(bytes));
    for (size_t k = 0; k < frames; ++k)
        for (int16_t c = 0; c < channels; ++c)
            FF_AudioSampleAccess::Write(interleaved.data(), bytes, int64_t(k) * channels + c,
                                        iChannels[size_t(c)][k]);
    FF_AudioFileRef file(
        new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(iPath), channels, iBits, iRate, 0, 0));
    file->Open(Cmn_Store::eOpenFlag_OpenCreate);
    if (frames)
        file->Write(interleaved.data(), int64_t(frames), eByteOrder_Little, true);
    file->Flush();
    file->Close();
}

// The mono mix that the overview of a file with several channels is made of.
inline std::vector<int32_t> Test_Mix(const Test_Channels& iChannels, int32_t iBits)
{
    if (iChannels.size() == 1)
        return iChannels[0];
    const double factor = std::sqrt(1.0 / double(iChannels.size()));
    const int64_t max = Test_Full(iBits);
    std::vector<int32_t> mix(iChannels[0].size());
    for (size_t k = 0; k < mix.size(); ++k)
    {
        int64_t sum = 0;
        for (const auto& channel : iChannels)
            sum += channel[k];
        const int64_t v = int64_t(double(sum) * factor);
        mix[k] = int32_t(v >= max ? max : v < -max ? -max - 1 : v);
    }
    return mix;
}

// An overview of iSize bytes whose contents tell iSeed apart.
inline FF_AudioOverview Test_Payload(int32_t iSize, uint32_t iSeed)
{
    FF_AudioOverview overview = FF_AudioOverviewMgr::AllocateBytes(iSize);
    for (int32_t i = 0; i < iSize; ++i)
        overview.GetBuffer()[i] = int8_t(uint32_t(i) * 31u + iSeed * 17u);
    return overview;
}

// What a cache finds for a key: the overview's bytes, or {99} when it finds nothing (no
// payload of the tests is one byte long).
template <class Cache>
std::vector<int8_t> Test_Found(Cache& ioCache, const typename Cache::OverviewKey& iKey)
{
    FF_AudioOverview overview;
    if (!ioCache.Find(iKey, &overview))
        return {int8_t(99)};
    return Test_Bytes(overview);
}

// The fuzz seeds of a cache (see WriteFuzzSeeds), good and bad ("bad-..."), opened as the
// fuzz target opens them: for reading, the cache or (bad ones only) the family's exception;
// for writing, then, the cache (a cut one, "...truncated...", never taken for whole) or an
// empty rebuilt one. What is read holds together, and what iStore stores afterwards under
// iStoredKey is found again after reopening. Returns how many were refused and rebuilt.
template <class Cache>
int32_t Test_OpenSeeds(const std::string& iPath,
                       const std::vector<std::pair<std::string, Bytes>>& iSeeds,
                       const std::function<void(Cache&)>& iStore,
                       const typename Cache::OverviewKey& iStoredKey,
                       const std::vector<int8_t>& iStoredBytes)
{
    int32_t rebuilt = 0;
    for (const auto& [name, bytes] : iSeeds)
    {
        SCOPED_TRACE(name);
        WriteBytes(iPath, bytes);
        bool refused = false;
        {
            Cache reading{Sys_FileLoc(iPath)};
            try
            {
                reading.Open(Cmn_Store::eOpenFlag_OpenForRead);
            }
            catch (const Cmn_Exception&)
            {
                refused = true;
                EXPECT_FALSE(reading.IsOpen());
            }
        }
        Cache cache{Sys_FileLoc(iPath)};
        try
        {
            cache.Open(Cmn_Store::eOpenFlag_OpenForWrite);
        }
        catch (...)
        {
            ADD_FAILURE() << "opening for writing threw";
            continue;
        }
        rebuilt += cache.WasRebuilt();
        EXPECT_EQ(cache.WasRebuilt(), refused);
        EXPECT_TRUE(name.rfind("bad-", 0) == 0 || !refused);
        EXPECT_TRUE(refused || name.find("truncated") == std::string::npos)
            << "a cut cache is never taken for whole";
        EXPECT_TRUE(!refused || cache.GetNumEntries() == 0);
        for (const auto& entry : cache.GetEntries())
            EXPECT_EQ(Test_Found(cache, entry.mKey).size(), size_t(entry.mOverviewSize));
        iStore(cache);
        cache.Close();
        Cache again{Sys_FileLoc(iPath)};
        again.Open(Cmn_Store::eOpenFlag_OpenForRead);
        EXPECT_EQ(Test_Found(again, iStoredKey), iStoredBytes);
    }
    return rebuilt;
}
