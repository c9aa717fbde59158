// An interchange file (OMF, AAF, MXF, ...) as the translation sees it. Each file kind
// derives from Iop_File; the base supplies empty forms of the ten operations that not every
// kind has (from GetMediaLocation on): they answer "nothing found" or do nothing.
// Held through Cmn_AliasedRefCountPtr<Iop_File>; one thread at a time.
#pragma once

#include <cstdint>
#include <list>
#include <set>
#include <string>
#include <vector>

#include "Cmn_RefCountObject.h"
#include "FF/Audio/FF_AudioTypes.h"
#include "Iop/Iop_MobInfo.h"
#include "Iop/Iop_SeqElem.h"
#include "Iop/Iop_Types.h"
#include "Sys_FileLoc.h"
#include "Sys_Umid.h"
#include "Time/Time_SMPTE.h"

class FF_AudioFile;

// Orders folders in a media search: by volume, then path.
class Iop_FolderKey
{
public:
    Iop_FolderKey() = default;
    explicit Iop_FolderKey(const Sys_FileLoc& iFolder);
    bool operator<(const Iop_FolderKey& iOther) const;
    const std::string& GetPath() const { return mPath; }

private:
    std::string mPath;
};

class Iop_File : public Cmn_RefCountObject
{
public:
    enum EFileType : int32_t
    {
        eFileType_Unknown = 0,
        eFileType_OMF1x = 1,
        eFileType_OMF2x = 2,
        eFileType_AAF = 3,
        eFileType_MXF = 4
    };
    enum EEditRate : int32_t
    {
        eEditRate_Unknown = 0,
        eEditRate_23976 = 1,
        eEditRate_24 = 2,
        eEditRate_25 = 3,
        eEditRate_2997 = 4,
        eEditRate_30 = 5
    };
    enum EMobType : int32_t
    {
        eMobType_Unknown = 0,
        eMobType_Composition = 1,
        eMobType_Master = 2,
        eMobType_File = 3,
        eMobType_Tape = 4,
        eMobType_Film = 5
    };
    enum EAppCode : int32_t
    {
        eAppCode_None = 0,
        eAppCode_Master = 1,
        eAppCode_Subclip = 2,
        eAppCode_Effect = 3,
        eAppCode_Group = 4,
        eAppCode_Other = 5
    };
    enum EAudioMediaType : int32_t
    {
        eAudioMediaType_Unknown = 0,
        eAudioMediaType_WAVE = 1,
        eAudioMediaType_AIFC = 2,
        eAudioMediaType_QSII = 3,
        eAudioMediaType_External = 4
    };
    enum ELocateResult : int32_t
    {
        eLocateResult_Found = 0,
        eLocateResult_NotFound = 1,
        eLocateResult_Skipped = 2,
        eLocateResult_Cancelled = 3
    };
    enum EExportFormat : int32_t
    {
        eExportFormat_None = 0,
        eExportFormat_OMF2x = 1,
        eExportFormat_OMF1x = 2,
        eExportFormat_AAF = 3
    };

    // One track, described before it is read (for the settings dialog).
    struct TrackDescription
    {
        std::string mName;
        int32_t mTrackID = 0;
        Iop_Sequence::ESequenceType mType = Iop_Sequence::eSequenceType_Audio;
        int32_t mNumChannels = 1;
        bool operator==(const TrackDescription&) const = default;
    };

    ~Iop_File() override = default;

    virtual EFileType GetFileType() = 0;
    virtual ETimeCodeFormat GetTimeCodeFormat() = 0;
    virtual void SetTimeCodeFormat(ETimeCodeFormat iFormat) = 0;
    virtual EEditRate GetEditRate() = 0;
    virtual void SetEditRate(EEditRate iRate) = 0;
    virtual int64_t GetStartFrame(omfRational_t* oRate, omfUID_t* oMob) = 0;
    virtual void SetStartFrame(int64_t iFrame) = 0;
    virtual int32_t GetAudioSampleRate() = 0;
    virtual void SetAudioSampleRate(int32_t iRate) = 0;
    virtual void GetAudioSampleRateList(std::set<int32_t>* oRates) = 0;
    virtual int16_t GetAudioBitDepth() = 0;
    virtual void SetAudioBitDepth(int16_t iDepth) = 0;
    virtual void GetAudioBitDepthList(std::set<int16_t>* oDepths) = 0;
    virtual void GetAudioMediaTypes(std::set<EAudioMediaType>* oTypes) = 0;
    virtual bool ContainsEmbeddedVideoMedia() = 0;
    virtual bool ContainsEmbeddedAudioMedia() = 0;
    virtual std::string GetDescription() = 0;
    virtual Sys_FileLoc GetFileLoc() = 0;
    virtual void GetTrackDescriptions(std::vector<TrackDescription>* oTracks) = 0;
    virtual void ReadSequences(std::vector<Iop_Sequence>* oSequences) = 0;
    virtual void WriteSequences(std::vector<Iop_Sequence>& ioSequences) = 0;
    virtual ELocateResult LocateAudioFile(const Sys_Umid& iID,
                                          Cmn_AliasedRefCountPtr<FF_AudioFile>* oFile) = 0;
    virtual ELocateResult LocateVideoFile(const Sys_Umid& iID, Sys_FileLoc* oLoc) = 0;
    virtual void GetBlessedAudioFileFolders(std::list<Sys_FileLoc>* oFolders) = 0;
    virtual void GetBlessedVideoFileFolders(std::list<Sys_FileLoc>* oFolders) = 0;
    virtual void CreateAudioFileReference(const Sys_Umid& iID, const Sys_FileLoc& iLoc) = 0;
    virtual void CreateVideoFileReference(const Sys_Umid& iID, const Sys_FileLoc& iLoc) = 0;

    // false: no location known.
    virtual bool GetMediaLocation(const Sys_Umid& iMob, const Sys_Umid& iSourceMob,
                                  Sys_FileLoc* oLoc, int64_t* oOffset, int64_t* oLength,
                                  std::string* oName) = 0;

    // ---- empty forms: a file kind overrides what it has ---------------------------------
    virtual std::string GetPrimaryMobName();
    virtual EMobType GetPrimaryMobType();
    virtual EAppCode GetPrimaryMobAppCode();
    virtual omfUID_t GetPrimaryMobID();
    virtual std::string GetPrimaryMobTapeID();
    virtual std::string GetPrimaryMobUrn();
    // false: the media is not in a file of its own that this kind knows.
    virtual bool GetSourceFileLoc(const Sys_Umid& iID, Sys_FileLoc* oLoc, int64_t* oOffset,
                                  int64_t* oLength);
    // false: unknown; otherwise the type and whether it is embedded.
    virtual bool GetAudioFileInfo(const Sys_Umid& iID, EAudioFileType* oType,
                                  signed char* oEmbedded);
    // The recorder is not owned; the base records nothing and ignores it.
    virtual void AddMobInfoRecorder(Iop_MobInfoRecorder* iRecorder);
    virtual void RemoveMobInfoRecorder(Iop_MobInfoRecorder* iRecorder);
};
