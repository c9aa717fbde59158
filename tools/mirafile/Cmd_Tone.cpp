// mirafile tone OUT --rate HZ --bits 8|16|24 --channels N --seconds S [--freq HZ] [--level DBFS]:
// a new audio file holding a sine tone, the same on every channel. The file's type follows the
// extension of OUT (Tool_OutputAudioType): WAVE, or AIFF for .aif, and so on.
//
// The samples are rounded from the exact sine at each sample position (no dither), so a
// tone made twice with the same options has the same samples. The file gets a new identity
// and a description naming the tone; it is written through the audio file front, in blocks,
// and flushed once at the end.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <numbers>
#include <stdexcept>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/Audio/FF_AudioFile.h"
#include "Sys_AtomicOutput.h"
#include "Sys_FileLoc.h"
#include "Sys_Umid.h"
#include "Tool.h"
#include "Tool_OutputType.h"

namespace
{
const char* const cUsage = "tone OUT --rate HZ --bits 8|16|24 --channels N --seconds S "
                           "[--freq HZ] [--level DBFS]";

constexpr int64_t cBlockFrames = 65536;
// Room kept below the 4 GB limit of a RIFF form for the chunks around the samples.
constexpr int64_t cHeaderRoom = 1 << 20;

struct ToneSettings
{
    int32_t mRate = 0;
    int16_t mBits = 0;
    int16_t mChannels = 0;
    int64_t mFrames = 0;
    double mFreq = 1000.0;
    double mLevel = -6.0; // dBFS
};

struct
{
    std::vector<std::string> mPaths;
    std::string mRate, mBits, mChannels, mSeconds, mFreq, mLevel; // as given, for the errors
} sOptions;

void Declare(CLI::App& ioApp)
{
    ioApp.add_option("OUT", sOptions.mPaths, "the audio file to write");
    ioApp.add_option("--rate", sOptions.mRate, "sample rate in Hz")
        ->check(Tool_WholeIn(1000, 768000, "must lie from 1000 to 768000 Hz", Tool_Shown::eValue));
    ioApp.add_option("--bits", sOptions.mBits, "bits per sample")
        ->check(Tool_OneOf({"8", "16", "24"}, "must be 8, 16 or 24", Tool_Shown::eValue));
    ioApp.add_option("--channels", sOptions.mChannels, "channels, each with the same tone")
        ->check(Tool_WholeIn(1, 64, "must lie from 1 to 64", Tool_Shown::eValue));
    ioApp.add_option("--seconds", sOptions.mSeconds, "length in seconds")
        ->check(Tool_NumberIn(std::nextafter(0.0, 1.0), HUGE_VAL, "must be more than 0",
                              Tool_Shown::eValue));
    ioApp.add_option("--freq", sOptions.mFreq, "frequency in Hz (default 1000)");
    ioApp.add_option("--level", sOptions.mLevel, "level in dBFS (default -6)")
        ->check(Tool_NumberIn(-HUGE_VAL, 0.0, "must be 0 dBFS or below", Tool_Shown::eValue));
}

const std::string& Required(const std::string& iValue, const std::string& iName)
{
    if (iValue.empty())
        throw Tool_UsageError("--" + iName + " is required; usage: mirafile " + cUsage);
    return iValue;
}

ToneSettings ReadSettings()
{
    ToneSettings s;
    s.mRate = int32_t(Tool_ParseInt(Required(sOptions.mRate, "rate"), "--rate"));
    s.mBits = int16_t(Tool_ParseInt(Required(sOptions.mBits, "bits"), "--bits"));
    s.mChannels = int16_t(Tool_ParseInt(Required(sOptions.mChannels, "channels"), "--channels"));
    const double seconds = Tool_ParseDouble(Required(sOptions.mSeconds, "seconds"), "--seconds");
    const double frames = std::round(seconds * s.mRate);
    const int64_t frameSize = int64_t(s.mChannels) * (s.mBits / 8);
    if (frames * double(frameSize) > double(UINT32_MAX - cHeaderRoom))
        throw Tool_UsageError("--seconds " + sOptions.mSeconds +
                              " makes more samples than a WAVE file holds (4 GB)");
    s.mFrames = std::max<int64_t>(int64_t(frames), 1);
    if (!sOptions.mFreq.empty())
    {
        s.mFreq = Tool_ParseDouble(sOptions.mFreq, "--freq");
        if (!(s.mFreq >= 0.0) || s.mFreq > s.mRate / 2.0)
            throw Tool_UsageError("--freq must lie from 0 to half the rate (" +
                                  std::to_string(s.mRate / 2) + " Hz), not " + sOptions.mFreq);
    }
    if (!sOptions.mLevel.empty())
        s.mLevel = Tool_ParseDouble(sOptions.mLevel, "--level");
    return s;
}

// iCount frames from frame iFirst, packed little-endian two's complement, interleaved.
void FillBlock(const ToneSettings& iS, int64_t iFirst, int64_t iCount, unsigned char* oP)
{
    const int32_t bytes = iS.mBits / 8;
    const double peak = double((int64_t(1) << (iS.mBits - 1)) - 1);
    const double amplitude = peak * std::pow(10.0, iS.mLevel / 20.0);
    for (int64_t n = 0; n < iCount; ++n)
    {
        // sin(2 pi f n / rate), with the whole cycles dropped first so that the phase of a
        // long tone keeps its precision.
        const double turns = std::fmod(iS.mFreq * double(iFirst + n), double(iS.mRate));
        const double x = std::sin(2.0 * std::numbers::pi * turns / iS.mRate);
        const auto value = int32_t(std::lround(amplitude * x));
        for (int16_t c = 0; c < iS.mChannels; ++c)
            for (int32_t b = 0; b < bytes; ++b)
                *oP++ = uint8_t(uint32_t(value) >> (8 * b));
    }
}

int Run()
{
    if (sOptions.mPaths.size() != 1)
        throw Tool_UsageError(std::string("usage: mirafile ") + cUsage);
    const std::string path = sOptions.mPaths[0];
    const ToneSettings s = ReadSettings();
    const EAudioFileType type = Tool_OutputAudioType(path, "");
    const int64_t frameSize = int64_t(s.mChannels) * (s.mBits / 8);
    try
    {
        // The tone is written under a temporary name and takes the path (replacing a file
        // there, as before) only when complete; a failure leaves nothing.
        Sys_StAtomicOutput output(Sys_FileLoc(path), true);
        FF_AudioFileRef file(
            new FF_AudioFile(type, Sys_FileLoc(path), s.mChannels, s.mBits, s.mRate, 0, 0));
        file->Open(Cmn_Store::eOpenFlag_OpenCreate);
        file->mUmid.Set(Sys_Umid::Create());
        char description[96];
        std::snprintf(description, sizeof description, "sine %g Hz at %g dBFS", s.mFreq, s.mLevel);
        file->mDescription.Set(description);
        std::vector<unsigned char> block(size_t(std::min(s.mFrames, cBlockFrames) * frameSize));
        for (int64_t done = 0; done < s.mFrames;)
        {
            const int64_t count = std::min(cBlockFrames, s.mFrames - done);
            FillBlock(s, done, count, block.data());
            if (file->Write(block.data(), count, eByteOrder_Little, true) != count)
                throw std::runtime_error("the samples could not all be written");
            done += count;
        }
        file->Flush();
        while (file->IsOpen())
            file->Close();
        output.Commit();
    }
    catch (const Cmn_CancelException&)
    {
        throw;
    }
    catch (const std::exception& e)
    {
        throw std::runtime_error(path + ": " + Cmn_Exception::GetExceptionDescription(e));
    }
    return 0;
}

Tool_Registrar sRegistrar{
    {"tone", cUsage, "write an audio file holding a sine tone", Declare, Run}};
} // namespace
