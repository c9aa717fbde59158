#include "FF/Audio/PlugIns/FF_ResFileUtils.h"

#include <algorithm>
#include <mutex>

#include "L10N_Utils.h"
#include "Sys_AppleDouble.h"
#include "Sys_OSErrData.h"

namespace
{
uint32_t Get32(const uint8_t* iP)
{
    return (uint32_t(iP[0]) << 24) | (uint32_t(iP[1]) << 16) | (uint32_t(iP[2]) << 8) | iP[3];
}

uint32_t Get16(const uint8_t* iP)
{
    return (uint32_t(iP[0]) << 8) | iP[1];
}

void Put32(std::vector<uint8_t>& ioBytes, size_t iAt, uint32_t iValue)
{
    for (int i = 0; i < 4; ++i)
        ioBytes[iAt + size_t(i)] = uint8_t(iValue >> (24 - 8 * i));
}

void Put16(std::vector<uint8_t>& ioBytes, size_t iAt, uint32_t iValue)
{
    ioBytes[iAt] = uint8_t(iValue >> 8);
    ioBytes[iAt + 1] = uint8_t(iValue);
}

[[noreturn]] void Damaged(const char* iWhat)
{
    FF_ResFileUtils::ThrowIfResError(eResError_MapDamaged, iWhat);
    throw std::logic_error("unreachable");
}

// ---- the table of open forks ---------------------------------------------------------------

struct OpenFork
{
    Sys_FileLoc mLoc;
    int8_t mPermission = 0;
    Sys_AppleDouble::Contents mSidecar; // what else the sidecar holds, written back as it was
    FF_ResourceFork mFork;
    bool mChanged = false;
};

std::mutex& TableMutex()
{
    static std::mutex sMutex;
    return sMutex;
}

std::map<FF_ResFileUtils::RefNum, std::shared_ptr<OpenFork>>& Table()
{
    static std::map<FF_ResFileUtils::RefNum, std::shared_ptr<OpenFork>> sTable;
    return sTable;
}

// The current fork is the calling thread's own, so that two threads working on two files
// never read each other's.
FF_ResFileUtils::RefNum& Current()
{
    thread_local FF_ResFileUtils::RefNum tCurrent = 0;
    return tCurrent;
}

// The current fork; throws eResError_FileNotFound when none is open. Call with the lock.
OpenFork& CurrentFork()
{
    const auto found = Table().find(Current());
    if (found == Table().end())
        FF_ResFileUtils::ThrowIfResError(eResError_FileNotFound, "no current resource file");
    return *found->second;
}

[[noreturn]] void NotFound(uint32_t iType, int32_t iID)
{
    FF_ResFileUtils::ThrowIfResError(eResError_NotFound,
                                     L10N_Utils::GetText(0, 50) + FF_ResFileUtils::TypeText(iType) +
                                         L10N_Utils::GetText(0, 51, {std::to_string(iID)}));
    throw std::logic_error("unreachable");
}
} // namespace

// ---- FF_ResourceFork -----------------------------------------------------------------------

