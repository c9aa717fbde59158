#include "FF/OMF/OMF_Inspect.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>
#include <set>
#include <sstream>

#include "FF/Audio/FF_AudioFile.h"
#include "FF/OMF/OMF_Classes2x.h"
#include "FF/OMF/OMF_Container.h"
#include "L10N_ExceptionData.h"
#include "Sys_FileLoc.h"

namespace
{
EAudioFileType TypeOfClass(const std::string& iClass)
{
    if (iClass == "WAVE")
        return eAudioFileType_WAVE;
    if (iClass == "AIFC")
        return eAudioFileType_AIFC;
    if (iClass == "QS2M")
        return eAudioFileType_QSII;
    return eAudioFileType_Unknown;
}

void AddMedia(OMF_Summary* ioSummary, OMF_Object* iData, const omfUID_t& iID, const OMF_DataProperty* iBytes,
              const std::map<std::pair<int32_t, std::pair<uint32_t, uint32_t>>, std::string>& iNames)
{
    if (!iData || !iBytes || !iBytes->IsPresent())
        return;
    OMF_EmbeddedMedia media;
    media.mClass = iData->GetClassID();
    media.mType = TypeOfClass(media.mClass);
    media.mMobID = iID;
    auto name = iNames.find({iID.prefix, {iID.major, iID.minor}});
    if (name != iNames.end())
        media.mName = name->second;
    media.mOffset = iBytes->GetFileOffset();
    media.mLength = iBytes->GetLength();
    media.mObject = iData->GetObj();
    media.mProperty = iBytes->GetProperty();
    ioSummary->mMedia.push_back(media);
}

using NameMap = std::map<std::pair<int32_t, std::pair<uint32_t, uint32_t>>, std::string>;

std::pair<int32_t, std::pair<uint32_t, uint32_t>> Key(const omfUID_t& iID)
{
    return {iID.prefix, {iID.major, iID.minor}};
}

void Summarize2x(OMF_File& iFile, OMF_HEAD2x* iHead, OMF_Summary* ioSummary)
{
    NameMap names;
    for (OMF_MOBJ2x* mob : iHead->mMobs.Get())
    {
        if (dynamic_cast<OMF_CMOB2x*>(mob))
        {
            ++ioSummary->mCompositionMobs;
            ioSummary->mTracks += static_cast<int32_t>(mob->mSlots.Get().size());
        }
        else if (dynamic_cast<OMF_MMOB2x*>(mob))
            ++ioSummary->mMasterMobs;
        else if (auto* source = dynamic_cast<OMF_SMOB2x*>(mob))
        {
            ++ioSummary->mSourceMobs;
            if (source->mMediaDescription.Get())
                ++ioSummary->mDescriptors;
            if (source->mMobID.IsSet())
                names[Key(source->mMobID.Get())] = source->mName.GetOr("");
        }
        else
            ++ioSummary->mOtherMobs;
    }
    for (OMF_MDAT2x* data : iHead->mMediaData.Get())
    {
        const omfUID_t id = data->mMobID.GetOr(omfUID_t());
        if (auto* wave = dynamic_cast<OMF_WAVE2x*>(data))
            AddMedia(ioSummary, data, id, &wave->mData, names);
        else if (auto* aifc = dynamic_cast<OMF_AIFC2x*>(data))
            AddMedia(ioSummary, data, id, &aifc->mData, names);
    }
}

void Summarize1x(OMF_File& iFile, OMF_HEAD1x* iHead, OMF_Summary* ioSummary)
{
    NameMap names;
    for (const auto& [id, mob] : iHead->mCompositionMobs.Get())
    {
        ++ioSummary->mCompositionMobs;
        ioSummary->mTracks += static_cast<int32_t>(mob->mTracks.Get().size());
    }
    for (const auto& [id, mob] : iHead->mSourceMobs.Get())
    {
        if (mob->mPhysicalMedia.Get())
        {
            ++ioSummary->mSourceMobs;
            ++ioSummary->mDescriptors;
            names[Key(id)] = mob->mName.GetOr("");
        }
        else
            ++ioSummary->mMasterMobs;
    }
    for (const auto& [id, data] : iHead->mMediaData.Get())
    {
        if (auto* wave = dynamic_cast<OMF_WAVE1x*>(data))
            AddMedia(ioSummary, data, id, &wave->mData, names);
        else if (auto* aifc = dynamic_cast<OMF_AIFC1x*>(data))
            AddMedia(ioSummary, data, id, &aifc->mData, names);
        else if (auto* qs = dynamic_cast<OMF_QS2M1x*>(data))
            AddMedia(ioSummary, data, id, &qs->mData, names);
    }
}
} // namespace

