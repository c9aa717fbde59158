#include "OMFTestSupport.h"

#include <map>

#include "FF/OMF/OMF_Container.h"
#include "Support/FFTestSupport.h"

std::string OMFTest_Variant::Name() const
{
    return std::string(mRev == kOmfRev1x ? "1x" : "2x") + (mBigEndian ? "_big" : "_little") +
           (mForm ? "_form" + std::to_string(mForm) : "") + (mMaxSegment ? "_pieces" : "");
}

const std::vector<OMFTest_Variant>& OMFTest_Variants()
{
    static const std::vector<OMFTest_Variant> sVariants = {
        {kOmfRev1x, false, 0, 0}, {kOmfRev1x, true, 0, 0}, {kOmfRev2x, false, 0, 0},
        {kOmfRev2x, true, 0, 0},  {kOmfRev1x, true, 2, 0}, {kOmfRev2x, false, 1, 0},
        {kOmfRev2x, true, 0, 7},  {kOmfRev1x, false, 0, 5}};
    return sVariants;
}

const OMFTest_Media& OMFTest_GetMedia(const std::string& iFolder)
{
    static std::map<std::string, OMFTest_Media> sMedia;
    auto it = sMedia.find(iFolder);
    if (it != sMedia.end())
        return it->second;
    OMFTest_Media media;
    media.mWaveSamples = Pattern(2 * 2 * 300, 7);
    media.mAifcSamples = Pattern(3 * 200, 9);
    MakeAudioFile(eAudioFileType_WAVE, iFolder + "/src.wav", 2, 16, media.mWaveSamples, 48000);
    MakeAudioFile(eAudioFileType_AIFC, iFolder + "/src.aif", 1, 24, media.mAifcSamples, 48000);
    media.mWave = ReadBytes(iFolder + "/src.wav");
    media.mAifc = ReadBytes(iFolder + "/src.aif");
    return sMedia.emplace(iFolder, media).first->second;
}

OMF_FileSpec OMFTest_Spec(const OMFTest_Variant& iVariant, const OMFTest_Media& iMedia)
{
    OMF_FileSpec description;
    description.mRev = iVariant.mRev;
    description.mBigEndian = iVariant.mBigEndian;
    description.mContainerForm = iVariant.mForm;
    description.mMaxSegment = iVariant.mMaxSegment;
    OMF_FileSpec::Media wave;
    wave.mName = "Kick";
    wave.mSourceID = {42, 1, 1};
    wave.mMasterID = {42, 1, 2};
    wave.mType = eAudioFileType_WAVE;
    wave.mBytes.assign(iMedia.mWave.begin(), iMedia.mWave.end());
    wave.mLength = 300;
    OMF_FileSpec::Media aifc = wave;
    aifc.mName = "Snare";
    aifc.mSourceID = {42, 2, 1};
    aifc.mMasterID = {42, 2, 2};
    aifc.mType = eAudioFileType_AIFC;
    aifc.mBytes.assign(iMedia.mAifc.begin(), iMedia.mAifc.end());
    aifc.mLength = 200;
    description.mMedia = {wave, aifc};
    description.mCompositions = {{"Song", {42, 9, 9}, {{{0, 0, 100}, {1, 50, 150}}, {{1, 0, 200}}}}};
    return description;
}

OMFTest_Builder& OMFTest_Builder::U8(uint8_t iValue)
{
    mBytes.push_back(iValue);
    return *this;
}

OMFTest_Builder& OMFTest_Builder::U16(uint16_t iValue)
{
    if (mBig)
        PutBE(mBytes, iValue, 2);
    else
        PutLE(mBytes, iValue, 2);
    return *this;
}

OMFTest_Builder& OMFTest_Builder::U32(uint32_t iValue)
{
    if (mBig)
        PutBE(mBytes, iValue, 4);
    else
        PutLE(mBytes, iValue, 4);
    return *this;
}

OMFTest_Builder& OMFTest_Builder::Raw(const std::string& iText)
{
    mBytes.insert(mBytes.end(), iText.begin(), iText.end());
    return *this;
}

OMFTest_Builder& OMFTest_Builder::Text(const std::string& iText)
{
    Raw(iText);
    return U8(0);
}

OMFTest_Builder& OMFTest_Builder::Label(uint16_t iMajor, uint32_t iTOCOffset, uint32_t iTOCSize)
{
    mBytes.insert(mBytes.end(), std::begin(OMF_ContainerFormat::cMagic), std::end(OMF_ContainerFormat::cMagic));
    return U16(0).U16(1).U16(iMajor).U16(0).U32(iTOCOffset).U32(iTOCSize);
}
