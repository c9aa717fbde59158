#include "FF/OMF/OMF_Container.h"

#include <algorithm>
#include <cstring>

#include "L10N_ExceptionData.h"
#include "Sys_File.h"
#include "Sys_FileLoc.h"

using namespace OMF_ContainerFormat;

namespace
{
[[noreturn]] void NotOMFI()
{
    L10N_Throw(18, 9);
}

class MemorySource : public OMF_ContainerSource
{
public:
    explicit MemorySource(std::vector<uint8_t> iBytes) : mBytes(std::move(iBytes)) {}
    int64_t GetLength() const override { return static_cast<int64_t>(mBytes.size()); }
    void ReadAt(int64_t iOffset, void* oData, int64_t iCount) const override
    {
        if (iCount > 0)
            std::memcpy(oData, mBytes.data() + iOffset, static_cast<size_t>(iCount));
    }

private:
    std::vector<uint8_t> mBytes;
};

class FileSource : public OMF_ContainerSource
{
public:
    explicit FileSource(const Sys_FileLoc& iLoc) : mFile(iLoc)
    {
        mFile.Open(Sys_File::eOpen_ForRead | Sys_File::eOpen_Existing);
        mLength = mFile.GetEOF();
    }
    int64_t GetLength() const override { return mLength; }
    // Small reads (names, numbers, references: most of a walk) come from cached blocks of
    // the file; a large one (media data) goes to the file directly.
    void ReadAt(int64_t iOffset, void* oData, int64_t iCount) const override
    {
        uint8_t* out = static_cast<uint8_t*>(oData);
        if (iCount > cBlock)
        {
            mFile.SetPosition(Sys_File::eOffsetFrom_Start, iOffset);
            if (mFile.Read(out, iCount) != iCount)
                NotOMFI();
            return;
        }
        while (iCount > 0)
        {
            const int64_t block = iOffset / cBlock;
            const std::vector<uint8_t>& bytes = Block(block);
            const int64_t within = iOffset - block * cBlock;
            const int64_t count = std::min<int64_t>(iCount, int64_t(bytes.size()) - within);
            if (count <= 0)
                NotOMFI();
            std::memcpy(out, bytes.data() + within, size_t(count));
            out += count, iOffset += count, iCount -= count;
        }
    }

private:
    static constexpr int64_t cBlock = 64 * 1024;
    static constexpr size_t cMaxBlocks = 16;

    const std::vector<uint8_t>& Block(int64_t iBlock) const
    {
        auto it = mBlocks.find(iBlock);
        if (it != mBlocks.end())
            return it->second;
        if (mBlocks.size() >= cMaxBlocks)
            mBlocks.erase(mBlocks.begin());
        std::vector<uint8_t> bytes(size_t(std::min<int64_t>(cBlock, mLength - iBlock * cBlock)));
        mFile.SetPosition(Sys_File::eOffsetFrom_Start, iBlock * cBlock);
        if (mFile.Read(bytes.data(), int64_t(bytes.size())) != int64_t(bytes.size()))
            NotOMFI();
        return mBlocks.emplace(iBlock, std::move(bytes)).first->second;
    }

    mutable Sys_File mFile;
    int64_t mLength = 0;
    mutable std::map<int64_t, std::vector<uint8_t>> mBlocks;
};
} // namespace

std::unique_ptr<OMF_ContainerSource> OMF_ContainerSource::FromMemory(std::vector<uint8_t> iBytes)
{
    return std::make_unique<MemorySource>(std::move(iBytes));
}

std::unique_ptr<OMF_ContainerSource> OMF_ContainerSource::FromFile(const Sys_FileLoc& iLoc)
{
    return std::make_unique<FileSource>(iLoc);
}

// ---- reader ----------------------------------------------------------------------------------
OMF_ContainerReader::OMF_ContainerReader(std::unique_ptr<OMF_ContainerSource> iSource)
    : mSource(std::move(iSource))
{
    ReadLabel();
    std::vector<uint8_t> toc(static_cast<size_t>(mTOCSize));
    mSource->ReadAt(mTOCOffset, toc.data(), mTOCSize);
    if (mMajor == 1)
        ReadFixedTOC(toc);
    else
        ReadTokenTOC(toc);
    Index();
}

