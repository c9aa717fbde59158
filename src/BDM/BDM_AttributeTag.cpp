#include "BDM/BDM_AttributeTag.h"

#include "Cmn_Assert.h"
#include "L10N_Utils.h"

BDM_AttributeTags* BDM_AttributeTags::Instance()
{
    static BDM_AttributeTags* sInstanceP = new BDM_AttributeTags;
    return sInstanceP;
}

BDM_AttributeTags::BDM_AttributeTags()
{
    // Registration order: the persistent and everyday attributes first.
    const BDM_AttributeTag* order[] = {&cAssetName,
                                       &cAssetType,
                                       &cAssetID,
                                       &cLink,
                                       &cAlias,
                                       &cFileName,
                                       &cFilePathComponents,
                                       &cFileVolumeID,
                                       &cFileTotalSize,
                                       &cFileModDate,
                                       &cFileCreateDate,
                                       &cFileEmbeddedComment,
                                       &cFileLastIndexedDate,
                                       &cFileFormat,
                                       &cAudioFileSampleRate,
                                       &cAudioFileBitDepth,
                                       &cAudioFileNumSamples,
                                       &cAudioFileNumChannels,
                                       &cAudioFileEmbeddedFileOffset,
                                       &cAudioFileOriginalTimestamp,
                                       &cAudioFileUserTimestamp,
                                       &cAudioOverview,
                                       &cSourceTapeName,
                                       &cSourceTapeTimecodeFormat,
                                       &cTaskPriority,
                                       &cAssetComment,
                                       &cAssetDurationMicroseconds,
                                       &cAssetStatus,
                                       &cTaskProgress,
                                       &cTaskStatusMessage,
                                       &cVolumeCapacity,
                                       &cVolumeFreeSpace,
                                       &cAudioDesignation,
                                       &cVideoDesignation,
                                       &cTaskProgressUnitsType,
                                       &cFolderIndexedExhaustively,
                                       &cAssetTimestamp,
                                       &cContainerFlagA,
                                       &cSyncPoint,
                                       &cContainerFlagB,
                                       &cSpareStringA,
                                       &cFileDataForkSize,
                                       &cLinkPath,
                                       &cMarkedForDeletion,
                                       &cSpareStringB};
    mTags.reserve(std::size(order));
    for (const BDM_AttributeTag* tagP : order)
        AddTag(*tagP);
}

void BDM_AttributeTags::AddTag(const BDM_AttributeTag& iTag)
{
    CMN_ASSERT(iTag.mTagIndex == -1);
    const_cast<BDM_AttributeTag&>(iTag).mTagIndex = int32_t(mTags.size());
    mTags.push_back(&iTag);
}

void BDM_AttributeTags::SetName(const BDM_AttributeTag& iTag, const std::string& iName)
{
    const_cast<BDM_AttributeTag&>(iTag).mName = iName;
}

void BDM_AttributeTags::InitializeLocalizedAttributeNames()
{
    const std::pair<const BDM_AttributeTag*, int32_t> titles[] = {
        {&cAssetName, 1201},
        {&cAssetType, 1202},
        {&cAssetID, 1203},
        {&cAssetComment, 1204},
        {&cAssetStatus, 1205},
        {&cAssetDurationMicroseconds, 1207},
        {&cFileName, 1208},
        {&cFilePathComponents, 1209},
        {&cFileVolumeID, 1210},
        {&cFileDataForkSize, 1211},
        {&cFileTotalSize, 1211},
        {&cFileModDate, 1212},
        {&cFileCreateDate, 1213},
        {&cFileEmbeddedComment, 1214},
        {&cFileLastIndexedDate, 1215},
        {&cFileFormat, 1216},
        {&cAudioFileSampleRate, 1217},
        {&cAudioFileBitDepth, 1218},
        {&cAudioFileNumSamples, 1219},
        {&cAudioFileNumChannels, 1220},
        {&cAudioOverview, 1221},
        {&cAudioFileOriginalTimestamp, 1222},
        {&cAudioFileUserTimestamp, 1223},
        {&cSourceTapeName, 1224},
        {&cSourceTapeTimecodeFormat, 1225},
        {&cTaskPriority, 1226},
        {&cTaskProgress, 1227},
        {&cTaskStatusMessage, 1228},
        {&cVolumeCapacity, 1229},
        {&cVolumeFreeSpace, 1230},
        {&cAudioDesignation, 1231},
        {&cVideoDesignation, 1232},
        {&cLinkPath, 1234},
        {&cSyncPoint, 1286},
    };
    for (const auto& [tagP, resourceID] : titles)
        SetName(*tagP, L10N_Utils::GetResourceString(resourceID));
    // Not localized.
    SetName(cAudioFileEmbeddedFileOffset, "Audio File Embedded Offset");
}
