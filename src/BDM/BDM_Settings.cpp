#include "BDM/BDM_Settings.h"

#include "Cmn_MemBufferStream.h"
#include "FF/FF_Document.h"
#include "L10N_ExceptionData.h"
#include "Sys_StdStreamHeader.h"
#include "Sys_TypedStream.h"

namespace
{
constexpr int32_t cSysPackage = 2;
constexpr int32_t cSizeMismatch = 29; // "size of header doesn't match amount of data read"
constexpr int64_t cDesignationBytes = 8;
constexpr int64_t cTailBytes = 1 + 1 + 4 + 1;
} // namespace

BDM_EVolumeDesignation BDM_Settings::GetAudioVolumeDesignation(const Sys_Volume& iVolume) const
{
    const auto found = mAudio.find(iVolume.GetID());
    return found == mAudio.end() ? BDM_eVolumeDesignation_None : found->second;
}

BDM_EVolumeDesignation BDM_Settings::GetVideoVolumeDesignation(const Sys_Volume& iVolume) const
{
    const auto found = mVideo.find(iVolume.GetID());
    return found == mVideo.end() ? BDM_eVolumeDesignation_None : found->second;
}

bool BDM_DefaultVolumeValidator::IsValid(const Sys_Volume& iVolume,
                                         BDM_EVolumeDesignation iDesignation)
{
    if (iDesignation == BDM_eVolumeDesignation_None)
        return true;
    if (!iVolume.IsMounted() || iVolume.IsLocked())
        return false;
    const Sys_Volume::EVolumeType kind = iVolume.GetVolumeType();
    if (kind == Sys_Volume::eVolumeType_CDROM ||
        iVolume.GetFileSystemType() == Sys_Volume::eFileSystemType_CDFS)
        return false;
    switch (iDesignation)
    {
    case BDM_eVolumeDesignation_Record:
    case BDM_eVolumeDesignation_Playback:
        return kind == Sys_Volume::eVolumeType_Fixed || kind == Sys_Volume::eVolumeType_Removable ||
               kind == Sys_Volume::eVolumeType_RAMDisk;
    case BDM_eVolumeDesignation_Transfer:
        return true;
    default:
        return false;
    }
}

BDM_VolumeValidator& BDM_Settings::GetVolumeValidator() const
{
    static BDM_DefaultVolumeValidator sDefault;
    return mValidatorP ? *mValidatorP : sDefault;
}

bool BDM_Settings::SetDesignation(Designations& ioMap, const Sys_Volume& iVolume,
                                  BDM_EVolumeDesignation iValue)
{
    if (!GetVolumeValidator().IsValid(iVolume, iValue))
        return false;
    BDM_EVolumeDesignation& slot = ioMap[iVolume.GetID()];
    const bool changed = slot != iValue;
    slot = iValue;
    if (changed)
        Cmn_Observable<const Sys_Volume>::NotifyObservers(iVolume);
    return true;
}

bool BDM_Settings::SetAudioVolumeDesignation(const Sys_Volume& iVolume,
                                             BDM_EVolumeDesignation iValue)
{
    return SetDesignation(mAudio, iVolume, iValue);
}

bool BDM_Settings::SetVideoVolumeDesignation(const Sys_Volume& iVolume,
                                             BDM_EVolumeDesignation iValue)
{
    return SetDesignation(mVideo, iVolume, iValue);
}

void BDM_Settings::SetUseAdvancedSearch(bool iUse)
{
    if (iUse == mUseAdvancedSearch)
        return;
    mUseAdvancedSearch = iUse;
    const bool value = iUse;
    Cmn_Observable<const bool>::NotifyObservers(value);
}

void BDM_Settings::StreamOut(Sys_TypedOutStream& ioStream) const
{
    Sys_StdStreamHeaderWriter header(ioStream, cStreamName, cVersion);
    for (const Designations* mapP : {&mAudio, &mVideo})
    {
        ioStream.Write(int32_t(mapP->size()));
        for (const auto& [id, value] : *mapP)
        {
            ioStream.Write(id);
            ioStream.Write(int32_t(value));
        }
    }
    ioStream.Write(mUseAdvancedSearch);
    ioStream.Write(mSuspendDuringPlayback);
    ioStream.Write(mRelinker.mMatchFlags);
    ioStream.Write(mRelinker.mSearchAllVolumes);
    header.PatchSize();
}

void BDM_Settings::ReadDesignations(Sys_TypedInStream& ioStream, int64_t iEnd, Designations* oMapP)
{
    const int32_t count = ioStream.Read<int32_t>();
    if (count < 0 || int64_t(count) * cDesignationBytes > iEnd - ioStream.GetPos())
        L10N_Throw(cSysPackage, cSizeMismatch);
    for (int32_t i = 0; i < count; ++i)
    {
        const uint32_t id = ioStream.Read<uint32_t>();
        (*oMapP)[id] = BDM_EVolumeDesignation(ioStream.Read<int32_t>());
    }
}

void BDM_Settings::StreamIn(Sys_TypedInStream& ioStream)
{
    Sys_StdStreamHeaderReader header(ioStream, cStreamName);
    header.CheckVersion(cVersion, cVersion);
    const int64_t end = header.GetDataEndPos();
    Designations audio, video;
    ReadDesignations(ioStream, end, &audio);
    ReadDesignations(ioStream, end, &video);
    if (end - ioStream.GetPos() < cTailBytes)
        L10N_Throw(cSysPackage, cSizeMismatch);
    const bool advanced = ioStream.Read<bool>();
    const bool suspend = ioStream.Read<bool>();
    RelinkerSettings relinker;
    relinker.mMatchFlags = ioStream.Read<int32_t>();
    relinker.mSearchAllVolumes = ioStream.Read<bool>();
    header.SkipTheRest();
    mAudio.swap(audio);
    mVideo.swap(video);
    mUseAdvancedSearch = advanced;
    mSuspendDuringPlayback = suspend;
    mRelinker = relinker;
}

void BDM_Settings::Write(FF_Document& ioDocument) const
{
    Cmn_MemBufferOutStream bytes;
    Sys_CrossPlatformOutStream out(&bytes);
    StreamOut(out);
    ioDocument.WriteStream(cStreamName, bytes.GetBuffer(), bytes.GetEndPos());
}

void BDM_Settings::Read(FF_Document& ioDocument)
{
    if (!ioDocument.HasStream(cStreamName))
        return;
    std::unique_ptr<FF_Document::StreamBytes> bytes = ioDocument.ReadStream(cStreamName);
    Sys_CrossPlatformInStream in(bytes.get());
    StreamIn(in);
}

bool BDM_Settings::operator==(const BDM_Settings& iOther) const
{
    return mAudio == iOther.mAudio && mVideo == iOther.mVideo && mRelinker == iOther.mRelinker &&
           mUseAdvancedSearch == iOther.mUseAdvancedSearch &&
           mSuspendDuringPlayback == iOther.mSuspendDuringPlayback;
}
