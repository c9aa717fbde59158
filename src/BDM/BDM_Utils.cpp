#include "BDM/BDM_Utils.h"

#include <cctype>
#include <list>
#include <map>
#include <typeindex>

#include "BDM/BDM_Bin.h"
#include "Cmn_Assert.h"
#include "FF/Audio/FF_AudioFile.h"
#include "L10N_Utils.h"
#include "Sys_CompatibilityUtils.h"
#include "Tarn_FileTypes.h"

namespace
{
char Fold(char iChar)
{
    return (iChar >= 'A' && iChar <= 'Z') ? char(iChar - 'A' + 'a') : iChar;
}

Sys_FileType AudioType(int32_t iAudioFileType)
{
    return FF_AudioFile::FileTypeFromAudioFileType(EAudioFileType(iAudioFileType));
}
} // namespace

bool BDM_Utils::IsAssetContainerType(BDM_EAssetType iType)
{
    return iType == BDM_eAssetType_Folder || iType == BDM_eAssetType_Group ||
           iType == BDM_eAssetType_Task || iType == BDM_eAssetType_CatalogRoot ||
           iType == BDM_eAssetType_VolumeRoot || iType == BDM_eAssetType_Root;
}

std::vector<Sys_FileType> BDM_Utils::FilterFromFileFormat(BDM_EFileFormat iFormat)
{
    Tarn_FileTypes::Initialize();
    switch (int32_t(iFormat))
    {
    case 1002:
    case 1003:
    case 1007:
    case 1008:
    case 1009:
    case 1010:
    case 1017:
        return {AudioType(int32_t(iFormat) - 1000)};
    case 1004:
    case 1005:
        return {AudioType(eAudioFileType_AIFF)};
    case 1500:
    case 2002:
        return {AudioType(eAudioFileType_OMF)};
    case 1501:
        return {Tarn_FileTypes::cAVIFileType};
    case 2003:
        return {Tarn_FileTypes::cSession32FileType};
    case 2004:
        return {Tarn_FileTypes::cSession4_16BitFileType};
    case 2005:
        return {Tarn_FileTypes::cSession4_24BitFileType};
    case 2006:
        return {Tarn_FileTypes::cSession50FileType};
    case 2007:
        return {Tarn_FileTypes::cSessionFileType};
    default:
        return {};
    }
}

std::vector<Sys_FileType> BDM_Utils::FilterFromAssetType(BDM_EAssetType iType)
{
    Tarn_FileTypes::Initialize();
    switch (iType)
    {
    case BDM_eAssetType_File:
        return AllFilesFilter();
    case BDM_eAssetType_Folder:
        return {Sys_FileType::cFolder};
    case BDM_eAssetType_Audio:
    {
        std::list<EAudioFileType> types;
        FF_AudioFile::GetTypesSupportedForRead(&types);
        std::vector<Sys_FileType> filter;
        for (EAudioFileType type : types)
            filter.push_back(FF_AudioFile::FileTypeFromAudioFileType(type));
        return filter;
    }
    case BDM_eAssetType_Session:
        return {Tarn_FileTypes::cSessionFileType, Tarn_FileTypes::cSession50FileType,
                Tarn_FileTypes::cSession4_16BitFileType, Tarn_FileTypes::cSession4_24BitFileType,
                Tarn_FileTypes::cSession32FileType};
    case BDM_eAssetType_Video:
        return {AudioType(eAudioFileType_OMF), AudioType(eAudioFileType_QuickTime)};
    case BDM_eAssetType_MediaDocument:
        return {AudioType(eAudioFileType_OMF)};
    case BDM_eAssetType_AafDocument:
        return {Tarn_FileTypes::cAAFFileType};
    default:
        return {};
    }
}

std::vector<Sys_FileType> BDM_Utils::AllFilesFilter()
{
    std::vector<Sys_FileType> filter{Tarn_FileTypes::cTarnBaseFileType, Sys_FileType::cFolder};
    for (const Sys_FileType& type : FilterFromAssetType(BDM_eAssetType_Audio))
        filter.push_back(type);
    for (const Sys_FileType& type : FilterFromAssetType(BDM_eAssetType_Session))
        filter.push_back(type);
    return filter;
}

bool BDM_Utils::NameLess(const std::string& iLhs, const std::string& iRhs)
{
    const size_t n = std::min(iLhs.size(), iRhs.size());
    for (size_t i = 0; i < n; ++i)
    {
        const unsigned char a = static_cast<unsigned char>(Fold(iLhs[i]));
        const unsigned char b = static_cast<unsigned char>(Fold(iRhs[i]));
        if (a != b)
            return a < b;
    }
    return iLhs.size() < iRhs.size();
}

