// The closed vocabulary of the browser's attributes.
//
// Invariants:
//  1. A tag is identified by its address: ==, != and < compare identity, never names. Tags
//     are not copyable; BDM_AttributeTags owns every one as a member.
//  2. The members stand in the order of the column table; the tag indices follow the order
//     of registration, which puts the persistent and everyday attributes first. An index
//     keys every asset's attribute vector, so it is part of the design: 45 tags, indices 0
//     to 44, each once. A tag's index is -1 only while the table is being built.
//  3. Nothing adds a tag after the table is built.
// Threads: Instance() makes the table on first use without a guard; call it once at
// start-up (BDM_Globals does) before other threads ask.
#pragma once

#include <cstdint>
#include <string>
#include <typeinfo>
#include <vector>

#include "BDM/BDM_Types.h"
#include "Sys_Umid.h"
#include "Time/Time_SMPTE.h"

class BDM_AttributeTags;

class BDM_AttributeTag
{
public:
    BDM_AttributeTag(bool iIndexed) : mIndexed(iIndexed) {}
    virtual ~BDM_AttributeTag() = default;
    BDM_AttributeTag(const BDM_AttributeTag&) = delete;
    BDM_AttributeTag& operator=(const BDM_AttributeTag&) = delete;

    // The run-time type record of the tag's value type.
    virtual const std::type_info& GetValueType() const = 0;

    // The localized column title; empty for the tags that have none.
    std::string GetName() const { return mName; }
    bool IsIndexed() const { return mIndexed; }
    int32_t GetTagIndex() const { return mTagIndex; }

    bool operator==(const BDM_AttributeTag& iOther) const { return this == &iOther; }
    bool operator!=(const BDM_AttributeTag& iOther) const { return this != &iOther; }
    bool operator<(const BDM_AttributeTag& iOther) const { return this < &iOther; }

private:
    friend class BDM_AttributeTags;
    std::string mName;
    bool mIndexed;
    int32_t mTagIndex = -1;
};

template <class T> class BDM_TypedAttributeTag : public BDM_AttributeTag
{
public:
    using ValueType = T;
    using BDM_AttributeTag::BDM_AttributeTag;
    const std::type_info& GetValueType() const override { return typeid(T); }
};

class BDM_AttributeTags
{
public:
    // Made on first use; lives to the end of the process.
    static BDM_AttributeTags* Instance();

    const std::vector<const BDM_AttributeTag*>& GetTags() const { return mTags; }
    int32_t GetCount() const { return int32_t(mTags.size()); }
    // Gives every tag its title from the message table (resources 12NN).
    void InitializeLocalizedAttributeNames();

    const BDM_TypedAttributeTag<std::string> cAssetName{true};
    const BDM_TypedAttributeTag<BDM_EAssetType> cAssetType{true};
    const BDM_TypedAttributeTag<Sys_Umid> cAssetID{true};
    const BDM_TypedAttributeTag<std::string> cAssetComment{true};
    const BDM_TypedAttributeTag<int64_t> cAssetDurationMicroseconds{true};
    const BDM_TypedAttributeTag<int64_t> cAssetTimestamp{true};
    const BDM_TypedAttributeTag<bool> cContainerFlagA{false};
    const BDM_TypedAttributeTag<bool> cContainerFlagB{false};
    const BDM_TypedAttributeTag<bool> cMarkedForDeletion{false};
    const BDM_TypedAttributeTag<BDM_EStatus> cAssetStatus{false};
    const BDM_TypedAttributeTag<BDM_Link> cLink{false};
    const BDM_TypedAttributeTag<void*> cLinkPath{false};
    const BDM_TypedAttributeTag<BDM_Link> cAlias{false};
    const BDM_TypedAttributeTag<std::string> cFileName{true};
    const BDM_TypedAttributeTag<BDM_StringList> cFilePathComponents{true};
    const BDM_TypedAttributeTag<int32_t> cFileVolumeID{true};
    const BDM_TypedAttributeTag<int64_t> cFileDataForkSize{true};
    const BDM_TypedAttributeTag<int64_t> cFileTotalSize{true};
    const BDM_TypedAttributeTag<int64_t> cFileModDate{true};
    const BDM_TypedAttributeTag<int64_t> cFileCreateDate{true};
    const BDM_TypedAttributeTag<std::string> cFileEmbeddedComment{true};
    const BDM_TypedAttributeTag<int64_t> cFileLastIndexedDate{true};
    const BDM_TypedAttributeTag<BDM_EFileFormat> cFileFormat{true};
    const BDM_TypedAttributeTag<std::string> cSpareStringA{false};
    const BDM_TypedAttributeTag<std::string> cSpareStringB{false};
    const BDM_TypedAttributeTag<bool> cFolderIndexedExhaustively{true};
    const BDM_TypedAttributeTag<int64_t> cVolumeCapacity{false};
    const BDM_TypedAttributeTag<int64_t> cVolumeFreeSpace{false};
    const BDM_TypedAttributeTag<BDM_EVolumeDesignation> cAudioDesignation{false};
    const BDM_TypedAttributeTag<BDM_EVolumeDesignation> cVideoDesignation{false};
    const BDM_TypedAttributeTag<int32_t> cAudioFileSampleRate{true};
    const BDM_TypedAttributeTag<int16_t> cAudioFileBitDepth{true};
    const BDM_TypedAttributeTag<int64_t> cAudioFileNumSamples{true};
    const BDM_TypedAttributeTag<int16_t> cAudioFileNumChannels{true};
    const BDM_TypedAttributeTag<FF_AudioOverview::LockingRef> cAudioOverview{false};
    const BDM_TypedAttributeTag<int64_t> cAudioFileEmbeddedFileOffset{true};
    const BDM_TypedAttributeTag<int64_t> cAudioFileOriginalTimestamp{true};
    const BDM_TypedAttributeTag<int64_t> cAudioFileUserTimestamp{true};
    const BDM_TypedAttributeTag<int64_t> cSyncPoint{false};
    const BDM_TypedAttributeTag<std::string> cSourceTapeName{true};
    const BDM_TypedAttributeTag<ETimeCodeFormat> cSourceTapeTimecodeFormat{true};
    const BDM_TypedAttributeTag<int64_t> cTaskPriority{false};
    const BDM_TypedAttributeTag<BDM_TaskProgress> cTaskProgress{false};
    const BDM_TypedAttributeTag<std::string> cTaskStatusMessage{false};
    const BDM_TypedAttributeTag<BDM_TaskProgress::EUnitsType> cTaskProgressUnitsType{false};

private:
    BDM_AttributeTags();
    BDM_AttributeTags(const BDM_AttributeTags&) = delete;
    BDM_AttributeTags& operator=(const BDM_AttributeTags&) = delete;

    void AddTag(const BDM_AttributeTag& iTag);
    static void SetName(const BDM_AttributeTag& iTag, const std::string& iName);

    std::vector<const BDM_AttributeTag*> mTags;
};