uint32_t OMF_ContainerReader::ReadU32(const uint8_t* iP) const
{
    return mBigEndian ? (uint32_t(iP[0]) << 24 | uint32_t(iP[1]) << 16 | uint32_t(iP[2]) << 8 | iP[3])
                      : (uint32_t(iP[3]) << 24 | uint32_t(iP[2]) << 16 | uint32_t(iP[1]) << 8 | iP[0]);
}

uint16_t OMF_ContainerReader::ReadU16(const uint8_t* iP) const
{
    return static_cast<uint16_t>(mBigEndian ? (iP[0] << 8 | iP[1]) : (iP[1] << 8 | iP[0]));
}

void OMF_ContainerReader::ReadLabel()
{
    const int64_t length = mSource->GetLength();
    if (length < cLabelSize)
        NotOMFI();
    uint8_t label[cLabelSize];
    mSource->ReadAt(length - cLabelSize, label, cLabelSize);
    if (std::memcmp(label, cMagic, sizeof cMagic) != 0)
        NotOMFI();
    mBigEndian = true;
    uint16_t major = ReadU16(label + 12);
    if (major != 1 && major != 2)
    {
        mBigEndian = false;
        major = ReadU16(label + 12);
        if (major != 1 && major != 2)
            L10N_Throw(18, 2);
    }
    mMajor = major;
    mMinor = ReadU16(label + 14);
    mTOCOffset = ReadU32(label + 16);
    mTOCSize = ReadU32(label + 20);
    if (mTOCOffset + mTOCSize > length - cLabelSize)
        NotOMFI();
}

void OMF_ContainerReader::AddSegment(OMF_ContainerValue* ioValue, const OMF_ContainerSegment& iSegment)
{
    // Every segment inside the file before the label; no value longer than the file.
    const int64_t limit = mSource->GetLength() - cLabelSize;
    if (iSegment.mOffset >= 0 &&
        (iSegment.mOffset > limit || static_cast<int64_t>(iSegment.mLength) > limit - iSegment.mOffset))
        NotOMFI();
    if (ioValue->mLength + iSegment.mLength > mSource->GetLength())
        NotOMFI();
    ioValue->mLength += iSegment.mLength;
    ioValue->mSegments.push_back(iSegment);
}

void OMF_ContainerReader::ReadFixedTOC(const std::vector<uint8_t>& iTOC)
{
    if (iTOC.size() % 24 != 0)
        NotOMFI();
    for (size_t at = 0; at < iTOC.size(); at += 24)
    {
        const uint8_t* p = iTOC.data() + at;
        const uint32_t object = ReadU32(p), property = ReadU32(p + 4), type = ReadU32(p + 8);
        const uint16_t flags = ReadU16(p + 22);
        OMF_ContainerSegment segment;
        segment.mLength = ReadU32(p + 16);
        if (flags & cFlagImmediate)
        {
            if (segment.mLength > 4)
                NotOMFI();
            std::memcpy(segment.mImmediate, p + 12, 4);
        }
        else
            segment.mOffset = ReadU32(p + 12);
        const bool continues = !mValues.empty() && mValues.back().mObject == object &&
                               mValues.back().mProperty == property && mValues.back().mType == type;
        if (!continues)
        {
            mValues.emplace_back();
            mValues.back().mObject = object;
            mValues.back().mProperty = property;
            mValues.back().mType = type;
        }
        AddSegment(&mValues.back(), segment);
    }
}