bool BDM_Utils::NamesEqual(const std::string& iLhs, const std::string& iRhs)
{
    if (iLhs.size() != iRhs.size())
        return false;
    for (size_t i = 0; i < iLhs.size(); ++i)
    {
        if (Fold(iLhs[i]) != Fold(iRhs[i]))
            return false;
    }
    return true;
}

bool BDM_Utils::IsValidName(const std::string& iName, std::string* oMessageP)
{
    std::string found;
    if (iName.empty())
    {
        if (oMessageP)
            oMessageP->clear();
        return false;
    }
    if (Sys_CompatibilityUtils::ContainsIllegalChars(iName, &found))
    {
        if (oMessageP)
            *oMessageP = L10N_Utils::ReplaceInserts(L10N_Utils::GetResourceString(1274), {found});
        return false;
    }
    return true;
}

namespace
{
using Ta = BDM_AttributeTags;
struct TagName
{
    const BDM_AttributeTag Ta::*mMember;
    const char* mName;
};
template <class T> TagName Named(const BDM_TypedAttributeTag<T> Ta::*iMember, const char* iName)
{
    return {reinterpret_cast<const BDM_AttributeTag Ta::*>(iMember), iName};
}
const std::vector<TagName>& TagNames()
{
    static const std::vector<TagName> sNames = {
        Named(&Ta::cAssetName, "AssetName"),
        Named(&Ta::cAssetType, "AssetType"),
        Named(&Ta::cAssetID, "AssetID"),
        Named(&Ta::cAssetComment, "AssetComment"),
        Named(&Ta::cAssetDurationMicroseconds, "AssetDurationMicroseconds"),
        Named(&Ta::cAssetTimestamp, "AssetTimestamp"),
        Named(&Ta::cContainerFlagA, "ContainerFlagA"),
        Named(&Ta::cContainerFlagB, "ContainerFlagB"),
        Named(&Ta::cMarkedForDeletion, "MarkedForDeletion"),
        Named(&Ta::cAssetStatus, "AssetStatus"),
        Named(&Ta::cLink, "Link"),
        Named(&Ta::cLinkPath, "LinkPath"),
        Named(&Ta::cAlias, "Alias"),
        Named(&Ta::cFileName, "FileName"),
        Named(&Ta::cFilePathComponents, "FilePathComponents"),
        Named(&Ta::cFileVolumeID, "FileVolumeID"),
        Named(&Ta::cFileDataForkSize, "FileDataForkSize"),
        Named(&Ta::cFileTotalSize, "FileTotalSize"),
        Named(&Ta::cFileModDate, "FileModDate"),
        Named(&Ta::cFileCreateDate, "FileCreateDate"),
        Named(&Ta::cFileEmbeddedComment, "FileEmbeddedComment"),
        Named(&Ta::cFileLastIndexedDate, "FileLastIndexedDate"),
        Named(&Ta::cFileFormat, "FileFormat"),
        Named(&Ta::cSpareStringA, "SpareStringA"),
        Named(&Ta::cSpareStringB, "SpareStringB"),
        Named(&Ta::cFolderIndexedExhaustively, "FolderIndexedExhaustively"),
        Named(&Ta::cVolumeCapacity, "VolumeCapacity"),
        Named(&Ta::cVolumeFreeSpace, "VolumeFreeSpace"),
        Named(&Ta::cAudioDesignation, "AudioDesignation"),
        Named(&Ta::cVideoDesignation, "VideoDesignation"),
        Named(&Ta::cAudioFileSampleRate, "AudioFileSampleRate"),
        Named(&Ta::cAudioFileBitDepth, "AudioFileBitDepth"),
        Named(&Ta::cAudioFileNumSamples, "AudioFileNumSamples"),
        Named(&Ta::cAudioFileNumChannels, "AudioFileNumChannels"),
        Named(&Ta::cAudioOverview, "AudioOverview"),
        Named(&Ta::cAudioFileEmbeddedFileOffset, "AudioFileEmbeddedFileOffset"),
        Named(&Ta::cAudioFileOriginalTimestamp, "AudioFileOriginalTimestamp"),
        Named(&Ta::cAudioFileUserTimestamp, "AudioFileUserTimestamp"),
        Named(&Ta::cSyncPoint, "SyncPoint"),
        Named(&Ta::cSourceTapeName, "SourceTapeName"),
        Named(&Ta::cSourceTapeTimecodeFormat, "SourceTapeTimecodeFormat"),
        Named(&Ta::cTaskPriority, "TaskPriority"),
        Named(&Ta::cTaskProgress, "TaskProgress"),
        Named(&Ta::cTaskStatusMessage, "TaskStatusMessage"),
        Named(&Ta::cTaskProgressUnitsType, "TaskProgressUnitsType"),
    };
    return sNames;
}

bool SameIgnoringCase(const std::string& iLhs, const std::string& iRhs)
{
    return iLhs.size() == iRhs.size() &&
           std::equal(iLhs.begin(), iLhs.end(), iRhs.begin(),
                      [](char a, char b) { return Fold(a) == Fold(b); });
}
} // namespace

