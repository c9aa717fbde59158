// The browser's persistent preferences, saved as the stream "BDM Prefs" of a document.
//
// Saved form (a standard stream header "BDM Prefs", version 1; numbers in the typed
// stream's byte order, big-endian in a document):
//    int32  count of audio designations, then per volume: uint32 volume ID, int32 value
//    int32  count of video designations, then the same
//    bool   use advanced search
//    bool   suspend non-critical tasks during playback
//    int32  relinker: match flags
//    bool   relinker: search all volumes
// StreamIn trusts no count: a count that is negative or needs more bytes than the block
// holds throws L10N package 2, id 29, as does a block that ends early; a version other than
// 1 throws ids 30 and 31. On any failure the settings are left as they were. Bytes after
// the known fields (a later writer's) are skipped.
//
// Observers: Cmn_Observable<const Sys_Volume> hears a change of a volume's designation,
// Cmn_Observable<const bool> a change of the advanced-search switch.
// Threads: the browser's thread.
#pragma once

#include <cstdint>
#include <map>

#include "BDM/BDM_Types.h"
#include "Cmn_Observable.h"
#include "Cmn_RefCountObject.h"
#include "Sys_Volume.h"

class FF_Document;
class Sys_TypedInStream;
class Sys_TypedOutStream;

// Answers whether a volume may be given a designation (installed by the application).
class BDM_VolumeValidator
{
public:
    virtual ~BDM_VolumeValidator() = default;
    virtual bool IsValid(const Sys_Volume& iVolume, BDM_EVolumeDesignation iDesignation) = 0;
};

// The rules that hold when the application installs no validator of its own:
//   None      always (taking a designation away is never refused);
//   Record,
//   Playback  a mounted, writable, local volume: fixed, removable or RAM disk, never a
//             network share, since a workstation streams audio from and to these in real
//             time;
//   Transfer  any mounted, writable volume, network shares included: files are only copied
//             to and from it;
//   never     a volume that is not mounted, a read-only mount, an optical medium (by volume
//             kind or by file system: ISO 9660, UDF), or a value outside the four above.
class BDM_DefaultVolumeValidator : public BDM_VolumeValidator
{
public:
    bool IsValid(const Sys_Volume& iVolume, BDM_EVolumeDesignation iDesignation) override;
};

class BDM_Settings : public Cmn_RefCountObject,
                     public Cmn_Observable<const Sys_Volume>,
                     public Cmn_Observable<const bool>
{
public:
    static constexpr const char* cStreamName = "BDM Prefs";
    static constexpr int16_t cVersion = 1;

    struct RelinkerSettings
    {
        int32_t mMatchFlags = 0;
        bool mSearchAllVolumes = false;
        bool operator==(const RelinkerSettings&) const = default;
    };

    BDM_EVolumeDesignation GetAudioVolumeDesignation(const Sys_Volume& iVolume) const;
    BDM_EVolumeDesignation GetVideoVolumeDesignation(const Sys_Volume& iVolume) const;
    // A designation the validator refuses is not set (false). Designations read from a
    // saved stream are taken as they stand.
    bool SetAudioVolumeDesignation(const Sys_Volume& iVolume, BDM_EVolumeDesignation iValue);
    bool SetVideoVolumeDesignation(const Sys_Volume& iVolume, BDM_EVolumeDesignation iValue);
    const RelinkerSettings& GetRelinkerSettings() const { return mRelinker; }
    void SetRelinkerSettings(const RelinkerSettings& iSettings) { mRelinker = iSettings; }
    bool GetUseAdvancedSearch() const { return mUseAdvancedSearch; }
    void SetUseAdvancedSearch(bool iUse);
    bool SuspendNonCriticalTasksDuringPlayback() const { return mSuspendDuringPlayback; }
    void SetSuspendNonCriticalTasksDuringPlayback(bool iSuspend)
    {
        mSuspendDuringPlayback = iSuspend;
    }
    // The application's validator, not owned; null restores BDM_DefaultVolumeValidator.
    void SetVolumeValidator(BDM_VolumeValidator* iValidatorP) { mValidatorP = iValidatorP; }
    BDM_VolumeValidator& GetVolumeValidator() const;

    void StreamOut(Sys_TypedOutStream& ioStream) const;
    void StreamIn(Sys_TypedInStream& ioStream);
    // The document's stream "BDM Prefs"; Read leaves the settings as they are when the
    // document has none.
    void Write(FF_Document& ioDocument) const;
    void Read(FF_Document& ioDocument);

    bool operator==(const BDM_Settings& iOther) const;

private:
    using Designations = std::map<uint32_t, BDM_EVolumeDesignation>;
    bool SetDesignation(Designations& ioMap, const Sys_Volume& iVolume,
                        BDM_EVolumeDesignation iValue);
    static void ReadDesignations(Sys_TypedInStream& ioStream, int64_t iEnd, Designations* oMapP);

    Designations mAudio;
    Designations mVideo;
    RelinkerSettings mRelinker;
    bool mUseAdvancedSearch = false;
    bool mSuspendDuringPlayback = true;
    BDM_VolumeValidator* mValidatorP = nullptr;
};