void OMF_ContainerReader::ReadTokenTOC(const std::vector<uint8_t>& iTOC)
{
    uint32_t object = 0, property = 0, type = 0;
    size_t at = 0;
    auto need = [&](size_t iCount) {
        if (iTOC.size() - at < iCount)
            NotOMFI();
        const uint8_t* p = iTOC.data() + at;
        at += iCount;
        return p;
    };
    auto newValue = [&]() -> OMF_ContainerValue& {
        if (object == 0 || property == 0 || type == 0)
            NotOMFI();
        mValues.emplace_back();
        mValues.back().mObject = object;
        mValues.back().mProperty = property;
        mValues.back().mType = type;
        return mValues.back();
    };
    auto lastValue = [&]() -> OMF_ContainerValue& {
        if (mValues.empty() || mValues.back().mObject != object ||
            mValues.back().mProperty != property || mValues.back().mType != type)
            NotOMFI();
        return mValues.back();
    };
    while (at < iTOC.size())
    {
        const uint8_t token = *need(1);
        const uint8_t* p = nullptr;
        OMF_ContainerSegment segment;
        switch (token)
        {
        case eToken_NewObject:
            p = need(12);
            object = ReadU32(p), property = ReadU32(p + 4), type = ReadU32(p + 8);
            break;
        case eToken_NewProperty:
            p = need(8);
            property = ReadU32(p), type = ReadU32(p + 4);
            break;
        case eToken_NewType:
            type = ReadU32(need(4));
            break;
        case eToken_ExplicitGen:
            need(4);
            break;
        case eToken_Offset4Len4:
        case eToken_ContdOffset4Len4:
            p = need(8);
            segment.mOffset = ReadU32(p), segment.mLength = ReadU32(p + 4);
            AddSegment(token == eToken_Offset4Len4 ? &newValue() : &lastValue(), segment);
            break;
        case eToken_Offset8Len4:
        case eToken_ContdOffset8Len4:
        {
            p = need(12);
            const uint64_t high = ReadU32(mBigEndian ? p : p + 4), low = ReadU32(mBigEndian ? p + 4 : p);
            if (high != 0)
                NotOMFI(); // past any file this reader can hold
            segment.mOffset = static_cast<int64_t>(low), segment.mLength = ReadU32(p + 8);
            AddSegment(token == eToken_Offset8Len4 ? &newValue() : &lastValue(), segment);
            break;
        }
        case eToken_ContdImmediate4:
            p = need(4);
            segment.mLength = 4;
            std::memcpy(segment.mImmediate, p, 4);
            AddSegment(&lastValue(), segment);
            break;
        case eToken_ReferenceListID:
            lastValue().mRefList = ReadU32(need(4));
            break;
        case eToken_Padding:
            break;
        default:
            if (token >= eToken_Immediate0 && token <= eToken_Immediate0 + 4)
            {
                p = need(4);
                segment.mLength = token - eToken_Immediate0;
                std::memcpy(segment.mImmediate, p, 4);
                AddSegment(&newValue(), segment);
                break;
            }
            NotOMFI();
        }
    }
}

void OMF_ContainerReader::Index()
{
    for (size_t i = 0; i < mValues.size(); ++i)
        mByObject[mValues[i].mObject].push_back(i);
    // Objects of the file's own content: those with a property that is not the format's.
    for (const auto& [object, indexes] : mByObject)
        for (size_t index : indexes)
            if (object >= cFirstUserID && mValues[index].mProperty >= cFirstUserID)
            {
                mObjects.push_back(object);
                break;
            }
    // Names of properties and types: NUL-terminated texts, at most 1 KiB.
    for (const OMF_ContainerValue& value : mValues)
    {
        if (value.mProperty != cStdPropGlobalPropName && value.mProperty != cStdPropGlobalTypeName)
            continue;
        std::vector<uint8_t> bytes(static_cast<size_t>(std::min<int64_t>(value.mLength, 1024)));
        Read(value, 0, bytes.data(), static_cast<int64_t>(bytes.size()));
        std::string name(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0));
        if (value.mProperty == cStdPropGlobalPropName)
            mPropertyNames[value.mObject] = name, mPropertyIDs.emplace(name, value.mObject);
        else
            mTypeNames[value.mObject] = name, mTypeIDs.emplace(name, value.mObject);
    }
}

std::vector<const OMF_ContainerValue*> OMF_ContainerReader::GetValues(uint32_t iObject) const
{
    std::vector<const OMF_ContainerValue*> values;
    auto it = mByObject.find(iObject);
    if (it != mByObject.end())
        for (size_t index : it->second)
            values.push_back(&mValues[index]);
    return values;
}