std::string BDM_Utils::GetTagName(const BDM_AttributeTag& iTag)
{
    const BDM_AttributeTags& tags = *BDM_AttributeTags::Instance();
    for (const TagName& row : TagNames())
    {
        if (&(tags.*row.mMember) == &iTag)
            return row.mName;
    }
    return std::string();
}

const BDM_AttributeTag* BDM_Utils::FindTag(const std::string& iName)
{
    const BDM_AttributeTags& tags = *BDM_AttributeTags::Instance();
    for (const TagName& row : TagNames())
    {
        if (SameIgnoringCase(row.mName, iName))
            return &(tags.*row.mMember);
    }
    return nullptr;
}

std::string BDM_Utils::GetTagTypeName(const BDM_AttributeTag& iTag)
{
    static const std::map<std::type_index, const char*> sNames = {
        {typeid(std::string), "string"},
        {typeid(BDM_EAssetType), "kind"},
        {typeid(Sys_Umid), "umid"},
        {typeid(int64_t), "int64"},
        {typeid(bool), "bool"},
        {typeid(BDM_EStatus), "status"},
        {typeid(BDM_Link), "link"},
        {typeid(void*), "pointer"},
        {typeid(BDM_StringList), "strings"},
        {typeid(int32_t), "int32"},
        {typeid(int16_t), "int16"},
        {typeid(BDM_EFileFormat), "format"},
        {typeid(BDM_EVolumeDesignation), "designation"},
        {typeid(FF_AudioOverview::LockingRef), "overview"},
        {typeid(ETimeCodeFormat), "timecode format"},
        {typeid(BDM_TaskProgress), "progress"},
        {typeid(BDM_TaskProgress::EUnitsType), "units"},
    };
    const auto found = sNames.find(std::type_index(iTag.GetValueType()));
    return found == sNames.end() ? std::string("?") : std::string(found->second);
}

std::string BDM_Utils::GetAssetTypeName(BDM_EAssetType iType)
{
    static const char* const sNames[] = {"File",  "Folder",        "Audio",      "Session", "Group",
                                         "Task",  "CatalogRoot",   "VolumeRoot", "Root",    "Video",
                                         "Alias", "MediaDocument", "AafDocument"};
    return iType >= 0 && iType < BDM_cNumAssetTypes ? sNames[iType]
                                                    : std::to_string(int32_t(iType));
}

void BDM_Utils::ExtractSearchTerms(const std::string& iText, std::list<std::string>* oTermsP)
{
    oTermsP->clear();
    std::string term;
    bool quoted = false;
    const auto end = [&]
    {
        if (!term.empty())
            oTermsP->push_back(term);
        term.clear();
    };
    for (const char c : iText)
    {
        if (c == '"')
        {
            quoted = !quoted;
            end();
        }
        else if (!quoted && std::isspace(static_cast<unsigned char>(c)))
            end();
        else
            term.push_back(c);
    }
    end();
}

std::vector<const BDM_AttributeTag*> BDM_Utils::GetAliasAttributeTags()
{
    const BDM_AttributeTags& t = *BDM_AttributeTags::Instance();
    return {&t.cAssetName, &t.cAssetComment, &t.cAudioFileUserTimestamp};
}

int32_t BDM_Utils::TransferAliasAttributes(BDM_Bin& iBin, BDM_Asset& iSource,
                                           const BDM_KeyHandle& iDestinationKey)
{
    const BDM_AssetHandle destination = iBin.GetAsset(iDestinationKey);
    CMN_ASSERT(destination);
    int32_t written = 0;
    for (const BDM_AttributeTag* tagP : GetAliasAttributeTags())
    {
        const BDM_Attribute* srcAttributeP = iSource.GetAttribute(*tagP);
        if (!srcAttributeP || srcAttributeP->GetValue()->IsEmpty())
            continue;
        if (BDM_Attribute* dstAttributeP = destination->GetAttribute(*tagP))
        {
            dstAttributeP->Assign(*srcAttributeP);
            ++written;
        }
    }
    return written;
}
