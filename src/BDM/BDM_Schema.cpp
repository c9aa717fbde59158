#include "BDM/BDM_Schema.h"

#include "Cmn_Assert.h"

std::vector<BDM_Schema::Row> BDM_Schema::sSchema;

void BDM_Schema::InitializeSchema()
{
    CMN_ASSERT(sSchema.empty());
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    constexpr bool M = true;  // a user may change it
    constexpr bool R = false; // read only
    std::vector<Row> schema(BDM_cNumAssetTypes);
    schema[BDM_eAssetType_File] = {{&t.cFileName, M}};
    schema[BDM_eAssetType_Folder] = {
        {&t.cFileName, M},          {&t.cFileLastIndexedDate, R}, {&t.cAssetType, R},
        {&t.cAssetComment, M},      {&t.cFileDataForkSize, R},    {&t.cFileCreateDate, R},
        {&t.cFileModDate, R},       {&t.cFilePathComponents, R},  {&t.cAudioFileSampleRate, R},
        {&t.cAudioFileBitDepth, R}, {&t.cAudioFileNumSamples, R}, {&t.cAudioFileNumChannels, R}};
    schema[BDM_eAssetType_Audio] = {{&t.cFileName, M},
                                    {&t.cAssetName, M},
                                    {&t.cAssetType, R},
                                    {&t.cFileDataForkSize, R},
                                    {&t.cAudioFileSampleRate, M},
                                    {&t.cAudioFileBitDepth, R},
                                    {&t.cAudioFileNumSamples, R},
                                    {&t.cAudioFileNumChannels, R},
                                    {&t.cAudioOverview, R},
                                    {&t.cFilePathComponents, R},
                                    {&t.cFileCreateDate, R},
                                    {&t.cFileModDate, R},
                                    {&t.cFileVolumeID, R},
                                    {&t.cFileFormat, R},
                                    {&t.cAssetID, R},
                                    {&t.cSourceTapeName, R},
                                    {&t.cFileEmbeddedComment, M},
                                    {&t.cAssetComment, M},
                                    {&t.cFileLastIndexedDate, R}};
    schema[BDM_eAssetType_Session] = {
        {&t.cFileName, M}, {&t.cFileEmbeddedComment, M}, {&t.cAssetComment, M}};
    schema[BDM_eAssetType_Task] = {
        {&t.cAssetStatus, R}, {&t.cFileName, R}, {&t.cTaskProgress, R}, {&t.cTaskStatusMessage, R}};
    schema[BDM_eAssetType_CatalogRoot] = {{&t.cFileName, M},
                                          {&t.cAudioDesignation, R},
                                          {&t.cVideoDesignation, R},
                                          {&t.cFileLastIndexedDate, R},
                                          {&t.cAssetType, R},
                                          {&t.cAssetComment, M},
                                          {&t.cFileEmbeddedComment, M},
                                          {&t.cFileDataForkSize, R},
                                          {&t.cFileCreateDate, R},
                                          {&t.cFileModDate, R},
                                          {&t.cFileFormat, R},
                                          {&t.cFilePathComponents, R}};
    schema[BDM_eAssetType_VolumeRoot] = {{&t.cFileName, M},          {&t.cAudioDesignation, M},
                                         {&t.cVideoDesignation, M},  {&t.cFileLastIndexedDate, R},
                                         {&t.cVolumeCapacity, R},    {&t.cVolumeFreeSpace, R},
                                         {&t.cAssetType, R},         {&t.cAssetComment, M},
                                         {&t.cFileDataForkSize, R},  {&t.cFileCreateDate, R},
                                         {&t.cFileModDate, R},       {&t.cFileFormat, R},
                                         {&t.cFilePathComponents, R}};
    schema[BDM_eAssetType_Video] = {{&t.cFileName, M}};
    schema[BDM_eAssetType_MediaDocument] = {{&t.cFileName, M}, {&t.cAssetComment, M}};
    sSchema = std::move(schema);
}

const BDM_Schema::Row& BDM_Schema::GetRow(BDM_EAssetType iType)
{
    CMN_ASSERT(!sSchema.empty());
    CMN_ASSERT(iType >= 0 && iType < BDM_cNumAssetTypes);
    return sSchema[size_t(iType)];
}

bool BDM_Schema::HasAttribute(BDM_EAssetType iType, const BDM_AttributeTag& iTag)
{
    return GetRow(iType).count(&iTag) != 0;
}

bool BDM_Schema::AttributeIsModifiable(BDM_EAssetType iType, const BDM_AttributeTag& iTag)
{
    const Row& row = GetRow(iType);
    const auto found = row.find(&iTag);
    CMN_ASSERT(found != row.end());
    return found->second;
}

std::vector<const BDM_AttributeTag*> BDM_Schema::GetAttributes(BDM_EAssetType iType)
{
    std::vector<const BDM_AttributeTag*> tags;
    for (const auto& [tagP, modifiable] : GetRow(iType))
        tags.push_back(tagP);
    return tags;
}
