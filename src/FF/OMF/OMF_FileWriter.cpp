#include "FF/OMF/OMF_FileWriter.h"

#include "FF/OMF/OMF_Defs.h"
#include "FF/OMF/OMF_Utils.h"
#include "Sys_FileLoc.h"

namespace
{
class Builder
{
public:
    explicit Builder(omfHdl_t iFile) : mFile(iFile) {}

    omfObject_t New(const char* iClass)
    {
        omfObject_t object = 0;
        Check(omfsObjectNew(mFile, iClass, &object), "In omfsObjectNew");
        return object;
    }
    template <class T> void Put(omfObject_t iObj, omfProperty_t iProp, omfType_t iType, const T& iValue)
    {
        Check(OMWriteBaseProp(mFile, iObj, iProp, iType, sizeof(T), &iValue), "In OMWriteBaseProp");
    }
    void PutID(omfObject_t iObj, omfProperty_t iProp, const omfUID_t& iID)
    {
        const int32_t words[3] = {iID.prefix, static_cast<int32_t>(iID.major), static_cast<int32_t>(iID.minor)};
        Check(OMWriteBaseProp(mFile, iObj, iProp, OMUID, 12, words), "In OMWriteBaseProp");
    }
    void PutData(omfObject_t iObj, omfProperty_t iProp, const std::vector<uint8_t>& iBytes)
    {
        Check(OMWriteBaseProp(mFile, iObj, iProp, OMDataValue, static_cast<int32_t>(iBytes.size()), iBytes.data()),
              "In OMWriteBaseProp");
    }
    void PutText(omfObject_t iObj, omfProperty_t iProp, const std::string& iText)
    {
        Check(omfsWriteString(mFile, iObj, iProp, iText), "In omfsWriteString");
    }
    void Ref(omfObject_t iObj, omfProperty_t iProp, omfObject_t iTarget)
    {
        Check(omfsWriteObjRef(mFile, iObj, iProp, iTarget), "In omfsWriteObjRef");
    }
    void Append(omfObject_t iObj, omfProperty_t iProp, omfObject_t iTarget)
    {
        Check(omfsAppendObjRefArray(mFile, iObj, iProp, iTarget), "In omfsAppendObjRefArray");
    }
    void Index(omfObject_t iObj, omfProperty_t iProp, const omfUID_t& iID, omfObject_t iTarget)
    {
        Check(omfsAppendObjIndex(mFile, iObj, iProp, iID, iTarget), "In omfsAppendObjIndex");
    }
    void Check(omfErr_t iErr, const char* iContext) { OMF_Utils::ThrowIfErr(iErr, iContext, mFile); }