OMF_Summary OMF_Summarize(OMF_File& iFile)
{
    OMF_Summary summary;
    const OMF_ContainerReader* container = omfsGetContainer(iFile.mHdl);
    summary.mBigEndian = omfsIsBigEndian(iFile.mHdl);
    summary.mContainerVersion = container ? container->GetMajorVersion() : 0;
    summary.mObjects = container ? static_cast<int32_t>(container->GetObjects().size()) : 0;
    OMF_Object* head = iFile.GetHead();
    if (auto* head2x = dynamic_cast<OMF_HEAD2x*>(head))
    {
        const omfVersionType_t version = head2x->mVersion.GetOr(omfVersionType_t{2, 0});
        summary.mMajor = version.major, summary.mMinor = version.minor;
        Summarize2x(iFile, head2x, &summary);
    }
    else if (auto* head1x = dynamic_cast<OMF_HEAD1x*>(head))
    {
        const omfVersionType_t version = head1x->mVersion.GetOr(omfVersionType_t{1, 0});
        summary.mMajor = version.major, summary.mMinor = version.minor;
        Summarize1x(iFile, head1x, &summary);
    }
    return summary;
}

namespace
{
std::string Hex(uint32_t iValue)
{
    std::ostringstream out;
    out << std::hex << iValue;
    return out.str();
}

// A value as text, by the layout of its type (numbers already in host order).
std::string Show(const std::string& iTypeName, const std::vector<uint8_t>& iBytes, int64_t iFileOffset)
{
    auto u32 = [&](size_t at) {
        uint32_t v = 0;
        std::memcpy(&v, iBytes.data() + at, 4);
        return v;
    };
    auto i32 = [&](size_t at) { return static_cast<int32_t>(u32(at)); };
    auto i16 = [&](size_t at) {
        int16_t v = 0;
        std::memcpy(&v, iBytes.data() + at, 2);
        return v;
    };
    auto text = [&] {
        std::string s(iBytes.begin(), iBytes.end());
        const size_t end = s.find('\0');
        return "\"" + (end == std::string::npos ? s : s.substr(0, end)) + "\"";
    };
    const size_t n = iBytes.size();
    if (iTypeName == "omfi:String" || iTypeName == "omfi:UniqueName")
        return text();
    if (iTypeName == "omfi:ClassID" || iTypeName == "omfi:ObjectTag")
        return text();
    if (iTypeName == "omfi:Boolean" && n >= 1)
        return iBytes[0] ? "true" : "false";
    if (iTypeName == "omfi:VersionType" && n >= 2)
        return std::to_string(iBytes[0]) + "." + std::to_string(iBytes[1]);
    if (iTypeName == "omfi:UID" && n >= 12)
        return std::to_string(i32(0)) + "." + std::to_string(u32(4)) + "." + std::to_string(u32(8));
    if ((iTypeName == "omfi:Rational" || iTypeName == "omfi:ExactEditRate") && n >= 8)
        return std::to_string(i32(0)) + "/" + std::to_string(i32(4));
    if (iTypeName == "omfi:TimeStamp" && n >= 4)
        return std::to_string(u32(0));
    if (iTypeName == "omfi:DataValue")
        return std::to_string(n) + " bytes" + (iFileOffset >= 0 ? " at " + std::to_string(iFileOffset) : "");
    if (iTypeName == "omfi:Int16" && n == 2 && (i16(0) == 0x4949 || i16(0) == 0x4D4D))
        return i16(0) == 0x4949 ? "'II'" : "'MM'";
    if (n == 4 && (iTypeName.find("Int32") != std::string::npos || iTypeName.find("32") != std::string::npos ||
                   iTypeName == "omfi:UsageCode" || iTypeName == "omfi:ArgIDType"))
        return iTypeName == "omfi:UInt32" ? std::to_string(u32(0)) : std::to_string(i32(0));
    if (n == 2)
        return iTypeName == "omfi:UInt16" ? std::to_string(static_cast<uint16_t>(i16(0))) : std::to_string(i16(0));
    if (n == 1)
        return std::to_string(iTypeName == "omfi:Int8" ? int(int8_t(iBytes[0])) : int(iBytes[0]));
    std::string hex;
    for (size_t i = 0; i < n && i < 32; ++i)
        hex += (i ? " " : "") + Hex(iBytes[i]);
    return "[" + hex + (n > 32 ? " ..." : "") + "]";
}

omfType_t TypeCode(const std::string& iName)
{
    for (omfType_t t = 1; t < OMLastType; ++t)
        if (iName == omfsTypeName(t))
            return t;
    return OMNoType;
}
} // namespace