FF_ResourceFork::FF_ResourceFork(std::vector<uint8_t> iImage) : mImage(std::move(iImage))
{
    const int64_t size = int64_t(mImage.size());
    if (size == 0)
        return;
    if (size < cHeaderSize)
        Damaged("resource fork header");
    const uint8_t* image = mImage.data();
    const int64_t dataOffset = Get32(image), mapOffset = Get32(image + 4);
    const int64_t dataLength = Get32(image + 8), mapLength = Get32(image + 12);
    if (dataOffset + dataLength > size || mapOffset + mapLength > size ||
        mapLength < cMapHeaderSize)
        Damaged("resource fork header");
    const uint8_t* map = image + mapOffset;
    const int64_t typeList = Get16(map + 24), nameList = Get16(map + 26);
    if (typeList + 2 > mapLength)
        Damaged("resource type list");
    const int64_t typeCount = int64_t((Get16(map + typeList) + 1) & 0xFFFF);
    if (typeList + 2 + 8 * typeCount > mapLength)
        Damaged("resource type list");
    // Distinct references take 12 bytes each of the map: a larger total means lists that
    // share or overlap, and is refused before anything is made for it.
    int64_t total = 0;
    for (int64_t t = 0; t < typeCount; ++t)
        total += int64_t(Get16(map + typeList + 2 + 8 * t + 4)) + 1;
    if (12 * total > mapLength - typeList)
        Damaged("resource reference lists");
    mResources.reserve(size_t(total));
    mPlaces.reserve(size_t(total));
    for (int64_t t = 0; t < typeCount; ++t)
    {
        const uint8_t* entry = map + typeList + 2 + 8 * t;
        const uint32_t type = Get32(entry);
        const int64_t count = int64_t(Get16(entry + 4)) + 1;
        const int64_t refList = typeList + int64_t(Get16(entry + 6));
        if (refList + 12 * count > mapLength)
            Damaged("resource reference list");
        for (int64_t r = 0; r < count; ++r)
        {
            const uint8_t* ref = map + refList + 12 * r;
            Resource resource;
            resource.mType = type;
            resource.mID = int16_t(Get16(ref));
            resource.mAttributes = ref[4];
            const uint32_t nameOffset = Get16(ref + 2);
            if (nameOffset != 0xFFFF)
            {
                const int64_t at = nameList + nameOffset;
                if (at >= mapLength || at + 1 + map[at] > mapLength)
                    Damaged("resource name");
                resource.mHasName = true;
                resource.mName.assign(reinterpret_cast<const char*>(map + at + 1), map[at]);
            }
            const int64_t data = (int64_t(ref[5]) << 16) | (int64_t(ref[6]) << 8) | ref[7];
            if (data + 4 > dataLength)
                Damaged("resource data");
            resource.mSize = Get32(image + dataOffset + data);
            if (data + 4 + resource.mSize > dataLength)
                Damaged("resource data");
            mResources.push_back(std::move(resource));
            mPlaces.push_back({dataOffset + data + 4, nullptr});
        }
    }
}

void FF_ResourceFork::GetBytes(size_t iIndex, std::vector<uint8_t>* oDataP) const
{
    const Place& place = mPlaces[iIndex];
    if (place.mOwned)
        *oDataP = *place.mOwned;
    else
        oDataP->assign(mImage.begin() + place.mOffset,
                       mImage.begin() + place.mOffset + mResources[iIndex].mSize);
}

bool FF_ResourceFork::Get(uint32_t iType, int16_t iID, std::vector<uint8_t>* oDataP) const
{
    for (size_t i = 0; i < mResources.size(); ++i)
        if (mResources[i].mType == iType && mResources[i].mID == iID)
        {
            GetBytes(i, oDataP);
            return true;
        }
    return false;
}

bool FF_ResourceFork::GetNamed(uint32_t iType, const std::string& iName,
                               std::vector<uint8_t>* oDataP) const
{
    for (size_t i = 0; i < mResources.size(); ++i)
        if (mResources[i].mType == iType && mResources[i].mHasName && mResources[i].mName == iName)
        {
            GetBytes(i, oDataP);
            return true;
        }
    return false;
}

bool FF_ResourceFork::GetIndexed(uint32_t iType, int32_t iIndex,
                                 std::vector<uint8_t>* oDataP) const
{
    int32_t seen = 0;
    for (size_t i = 0; i < mResources.size(); ++i)
        if (mResources[i].mType == iType && ++seen == iIndex)
        {
            GetBytes(i, oDataP);
            return true;
        }
    return false;
}

bool FF_ResourceFork::HasNamed(uint32_t iType, const std::string& iName) const
{
    return std::any_of(mResources.begin(), mResources.end(), [&](const Resource& iResource)
                       { return iResource.mType == iType && iResource.mHasName &&
                                iResource.mName == iName; });
}

