// Helpers of the conversion tests: tone files written through the front, samples read back
// as integers and measures of a tone.
#pragma once

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <numbers>
#include <set>
#include <string>
#include <vector>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/Audio/Processing/Chain/FF_AudioProcessUtils.h"
#include "FF/Audio/Processing/Chain/FF_AudioSampleAccess.h"
#include "FF/Audio/Processing/Jobs/FF_AudioFileUtils.h"
#include "Support/ByteSupport.h"
#include "Support/TestSupport.h"
#include "Sys_FileLoc.h"

// A WAVE file of a sine of iFreq Hz at iLevelDB dBFS on every channel (channel c shifted by
// c * 0.1 of full scale's phase, so that channels differ).
inline void Test_MakeTone(const std::string& iPath, int32_t iRate, int16_t iBits, int16_t iChannels,
                          int64_t iSamples, double iFreq = 1000.0, double iLevelDB = -6.0)
{
    FF_AudioFileRef file(
        new FF_AudioFile(eAudioFileType_WAVE, Sys_FileLoc(iPath), iChannels, iBits, iRate, 0, 0));
    file->Open(Cmn_Store::eOpenFlag_OpenCreate);
    const int32_t bytes = (iBits + 7) / 8;
    const double full = double((int64_t(1) << (iBits - 1)) - 1) * std::pow(10.0, iLevelDB / 20);
    std::vector<char> buffer(size_t(iSamples) * size_t(bytes * iChannels));
    for (int64_t k = 0; k < iSamples; ++k)
        for (int16_t c = 0; c < iChannels; ++c)
        {
            const double v =
                std::sin(2 * std::numbers::pi * iFreq * double(k) / iRate + 0.6 * c) * full;
            int32_t s = int32_t(std::lrint(v));
            if (iBits == 8)
                s = std::clamp(s, -128, 127);
            FF_AudioSampleAccess::Write(buffer.data(), bytes, k * iChannels + c, s);
        }
    file->Write(buffer.data(), iSamples);
    file->mDescription.Set("test tone");
    file->Flush();
    file->Close();
}

// Every channel's samples as integers, through the front.
inline std::vector<std::vector<int32_t>> Test_ReadChannels(const std::string& iPath)
{
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(iPath)));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    const FF_AudioFile::Properties p = file->GetProperties();
    std::vector<char> buffer(size_t(p.mNumSamples) * size_t(p.mBytesPerSample * p.mNumChannels));
    file->SetPosition(0);
    const int64_t got = file->Read(buffer.data(), p.mNumSamples);
    file->Close();
    std::vector<std::vector<int32_t>> channels(size_t(p.mNumChannels));
    for (int64_t k = 0; k < got; ++k)
        for (int16_t c = 0; c < p.mNumChannels; ++c)
            channels[size_t(c)].push_back(FF_AudioSampleAccess::Read(
                buffer.data(), p.mBytesPerSample, k * p.mNumChannels + c));
    return channels;
}

inline FF_AudioFile::Properties Test_Properties(const std::string& iPath)
{
    FF_AudioFileRef file(new FF_AudioFile(Sys_FileLoc(iPath)));
    file->Open(Cmn_Store::eOpenFlag_OpenForRead);
    const FF_AudioFile::Properties p = file->GetProperties();
    file->Close();
    return p;
}

// The frequency of a tone (from its rising zero crossings, between the first and the last)
// and its RMS level in dB of full scale, over the middle of the samples (away from the ends
// where a filter starts and stops).
struct Test_ToneMeasure
{
    double mFreq = 0;
    double mLevelDB = -200;
};

inline Test_ToneMeasure Test_MeasureTone(const std::vector<int32_t>& iSamples, int32_t iRate,
                                         int32_t iBits)
{
    Test_ToneMeasure m;
    const size_t from = iSamples.size() / 10, to = iSamples.size() - iSamples.size() / 10;
    double first = -1, last = -1;
    int64_t crossings = 0;
    double sum = 0;
    for (size_t k = from + 1; k < to; ++k)
    {
        const double a = iSamples[k - 1], b = iSamples[k];
        sum += b * b;
        if (a < 0 && b >= 0)
        {
            const double at = double(k - 1) + (-a) / (b - a);
            if (first < 0)
                first = at;
            else
                ++crossings;
            last = at;
        }
    }
    if (crossings > 0)
        m.mFreq = double(crossings) * iRate / (last - first);
    const double full = double((int64_t(1) << (iBits - 1)) - 1);
    m.mLevelDB = 10 * std::log10(sum / double(to - from - 1)) - 20 * std::log10(full);
    return m;
}

// Conversion parameters: rate and depth, the rest as given or by default.
inline FF_AudioFileUtils::ConvertAudioFileParams
Test_Params(int32_t iRate, int16_t iBits, ESRCQuality iQuality = eSRCQuality_Medium,
            bool iDither = false, double iGain = 0.0)
{
    FF_AudioFileUtils::ConvertAudioFileParams params;
    params.mSampleRate = iRate;
    params.mBitDepth = iBits;
    params.mSRCQuality = iQuality;
    params.mDither = iDither;
    params.mGainDB = iGain;
    return params;
}

// Runs a planned conversion by hand to its end; a failure is thrown.
inline void Test_RunToEnd(const FF_BatchProcess::BatchProcessHandle& iProcess)
{
    FF_AudioProcessUtils::RunProcessChainToEnd(iProcess.Get());
}
