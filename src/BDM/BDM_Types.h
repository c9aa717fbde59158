// The value types of the browser's attributes: asset kinds, states, formats, links, progress.
//
// BDM_ValueLess and BDM_ValueEqual are the order and equality that typed attributes and
// detached values use for each value type. A link has no meaningful equality or order:
// comparing two links fails the assertion "false" (callers compare the links' keys).
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "Cmn_RefCountObject.h"
#include "FF/Audio/Processing/Overview/FF_AudioOverview.h"

class BDM_Bin;
class BDM_Key;

enum BDM_EAssetType : int32_t
{
    BDM_eAssetType_File = 0,
    BDM_eAssetType_Folder = 1,
    BDM_eAssetType_Audio = 2,
    BDM_eAssetType_Session = 3,
    BDM_eAssetType_Group = 4,
    BDM_eAssetType_Task = 5,
    BDM_eAssetType_CatalogRoot = 6,
    BDM_eAssetType_VolumeRoot = 7,
    BDM_eAssetType_Root = 8,
    BDM_eAssetType_Video = 9,
    BDM_eAssetType_FileSystemAlias = 10,
    BDM_eAssetType_MediaDocument = 11,
    BDM_eAssetType_AafDocument = 12
};
inline constexpr int32_t BDM_cNumAssetTypes = 13;

// What the column "S" shows.
enum BDM_EStatus : int32_t
{
    BDM_eStatus_Idle = 0,
    BDM_eStatus_Loaded = 1,
    BDM_eStatus_Queued = 2,
    BDM_eStatus_Paused = 3,
    BDM_eStatus_Begun = 4,
    BDM_eStatus_Running = 5
};

// What a volume is used for, per medium.
enum BDM_EVolumeDesignation : int32_t
{
    BDM_eVolumeDesignation_None = 0,
    BDM_eVolumeDesignation_Record = 1,
    BDM_eVolumeDesignation_Playback = 2,
    BDM_eVolumeDesignation_Transfer = 3
};

// 0 unknown; 1000 + an audio file type id; 1500 and 1501 the movie containers; 2003 to 2007
// the session generations.
enum BDM_EFileFormat : int32_t
{
    BDM_eFileFormat_Unknown = 0,
    BDM_eFileFormat_AudioBase = 1000,
    BDM_eFileFormat_Movie = 1500,
    BDM_eFileFormat_AVI = 1501
};

struct BDM_TaskProgress
{
    enum EUnitsType : int32_t
    {
        eUnitsType_Undefined = 0,
        eUnitsType_Files = 1,
        eUnitsType_Bytes = 2,
        eUnitsType_Samples = 3
    };

    int64_t mUnitsToComplete = 0;
    int64_t mUnitsCompleted = 0;

    bool operator==(const BDM_TaskProgress&) const = default;
    bool operator<(const BDM_TaskProgress& iOther) const
    {
        return mUnitsToComplete != iOther.mUnitsToComplete
                   ? mUnitsToComplete < iOther.mUnitsToComplete
                   : mUnitsCompleted < iOther.mUnitsCompleted;
    }
};

// Counting for handles of classes that are incomplete here.
struct BDM_BinRefCountHack
{
    static void AddReference(BDM_Bin* iP);
    static void RemoveReference(BDM_Bin* iP);
};
struct BDM_KeyRefCountHack
{
    static void AddReference(BDM_Key* iP);
    static void RemoveReference(BDM_Key* iP);
};
using BDM_BinHandle = Cmn_AliasedRefCountPtr<BDM_Bin, BDM_Bin*, BDM_BinRefCountHack>;
using BDM_KeyHandle = Cmn_AliasedRefCountPtr<BDM_Key, BDM_Key*, BDM_KeyRefCountHack>;

// Where an item lives: its bin and its key. Either may be null; unset has both null.
struct BDM_Link
{
    BDM_BinHandle mBin;
    BDM_KeyHandle mKey;

    bool IsSet() const { return mBin || mKey; }
};

using BDM_StringList = std::list<std::string>;

// Order and equality per value type.
template <class T> bool BDM_ValueLess(const T& iLhs, const T& iRhs)
{
    return iLhs < iRhs;
}
template <class T> bool BDM_ValueEqual(const T& iLhs, const T& iRhs)
{
    return iLhs == iRhs;
}
template <> bool BDM_ValueLess(const BDM_Link& iLhs, const BDM_Link& iRhs);
template <> bool BDM_ValueEqual(const BDM_Link& iLhs, const BDM_Link& iRhs);
// Overviews order by their store, so that one overview is equal only to itself.
template <>
bool BDM_ValueLess(const FF_AudioOverview::LockingRef& iLhs,
                   const FF_AudioOverview::LockingRef& iRhs);
template <>
bool BDM_ValueEqual(const FF_AudioOverview::LockingRef& iLhs,
                    const FF_AudioOverview::LockingRef& iRhs);