std::vector<OMF_DumpObject> OMF_Dump(OMF_File& iFile)
{
    const OMF_ContainerReader* reader = omfsGetContainer(iFile.mHdl);
    omfObject_t head = 0;
    if (!reader || omfsGetHeadObject(iFile.mHdl, &head) != OM_ERR_NONE)
        L10N_Throw(18, 9);
    const bool swaps = reader->IsBigEndian() != (std::endian::native == std::endian::big);
    std::vector<OMF_DumpObject> objects;
    std::map<omfObject_t, int32_t> numbers;
    std::set<omfObject_t> onPath;
    // Iterative depth-first walk: a frame is an object and the references still to visit.
    struct Frame
    {
        omfObject_t mObject;
        size_t mIndex; // into objects
        std::vector<std::pair<size_t, omfObject_t>> mPending; // property index, target
        size_t mNext = 0;
    };
    std::vector<Frame> stack;
    auto visit = [&](omfObject_t iObject) {
        numbers[iObject] = static_cast<int32_t>(objects.size() + 1);
        onPath.insert(iObject);
        OMF_DumpObject dump;
        dump.mNumber = static_cast<int32_t>(objects.size() + 1);
        Frame frame{iObject, objects.size(), {}, 0};
        for (const OMF_ContainerValue* value : reader->GetValues(iObject))
        {
            if (value->mProperty < OMF_ContainerFormat::cFirstUserID)
                continue;
            OMF_DumpObject::Property prop;
            prop.mName = reader->GetPropertyName(value->mProperty);
            prop.mType = reader->GetTypeName(value->mType);
            if (prop.mType == "omfi:DataValue")
            {
                // Only where and how long: media data may be large.
                const int64_t at = reader->GetFileOffset(*value);
                prop.mValue = std::to_string(value->mLength) + " bytes" + (at >= 0 ? " at " + std::to_string(at) : "");
                dump.mProperties.push_back(std::move(prop));
                continue;
            }
            std::vector<uint8_t> bytes = reader->ReadAll(*value);
            const bool isRef = prop.mType == "omfi:ObjRef" || prop.mType == "omfi:ObjRefArray" ||
                               prop.mType == "omfi:MobIndex";
            if (swaps)
            {
                // Swap by the layout of the type, as the toolkit does.
                const char* layout = omfsTypeLayout(TypeCode(prop.mType));
                const size_t n = std::strlen(layout);
                size_t at = 0;
                for (size_t i = 0; n && at < bytes.size(); i = (i + 1) % n)
                {
                    const size_t width = static_cast<size_t>(layout[i] - '0');
                    if (at + width > bytes.size())
                        break;
                    std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                 bytes.begin() + static_cast<std::ptrdiff_t>(at + width));
                    at += width;
                }
            }
            if (isRef)
            {
                const size_t step = prop.mType == "omfi:MobIndex" ? 16 : 4;
                const size_t first = prop.mType == "omfi:MobIndex" ? 12 : 0;
                if (prop.mType == "omfi:MobIndex")
                    for (size_t at = 0; at + 16 <= bytes.size(); at += 16)
                        prop.mValue += (prop.mValue.empty() ? "" : " ") +
                                       Show("omfi:UID", std::vector<uint8_t>(bytes.begin() + at, bytes.begin() + at + 12), -1);
                for (size_t at = first; at + 4 <= bytes.size(); at += step)
                {
                    uint8_t key[4];
                    reader->Read(*value, static_cast<int64_t>(at), key, 4);
                    const omfObject_t target = reader->ResolveReference(*value, reader->ReadU32(key));
                    if (target)
                        frame.mPending.emplace_back(dump.mProperties.size(), target);
                }
            }
            else
                prop.mValue = Show(prop.mType, bytes, reader->GetFileOffset(*value));
            dump.mProperties.push_back(std::move(prop));
        }
        omfClassID_t cls;
        if (omfsReadClassID(iFile.mHdl, iObject, iFile.Is1x() ? OMObjID : OMOOBJObjClass, &cls) == OM_ERR_NONE)
            dump.mClass = cls.AsString();
        objects.push_back(std::move(dump));
        stack.push_back(std::move(frame));
    };
    visit(head);
    while (!stack.empty())
    {
        Frame& frame = stack.back();
        if (frame.mNext == frame.mPending.size())
        {
            onPath.erase(frame.mObject);
            stack.pop_back();
            continue;
        }
        const auto [property, target] = frame.mPending[frame.mNext++];
        const size_t index = frame.mIndex;
        if (onPath.count(target))
            L10N_Throw(18, 9); // the references form a cycle
        auto known = numbers.find(target);
        if (known == numbers.end())
        {
            if (reader->GetValues(target).empty())
                continue; // names nothing in the file
            visit(target);
            objects[index].mProperties[property].mRefs.push_back(numbers[target]);
        }
        else
            objects[index].mProperties[property].mRefs.push_back(known->second);
    }
    return objects;
}

bool OMF_ReadEmbeddedMedia(OMF_File& iFile, const OMF_EmbeddedMedia& iMedia, int64_t iOffset, void* oData,
                           int32_t iCount)
{
    return OMReadProp(iFile.mHdl, iMedia.mObject, iMedia.mProperty, iOffset, false, OMDataValue, iCount, oData) ==
           OM_ERR_NONE;
}

Cmn_AliasedRefCountPtr<FF_AudioFile> OMF_OpenEmbeddedAudio(const Sys_FileLoc& iOMFFile, const OMF_EmbeddedMedia& iMedia)
{
    if (iMedia.mOffset <= 0 || iMedia.mType == eAudioFileType_Unknown)
        L10N_Throw(19, 20); // "unsupported embedded media type"
    Cmn_AliasedRefCountPtr<FF_AudioFile> file(new FF_AudioFile(iOMFFile, iMedia.mOffset));
    file->SetEmbeddedLength(iMedia.mLength);
    return file;
}