const OMF_ContainerValue* OMF_ContainerReader::Find(uint32_t iObject, uint32_t iProperty,
                                                    uint32_t iType) const
{
    auto it = mByObject.find(iObject);
    if (it == mByObject.end())
        return nullptr;
    for (size_t index : it->second)
        if (mValues[index].mProperty == iProperty && (iType == 0 || mValues[index].mType == iType))
            return &mValues[index];
    return nullptr;
}

std::string OMF_ContainerReader::GetPropertyName(uint32_t iProperty) const
{
    auto it = mPropertyNames.find(iProperty);
    return it == mPropertyNames.end() ? std::string() : it->second;
}

std::string OMF_ContainerReader::GetTypeName(uint32_t iType) const
{
    auto it = mTypeNames.find(iType);
    return it == mTypeNames.end() ? std::string() : it->second;
}

uint32_t OMF_ContainerReader::FindProperty(const std::string& iName) const
{
    auto it = mPropertyIDs.find(iName);
    return it == mPropertyIDs.end() ? 0 : it->second;
}

uint32_t OMF_ContainerReader::FindType(const std::string& iName) const
{
    auto it = mTypeIDs.find(iName);
    return it == mTypeIDs.end() ? 0 : it->second;
}

bool OMF_ContainerReader::Read(const OMF_ContainerValue& iValue, int64_t iOffset, void* oData,
                               int64_t iCount) const
{
    if (iOffset < 0 || iCount < 0 || iOffset > iValue.mLength || iCount > iValue.mLength - iOffset)
        return false;
    uint8_t* out = static_cast<uint8_t*>(oData);
    int64_t start = 0;
    for (const OMF_ContainerSegment& segment : iValue.mSegments)
    {
        const int64_t end = start + segment.mLength;
        if (iCount > 0 && iOffset < end)
        {
            const int64_t within = iOffset - start;
            const int64_t count = std::min<int64_t>(iCount, end - iOffset);
            if (segment.mOffset < 0)
                std::memcpy(out, segment.mImmediate + within, static_cast<size_t>(count));
            else
                mSource->ReadAt(segment.mOffset + within, out, count);
            out += count, iOffset += count, iCount -= count;
        }
        start = end;
    }
    return true;
}

std::vector<uint8_t> OMF_ContainerReader::ReadAll(const OMF_ContainerValue& iValue) const
{
    std::vector<uint8_t> bytes(static_cast<size_t>(iValue.mLength));
    Read(iValue, 0, bytes.data(), iValue.mLength);
    return bytes;
}

uint32_t OMF_ContainerReader::ResolveReference(const OMF_ContainerValue& iValue, uint32_t iKey) const
{
    if (iValue.mRefList == 0)
        return iKey;
    auto it = mRefLists.find(iValue.mRefList);
    if (it == mRefLists.end())
    {
        std::map<uint32_t, uint32_t>& list = mRefLists[iValue.mRefList];
        if (const OMF_ContainerValue* value = Find(iValue.mRefList, cStdPropRefList))
        {
            const std::vector<uint8_t> bytes = ReadAll(*value);
            for (size_t at = 0; at + 8 <= bytes.size(); at += 8)
                list.emplace(ReadU32(bytes.data() + at), ReadU32(bytes.data() + at + 4));
        }
        it = mRefLists.find(iValue.mRefList);
    }
    auto key = it->second.find(iKey);
    return key == it->second.end() ? 0 : key->second;
}

int64_t OMF_ContainerReader::GetFileOffset(const OMF_ContainerValue& iValue) const
{
    if (iValue.mSegments.size() != 1 || iValue.mSegments[0].mOffset < 0)
        return -1;
    return iValue.mSegments[0].mOffset;
}

// ---- writer ----------------------------------------------------------------------------------
OMF_ContainerWriter::OMF_ContainerWriter(bool iBigEndian, uint16_t iMajorVersion,
                                         uint16_t iMinorVersion)
    : mBigEndian(iBigEndian), mMajor(iMajorVersion), mMinor(iMinorVersion)
{
}

uint32_t OMF_ContainerWriter::NewObject()
{
    return mNextID++;
}