void FF_ResourceFork::Put(uint32_t iType, int16_t iID, const std::string& iName, bool iHasName,
                          std::vector<uint8_t> iData)
{
    Resource resource;
    resource.mType = iType;
    resource.mID = iID;
    resource.mHasName = iHasName;
    resource.mName = iName.substr(0, cMaxNameLength);
    resource.mSize = int64_t(iData.size());
    Place place{-1, std::make_shared<const std::vector<uint8_t>>(std::move(iData))};
    for (size_t i = 0; i < mResources.size(); ++i)
    {
        const Resource& old = mResources[i];
        const bool same = old.mType == iType && (iHasName ? old.mHasName && old.mName == resource.mName
                                                          : old.mID == iID);
        if (same)
        {
            resource.mAttributes = old.mAttributes;
            mResources[i] = resource;
            mPlaces[i] = place;
            return;
        }
    }
    mResources.push_back(resource);
    mPlaces.push_back(place);
}

std::vector<uint8_t> FF_ResourceFork::Build() const
{
    // Types in the order of their first resource; references in the order they stand.
    std::vector<uint32_t> types;
    for (const Resource& resource : mResources)
        if (std::find(types.begin(), types.end(), resource.mType) == types.end())
            types.push_back(resource.mType);

    std::vector<uint8_t> data, names;
    std::vector<uint8_t> lists(2 + 8 * types.size(), 0); // the type list, then the references
    Put16(lists, 0, uint32_t(types.size()) - 1);
    std::vector<uint8_t> bytes;
    for (size_t t = 0; t < types.size(); ++t)
    {
        int64_t count = 0;
        const size_t refList = lists.size();
        for (size_t i = 0; i < mResources.size(); ++i)
        {
            const Resource& resource = mResources[i];
            if (resource.mType != types[t])
                continue;
            ++count;
            const size_t ref = lists.size();
            lists.resize(ref + 12, 0);
            Put16(lists, ref, uint16_t(resource.mID));
            if (resource.mHasName)
            {
                if (names.size() > 0xFFFE)
                    FF_ResFileUtils::ThrowIfResError(eResError_AddFailed, "resource names");
                Put16(lists, ref + 2, uint32_t(names.size()));
                names.push_back(uint8_t(resource.mName.size()));
                names.insert(names.end(), resource.mName.begin(), resource.mName.end());
            }
            else
                Put16(lists, ref + 2, 0xFFFF);
            if (data.size() > 0xFFFFFF)
                FF_ResFileUtils::ThrowIfResError(eResError_AddFailed, "resource data");
            lists[ref + 4] = resource.mAttributes;
            lists[ref + 5] = uint8_t(data.size() >> 16);
            lists[ref + 6] = uint8_t(data.size() >> 8);
            lists[ref + 7] = uint8_t(data.size());
            GetBytes(i, &bytes);
            const size_t at = data.size();
            data.resize(at + 4);
            Put32(data, at, uint32_t(bytes.size()));
            data.insert(data.end(), bytes.begin(), bytes.end());
        }
        Put32(lists, 2 + 8 * t, types[t]);
        Put16(lists, 2 + 8 * t + 4, uint32_t(count - 1));
        Put16(lists, 2 + 8 * t + 6, uint32_t(refList));
    }
    if (cMapHeaderSize + lists.size() > 0xFFFF)
        FF_ResFileUtils::ThrowIfResError(eResError_AddFailed, "resource map");

    const size_t mapOffset = cDataStart + data.size();
    const size_t mapLength = cMapHeaderSize + lists.size() + names.size();
    std::vector<uint8_t> fork(mapOffset + mapLength, 0);
    Put32(fork, 0, cDataStart);
    Put32(fork, 4, uint32_t(mapOffset));
    Put32(fork, 8, uint32_t(data.size()));
    Put32(fork, 12, uint32_t(mapLength));
    std::copy(data.begin(), data.end(), fork.begin() + cDataStart);
    std::copy(fork.begin(), fork.begin() + cHeaderSize, fork.begin() + long(mapOffset));
    Put16(fork, mapOffset + 24, cMapHeaderSize);
    Put16(fork, mapOffset + 26, uint32_t(cMapHeaderSize + lists.size()));
    std::copy(lists.begin(), lists.end(), fork.begin() + long(mapOffset + cMapHeaderSize));
    std::copy(names.begin(), names.end(),
              fork.begin() + long(mapOffset + cMapHeaderSize + lists.size()));
    return fork;
}