    omfHdl_t mFile;
};

const omfRational_t cRate{48000, 1};

omfRational_t RateOf(const OMF_FileSpec::Media& iMedia)
{
    return omfRational_t{iMedia.mSampleRate, 1};
}

// The file mob, its media data (the bytes as they are) and the master mob of one medium.
void EmbedMedia(Builder& b, const OMF_FileSpec::Media& iMedia)
{
    const omfHdl_t file = b.mFile;
    omfObject_t fileMob = 0, master = 0;
    b.Check(omfmFileMobNew(file, iMedia.mName, RateOf(iMedia), iMedia.mType == eAudioFileType_WAVE ? "WAVE" : "AIFC",
                           &fileMob),
            "In omfmFileMobNew");
    b.Check(omfiMobSetIdentity(file, fileMob, iMedia.mSourceID), "In omfiMobSetIdentity");
    b.Check(omfmMasterMobNew(file, iMedia.mName, false, &master), "In omfmMasterMobNew");
    b.Check(omfiMobSetIdentity(file, master, iMedia.mMasterID), "In omfiMobSetIdentity");
    b.Put(master, OMF_Defs::OMMOBJAppCode, OMInt32, OMF_Defs::AC_MASTER);
    omfMediaHdl_t media = nullptr;
    b.Check(omfmAudioMediaCreate(file, master, fileMob, RateOf(iMedia), iMedia.mBits, iMedia.mChannels, &media),
            "In omfmAudioMediaCreate");
    b.Check(omfmWriteRawData(media, iMedia.mLength, iMedia.mBytes.data(), static_cast<int32_t>(iMedia.mBytes.size())),
            "In omfmWriteRawData");
    b.Check(omfmMediaClose(media), "In omfmMediaClose");
}

void Write2x(Builder& b, omfObject_t iHead, const OMF_FileSpec& iSpec)
{
    const omfObject_t ident = b.New("IDNT");
    b.PutText(ident, OMIDNTCompanyName, "Tarnwright");
    b.PutText(ident, OMIDNTProductName, "mirafile");
    b.Append(iHead, OMHEADIdentList, ident);
    const omfObject_t sound = b.New("DDEF");
    b.PutText(sound, OMDDEFDataKindID, "omfi:data:Sound");
    b.Append(iHead, OMHEADDefinitionObjects, sound);
    auto slot = [&](omfObject_t iMob, omfObject_t iSegment, uint32_t iTrack, const omfRational_t& iRate) {
        const omfObject_t desc = b.New("TRKD");
        b.Put(desc, OMTRKDTrackID, OMUInt32, iTrack);
        b.Put(desc, OMTRKDOrigin, OMPosition32, int32_t(0));
        const omfObject_t mslt = b.New("MSLT");
        b.Ref(mslt, OMMSLTSegment, iSegment);
        b.Put(mslt, OMMSLTEditRate, OMRational, iRate);
        b.Ref(mslt, OMMSLTTrackDesc, desc);
        b.Append(iMob, OMMOBJSlots, mslt);
    };
    auto clip = [&](const omfUID_t& iSource, uint32_t iTrack, int32_t iStart, int32_t iLength) {
        const omfObject_t sclp = b.New("SCLP");
        b.Ref(sclp, OMCPNTDatakind, sound);
        b.Put(sclp, OMCPNTLength, OMLength32, iLength);
        b.PutID(sclp, OMSCLPSourceID, iSource);
        b.Put(sclp, OMSCLPSourceTrackID, OMUInt32, iTrack);
        b.Put(sclp, OMSCLPStartTime, OMPosition32, iStart);
        return sclp;
    };
    for (const OMF_FileSpec::Media& media : iSpec.mMedia)
        EmbedMedia(b, media);
    for (const OMF_FileSpec::Composition& composition : iSpec.mCompositions)
    {
        const omfObject_t mob = b.New("CMOB");
        b.PutID(mob, OMMOBJMobID, composition.mID);
        b.PutText(mob, OMMOBJName, composition.mName);
        uint32_t track = 0;
        for (const auto& clips : composition.mTracks)
        {
            const omfObject_t sequence = b.New("SEQU");
            b.Ref(sequence, OMCPNTDatakind, sound);
            int32_t length = 0;
            for (const OMF_FileSpec::Clip& c : clips)
            {
                b.Append(sequence, OMSEQUComponents, clip(iSpec.mMedia.at(c.mMedia).mMasterID, 1, c.mStart, c.mLength));
                length += c.mLength;
            }
            b.Put(sequence, OMCPNTLength, OMLength32, length);
            slot(mob, sequence, ++track, cRate);
        }
        b.Append(iHead, OMHEADMobs, mob);
        b.Append(iHead, OMHEADPrimaryMobs, mob);
    }
}

void Write1x(Builder& b, omfObject_t iHead, const OMF_FileSpec& iSpec)
{
    auto track = [&](omfObject_t iMob, omfObject_t iComponent, int16_t iLabel) {
        const omfObject_t trak = b.New("TRAK");
        b.Put(trak, OMTRAKLabelNumber, OMInt16, iLabel);
        b.Ref(trak, OMTRAKTrackComponent, iComponent);
        b.Append(iMob, OMTRKGTracks, trak);
    };
    auto clip = [&](const omfUID_t& iSource, int16_t iTrack, int32_t iStart, int32_t iLength, const omfRational_t& iRate) {
        const omfObject_t sclp = b.New("SCLP");
        b.Put(sclp, OMCPNTTrackKind, OMTrackType, int16_t(2)); // audio
        b.Put(sclp, OMCPNTEditRate, OMExactEditRate, iRate);
        b.Put(sclp, OMCLIPLength, OMInt32, iLength);
        b.PutID(sclp, OMSCLPSourceID1x, iSource);
        b.Put(sclp, OMSCLPSourceTrack, OMInt16, iTrack);
        b.Put(sclp, OMSCLPSourcePosition, OMInt32, iStart);
        return sclp;
    };
    auto mob = [&](const omfUID_t& iID, const std::string& iName) {
        const omfObject_t m = b.New("MOBJ");
        b.PutID(m, OMMOBJMobID1x, iID);
        b.PutText(m, OMCPNTName, iName);
        b.Put(m, OMCPNTTrackKind, OMTrackType, int16_t(2));
        b.Append(iHead, OMObjectSpine, m);
        return m;
    };
    for (const OMF_FileSpec::Media& media : iSpec.mMedia)
        EmbedMedia(b, media);
    for (const OMF_FileSpec::Composition& composition : iSpec.mCompositions)
    {
        const omfObject_t m = mob(composition.mID, composition.mName);
        int16_t label = 0;
        for (const auto& clips : composition.mTracks)
        {
            const omfObject_t sequence = b.New("SEQU");
            b.Put(sequence, OMCPNTTrackKind, OMTrackType, int16_t(2));
            b.Put(sequence, OMCPNTEditRate, OMExactEditRate, cRate);
            for (const OMF_FileSpec::Clip& c : clips)
                b.Append(sequence, OMSEQUSequence, clip(iSpec.mMedia.at(c.mMedia).mMasterID, 1, c.mStart, c.mLength, cRate));
            track(m, sequence, ++label);
        }
        b.Index(iHead, OMCompositionMobs, composition.mID, m);
    }
}
} // namespace

void OMF_WriteFile(const Sys_FileLoc& iLoc, const OMF_FileSpec& iSpec)
{
    omfHdl_t file = nullptr;
    OMF_Utils::ThrowIfErr(omfsCreateFile(iLoc, OMF_Utils::GetSession(), iSpec.mRev, &file), "In omfsCreateFile");
    try
    {
        Builder b(file);
        b.Check(omfsSetByteOrder(file, iSpec.mBigEndian), "In omfsSetByteOrder");
        if (iSpec.mContainerForm)
            b.Check(omfsSetContainerForm(file, iSpec.mContainerForm), "In omfsSetContainerForm");
        if (iSpec.mMaxSegment)
            b.Check(omfsSetMaxSegment(file, iSpec.mMaxSegment), "In omfsSetMaxSegment");
        omfObject_t head = 0;
        b.Check(omfsGetHeadObject(file, &head), "In omfsGetHeadObject");
        if (iSpec.mRev == kOmfRev1x)
            Write1x(b, head, iSpec);
        else
            Write2x(b, head, iSpec);
    }
    catch (...)
    {
        omfsDiscardFile(file); // nothing is written
        throw;
    }
    OMF_Utils::ThrowIfErr(omfsCloseFile(file), "In omfsCloseFile");
}