void OMF_ContainerWriter::PutU32(std::vector<uint8_t>* ioBytes, uint32_t iValue) const
{
    for (int i = 0; i < 4; ++i)
        ioBytes->push_back(static_cast<uint8_t>(iValue >> (mBigEndian ? 24 - 8 * i : 8 * i)));
}

void OMF_ContainerWriter::PutU16(std::vector<uint8_t>* ioBytes, uint16_t iValue) const
{
    for (int i = 0; i < 2; ++i)
        ioBytes->push_back(static_cast<uint8_t>(iValue >> (mBigEndian ? 8 - 8 * i : 8 * i)));
}

uint32_t OMF_ContainerWriter::Named(std::map<std::string, uint32_t>* ioIDs, uint32_t iNameProperty,
                                    const std::string& iName)
{
    auto it = ioIDs->find(iName);
    if (it != ioIDs->end())
        return it->second;
    const uint32_t id = NewObject();
    ioIDs->emplace(iName, id);
    std::vector<uint8_t> bytes(iName.begin(), iName.end());
    bytes.push_back(0);
    AddValue(id, iNameProperty, cStdTypeASCII, bytes);
    return id;
}

uint32_t OMF_ContainerWriter::Property(const std::string& iName)
{
    return Named(&mPropertyIDs, cStdPropGlobalPropName, iName);
}

uint32_t OMF_ContainerWriter::Type(const std::string& iName)
{
    return Named(&mTypeIDs, cStdPropGlobalTypeName, iName);
}

void OMF_ContainerWriter::AddValue(uint32_t iObject, uint32_t iProperty, uint32_t iType,
                                   const std::vector<uint8_t>& iBytes, bool iInFile)
{
    OMF_ContainerValue value;
    value.mObject = iObject, value.mProperty = iProperty, value.mType = iType;
    value.mLength = static_cast<int64_t>(iBytes.size());
    mLastOffset = -1;
    if (iBytes.size() <= 4 && !iInFile)
    {
        OMF_ContainerSegment segment;
        segment.mLength = static_cast<uint32_t>(iBytes.size());
        std::copy(iBytes.begin(), iBytes.end(), segment.mImmediate);
        value.mSegments.push_back(segment);
    }
    else
    {
        mLastOffset = static_cast<int64_t>(mData.size());
        size_t at = 0;
        do
        {
            OMF_ContainerSegment segment;
            segment.mOffset = static_cast<int64_t>(mData.size());
            segment.mLength = static_cast<uint32_t>(std::min<size_t>(mMaxSegment, iBytes.size() - at));
            mData.insert(mData.end(), iBytes.begin() + at, iBytes.begin() + at + segment.mLength);
            value.mSegments.push_back(segment);
            at += segment.mLength;
        } while (at < iBytes.size());
        if (value.mSegments.size() > 1)
            mLastOffset = -1;
    }
    mValues.push_back(std::move(value));
}

void OMF_ContainerWriter::AddReferencingValue(uint32_t iObject, uint32_t iProperty, uint32_t iType,
                                              std::vector<uint8_t> iBytes,
                                              const std::vector<size_t>& iKeyOffsets,
                                              const std::vector<uint32_t>& iTargets)
{
    const bool lists = mMajor != 1;
    std::vector<uint8_t> pairs;
    for (size_t i = 0; i < iKeyOffsets.size() && i < iTargets.size(); ++i)
    {
        // Keys count from 1 within the value; the fixed form stores the object itself.
        const uint32_t key = lists ? static_cast<uint32_t>(i + 1) : iTargets[i];
        std::vector<uint8_t> keyBytes;
        PutU32(&keyBytes, key);
        std::copy(keyBytes.begin(), keyBytes.end(), iBytes.begin() + static_cast<std::ptrdiff_t>(iKeyOffsets[i]));
        PutU32(&pairs, key);
        PutU32(&pairs, iTargets[i]);
    }
    AddValue(iObject, iProperty, iType, iBytes);
    if (lists && !iTargets.empty())
    {
        const uint32_t list = NewObject();
        mValues.back().mRefList = list;
        const int64_t offset = mLastOffset;
        OMF_ContainerValue saved = mValues.back();
        mValues.pop_back();
        AddValue(list, cStdPropRefList, cStdTypeRefList, pairs, true);
        OMF_ContainerValue listValue = mValues.back();
        mValues.pop_back();
        mValues.push_back(saved);
        mValues.push_back(listValue);
        mLastOffset = offset;
    }
}