// ---- FF_ResFileUtils -----------------------------------------------------------------------

std::string FF_ResFileUtils::TypeText(uint32_t iType)
{
    std::string text(4, ' ');
    for (int i = 0; i < 4; ++i)
        text[size_t(i)] = char(iType >> (24 - 8 * i));
    return text;
}

void FF_ResFileUtils::ThrowIfResError(int32_t iError, const std::string& iContext)
{
    if (iError != eResError_None)
        Sys_ThrowIfOSErr(iError, iContext);
}

bool FF_ResFileUtils::HasResourceFork(const Sys_FileLoc& iLoc)
{
    Sys_AppleDouble::Entry entry;
    return Sys_AppleDouble::FindEntry(iLoc, Sys_AppleDouble::cEntry_ResourceFork, &entry) &&
           entry.mLength > 0;
}

void FF_ResFileUtils::CreateResourceFork(const Sys_FileLoc& iLoc, uint32_t iType,
                                         uint32_t iCreator)
{
    Sys_AppleDouble::Contents contents;
    contents.SetTypeAndCreator(iType, iCreator);
    contents.mHasResourceFork = true;
    contents.mResourceFork = FF_ResourceFork().Build();
    Sys_AppleDouble::Write(iLoc, contents);
}

FF_ResFileUtils::RefNum FF_ResFileUtils::OpenResourceFork(const Sys_FileLoc& iLoc,
                                                          int8_t iPermission)
{
    auto fork = std::make_shared<OpenFork>();
    fork->mLoc = iLoc;
    fork->mPermission = iPermission;
    if (!Sys_AppleDouble::Read(iLoc, &fork->mSidecar) || !fork->mSidecar.mHasResourceFork ||
        fork->mSidecar.mResourceFork.empty())
        ThrowIfResError(eResError_FileNotFound, iLoc.GetFullPath());
    fork->mFork = FF_ResourceFork(std::move(fork->mSidecar.mResourceFork));
    fork->mSidecar.mResourceFork.clear();
    std::lock_guard<std::mutex> lock(TableMutex());
    RefNum refNum = 1;
    while (Table().count(refNum) != 0)
        ++refNum;
    if (refNum <= 0)
        ThrowIfResError(eResError_AddFailed, "too many open resource files");
    Table()[refNum] = fork;
    Current() = refNum;
    return refNum;
}

void FF_ResFileUtils::CloseResourceFork(RefNum iRefNum)
{
    std::shared_ptr<OpenFork> fork;
    {
        std::lock_guard<std::mutex> lock(TableMutex());
        const auto found = Table().find(iRefNum);
        if (found == Table().end())
            return;
        fork = found->second;
        Table().erase(found);
        if (Current() == iRefNum)
            Current() = 0;
    }
    if (fork->mChanged && fork->mPermission == cReadWritePermission)
    {
        fork->mSidecar.mHasResourceFork = true;
        fork->mSidecar.mResourceFork = fork->mFork.Build();
        Sys_AppleDouble::Write(fork->mLoc, fork->mSidecar);
    }
}

void FF_ResFileUtils::ReadResourceAsData(uint32_t iType, int16_t iID, std::vector<uint8_t>* oDataP)
{
    std::lock_guard<std::mutex> lock(TableMutex());
    if (!CurrentFork().mFork.Get(iType, iID, oDataP))
        NotFound(iType, iID);
}

