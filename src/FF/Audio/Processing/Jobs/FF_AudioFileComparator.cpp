#include "FF/Audio/Processing/Jobs/FF_AudioFileComparator.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace
{
void Note(FF_AudioFileComparator::Differences& ioDiff, bool iDiffer, const char* iName)
{
    if (!iDiffer)
        return;
    ioDiff.mPropertiesDiffer = true;
    ioDiff.mProperties += (ioDiff.mProperties.empty() ? "" : " ") + std::string(iName);
}
} // namespace

FF_AudioFileComparator::Differences FF_AudioFileComparator::CompareFiles(FF_AudioFile& iA,
                                                                         FF_AudioFile& iB)
{
    FF_AudioFile::StOpenForRead openA(iA), openB(iB);
    for (FF_AudioFile* fileP : {&iA, &iB})
        if (fileP->GetAudioFileType() == eAudioFileType_Unknown)
            throw std::runtime_error("\"" + fileP->GetFileLoc().GetFullPath() +
                                     "\" is not an audio file this library can read");
    const FF_AudioFile::Properties a = iA.GetProperties(), b = iB.GetProperties();
    Differences diff;
    Note(diff, a.mAudioFileType != b.mAudioFileType, "mAudioFileType");
    Note(diff, a.mFormatName != b.mFormatName, "mFormatName");
    Note(diff, a.mByteOrder != b.mByteOrder, "mByteOrder");
    Note(diff, a.mSampleRate != b.mSampleRate, "mSampleRate");
    Note(diff, a.mBitDepth != b.mBitDepth, "mBitDepth");
    Note(diff, a.mBytesPerSample != b.mBytesPerSample, "mBytesPerSample");
    Note(diff, a.mNumChannels != b.mNumChannels, "mNumChannels");
    Note(diff, a.mNumSamples != b.mNumSamples, "mNumSamples");
    if (a.mBytesPerSample != b.mBytesPerSample || a.mNumChannels != b.mNumChannels)
    {
        diff.mSamplesNotComparable = true;
        return diff;
    }

    const size_t frame = size_t(a.mBytesPerSample) * size_t(a.mNumChannels);
    constexpr int64_t cPiece = 16384;
    std::vector<char> bufferA(size_t(cPiece) * frame), bufferB(size_t(cPiece) * frame);
    const int64_t frames = std::min(a.mNumSamples, b.mNumSamples);
    iA.SetPosition(0);
    iB.SetPosition(0);
    for (int64_t done = 0; done < frames;)
    {
        const int64_t want = std::min(cPiece, frames - done);
        const int64_t gotA = iA.Read(bufferA.data(), want);
        const int64_t gotB = iB.Read(bufferB.data(), want);
        const int64_t got = std::min(gotA, gotB);
        for (int64_t k = 0; k < got; ++k)
            if (std::memcmp(&bufferA[size_t(k) * frame], &bufferB[size_t(k) * frame], frame) != 0)
            {
                if (diff.mFirstDifferentSample < 0)
                    diff.mFirstDifferentSample = done + k;
                ++diff.mSamplesDiffering;
            }
        done += got;
        diff.mSamplesCompared = done;
        if (got < want)
            break;
    }
    return diff;
}