void OMF_ContainerWriter::AddReferences(uint32_t iObject, uint32_t iProperty, uint32_t iType,
                                        const std::vector<uint32_t>& iTargets)
{
    std::vector<size_t> offsets;
    for (size_t i = 0; i < iTargets.size(); ++i)
        offsets.push_back(4 * i);
    AddReferencingValue(iObject, iProperty, iType, std::vector<uint8_t>(4 * iTargets.size()),
                        offsets, iTargets);
}

std::vector<uint8_t> OMF_ContainerWriter::Finish()
{
    std::vector<uint8_t> file = mData;
    std::vector<uint8_t> toc;
    if (mMajor == 1)
    {
        for (const OMF_ContainerValue& value : mValues)
            for (const OMF_ContainerSegment& segment : value.mSegments)
            {
                PutU32(&toc, value.mObject), PutU32(&toc, value.mProperty), PutU32(&toc, value.mType);
                if (segment.mOffset < 0)
                    toc.insert(toc.end(), segment.mImmediate, segment.mImmediate + 4);
                else
                    PutU32(&toc, static_cast<uint32_t>(segment.mOffset));
                PutU32(&toc, segment.mLength);
                PutU16(&toc, 1);
                PutU16(&toc, segment.mOffset < 0 ? cFlagImmediate : 0);
            }
    }
    else
    {
        uint32_t object = 0, property = 0, type = 0;
        for (const OMF_ContainerValue& value : mValues)
        {
            if (value.mObject != object)
            {
                toc.push_back(eToken_NewObject);
                PutU32(&toc, value.mObject), PutU32(&toc, value.mProperty), PutU32(&toc, value.mType);
            }
            else if (value.mProperty != property)
            {
                toc.push_back(eToken_NewProperty);
                PutU32(&toc, value.mProperty), PutU32(&toc, value.mType);
            }
            else if (value.mType != type)
            {
                toc.push_back(eToken_NewType);
                PutU32(&toc, value.mType);
            }
            object = value.mObject, property = value.mProperty, type = value.mType;
            bool first = true;
            for (const OMF_ContainerSegment& segment : value.mSegments)
            {
                if (segment.mOffset < 0)
                {
                    toc.push_back(first ? uint8_t(eToken_Immediate0 + segment.mLength)
                                        : uint8_t(eToken_ContdImmediate4));
                    toc.insert(toc.end(), segment.mImmediate, segment.mImmediate + 4);
                }
                else
                {
                    toc.push_back(first ? eToken_Offset4Len4 : eToken_ContdOffset4Len4);
                    PutU32(&toc, static_cast<uint32_t>(segment.mOffset));
                    PutU32(&toc, segment.mLength);
                }
                first = false;
            }
            if (value.mRefList)
            {
                toc.push_back(eToken_ReferenceListID);
                PutU32(&toc, value.mRefList);
            }
        }
    }
    const uint32_t tocOffset = static_cast<uint32_t>(file.size());
    file.insert(file.end(), toc.begin(), toc.end());
    file.insert(file.end(), cMagic, cMagic + sizeof cMagic);
    PutU16(&file, 0);
    PutU16(&file, 1);
    PutU16(&file, mMajor);
    PutU16(&file, mMinor);
    PutU32(&file, tocOffset);
    PutU32(&file, static_cast<uint32_t>(toc.size()));
    return file;
}

void OMF_ContainerWriter::WriteTo(const Sys_FileLoc& iLoc)
{
    const std::vector<uint8_t> bytes = Finish();
    Sys_File file(iLoc);
    file.Open(Sys_File::eOpen_Create | Sys_File::eOpen_ForWrite);
    if (file.Write(bytes.data(), static_cast<int64_t>(bytes.size())) != static_cast<int64_t>(bytes.size()))
        NotOMFI();
    file.Close();
}