void FF_ResFileUtils::ReadIndexedResourceAsData(uint32_t iType, int32_t iIndex,
                                                std::vector<uint8_t>* oDataP)
{
    std::lock_guard<std::mutex> lock(TableMutex());
    if (!CurrentFork().mFork.GetIndexed(iType, iIndex, oDataP))
        NotFound(iType, iIndex);
}

std::string FF_ResFileUtils::ReadNamedSTRResource(const std::string& iName)
{
    std::vector<uint8_t> data;
    {
        std::lock_guard<std::mutex> lock(TableMutex());
        if (!CurrentFork().mFork.GetNamed(MakeType("STR "), iName, &data))
            ThrowIfResError(eResError_NotFound, L10N_Utils::GetText(0, 52, {iName}));
    }
    if (data.empty())
        return "";
    const size_t length = std::min<size_t>(data[0], data.size() - 1);
    return std::string(reinterpret_cast<const char*>(data.data() + 1), length);
}

bool FF_ResFileUtils::DoesNamedResourceExist(uint32_t iType, const std::string& iName)
{
    std::lock_guard<std::mutex> lock(TableMutex());
    return CurrentFork().mFork.HasNamed(iType, iName);
}

void FF_ResFileUtils::WriteDataAsAResource(uint32_t iType, int16_t iID,
                                           const std::vector<uint8_t>& iData,
                                           const std::string& iName)
{
    std::lock_guard<std::mutex> lock(TableMutex());
    OpenFork& fork = CurrentFork();
    if (fork.mPermission != cReadWritePermission)
        ThrowIfResError(eResError_AddFailed, fork.mLoc.GetFullPath());
    fork.mFork.Put(iType, iID, iName, !iName.empty(), iData);
    fork.mChanged = true;
}

void FF_ResFileUtils::WriteStringResource(const std::string& iName, const std::string& iText,
                                          int16_t iID)
{
    WriteDataAsAResource(MakeType("STR "), iID, MakeStringData(iText), iName);
}

std::vector<uint8_t> FF_ResFileUtils::MakeStringData(const std::string& iText)
{
    // Sized once and filled: growing a one-byte vector by insert draws a false bounds
    // warning from the optimiser.
    const size_t length = std::min<size_t>(iText.size(), 255);
    std::vector<uint8_t> data(length + 1);
    data[0] = uint8_t(length);
    std::copy_n(iText.begin(), length, data.begin() + 1);
    return data;
}

FF_ResFileUtils::RefNum FF_ResFileUtils::CurResFile()
{
    std::lock_guard<std::mutex> lock(TableMutex());
    return Current();
}

void FF_ResFileUtils::UseResFile(RefNum iRefNum)
{
    std::lock_guard<std::mutex> lock(TableMutex());
    Current() = iRefNum;
}

FF_ResFileUtils::StUseResFile::StUseResFile(RefNum iRefNum) : mPrevious(CurResFile())
{
    UseResFile(iRefNum);
}

FF_ResFileUtils::StUseResFile::~StUseResFile()
{
    UseResFile(mPrevious);
}

FF_ResFileUtils::StOpenAndUseResFile::StOpenAndUseResFile(const Sys_FileLoc& iLoc,
                                                          int8_t iPermission)
    : mPrevious(CurResFile()), mRefNum(OpenResourceFork(iLoc, iPermission))
{
}

void FF_ResFileUtils::StOpenAndUseResFile::Close()
{
    const RefNum refNum = mRefNum;
    mRefNum = 0;
    if (refNum != 0)
    {
        UseResFile(mPrevious);
        CloseResourceFork(refNum);
    }
}

FF_ResFileUtils::StOpenAndUseResFile::~StOpenAndUseResFile()
{
    if (mRefNum == 0)
        return;
    // Unwinding: the fork is forgotten without writing it back.
    std::lock_guard<std::mutex> lock(TableMutex());
    Table().erase(mRefNum);
    Current() = Table().count(mPrevious) ? mPrevious : 0;
}
