#include "FF/OMF/OMF_Toolkit.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "Cmn_Exception.h"
#include "FF/OMF/OMF_Container.h"
#include "L10N_ExceptionData.h"
#include "Sys_FileLoc.h"

namespace
{
struct TypeInfo
{
    const char* mName;
    const char* mLayout;
};

const TypeInfo cTypes[OMLastType] = {
    {"", ""},
    {"omfi:Boolean", ""},
    {"omfi:Int8", ""},
    {"omfi:Int16", "2"},
    {"omfi:Int32", "4"},
    {"omfi:UInt8", ""},
    {"omfi:UInt16", "2"},
    {"omfi:UInt32", "4"},
    {"omfi:Int64", "8"},
    {"omfi:String", ""},
    {"omfi:ObjRef", "4"},
    {"omfi:ObjRefArray", "4"},
    {"omfi:ClassID", ""},
    {"omfi:UID", "444"},
    {"omfi:Rational", "44"},
    {"omfi:ExactEditRate", "44"},
    {"omfi:TimeStamp", "41"},
    {"omfi:DataValue", ""},
    {"omfi:VersionType", ""},
    {"omfi:ObjectTag", ""},
    {"omfi:MobIndex", "4444"},
    {"omfi:Position32", "4"},
    {"omfi:Length32", "4"},
    {"omfi:Position64", "8"},
    {"omfi:Length64", "8"},
    {"omfi:UniqueName", ""},
    {"omfi:TrackType", "2"},
    {"omfi:PhysicalMobType", "2"},
    {"omfi:UsageCode", "4"},
    {"omfi:AttrKind", "2"},
    {"omfi:ArgIDType", "4"},
    {"omfi:InterpKind", "2"},
    {"omfi:EditHintType", "2"},
    {"omfi:PulldownKindType", "2"},
    {"omfi:FilmType", "2"},
    {"omfi:TapeCaseType", "2"},
};

struct PropInfo
{
    std::string mClass;
    std::string mName;
    omfType_t mType = OMNoType;
};

// The class trees of both generations: class -> superclass ("" for the root).
const std::pair<const char*, const char*> cClasses1x[] = {
    {"OOBJ", ""},     {"CLSD", "OOBJ"}, {"CPNT", "OOBJ"}, {"ATTB", "OOBJ"}, {"TXTL", "OOBJ"},
    {"DOSL", "OOBJ"}, {"MACL", "OOBJ"}, {"UNXL", "OOBJ"}, {"MDAT", "OOBJ"}, {"TRAK", "OOBJ"},
    {"MDES", "OOBJ"}, {"ATTR", "OOBJ"}, {"HEAD", "OOBJ"}, {"CLIP", "CPNT"}, {"TRKG", "CPNT"},
    {"SEQU", "CPNT"}, {"SCLP", "CLIP"}, {"FILL", "CLIP"}, {"TCCP", "CLIP"}, {"ECCP", "CLIP"},
    {"TRKR", "CLIP"}, {"ATCP", "CLIP"}, {"WARP", "TRKG"}, {"SLCT", "TRKG"}, {"TRAN", "TRKG"},
    {"MOBJ", "TRKG"}, {"SPED", "WARP"}, {"REPT", "WARP"}, {"MASK", "WARP"}, {"IDAT", "MDAT"},
    {"AIFC", "MDAT"}, {"TIFF", "MDAT"}, {"WAVE", "MDAT"}, {"JPEG", "IDAT"}, {"MDTP", "MDES"},
    {"MDFL", "MDES"}, {"QS2D", "MDFL"}, {"AIFD", "MDFL"}, {"TIFD", "MDFL"}, {"WAVD", "MDFL"},
    {"DIDD", "MDFL"}, {"CDCI", "DIDD"}};
const std::pair<const char*, const char*> cClasses2x[] = {
    {"OOBJ", ""},     {"ATTB", "OOBJ"}, {"CLSD", "OOBJ"}, {"DDEF", "OOBJ"}, {"EDEF", "OOBJ"},
    {"IDNT", "OOBJ"}, {"MDAT", "OOBJ"}, {"TRKD", "OOBJ"}, {"LOCR", "OOBJ"}, {"CTLP", "OOBJ"},
    {"CPNT", "OOBJ"}, {"ESLT", "OOBJ"}, {"MSLT", "OOBJ"}, {"ATTR", "OOBJ"}, {"MDES", "OOBJ"},
    {"MOBJ", "OOBJ"}, {"HEAD", "OOBJ"}, {"SEGM", "CPNT"}, {"TRAN", "CPNT"}, {"SCLP", "SEGM"},
    {"ECCP", "SEGM"}, {"FILL", "SEGM"}, {"CVAL", "SEGM"}, {"SREF", "SEGM"}, {"TCCP", "SEGM"},
    {"ERAT", "SEGM"}, {"PDWN", "SEGM"}, {"EFFE", "SEGM"}, {"MGRP", "SEGM"}, {"SLCT", "SEGM"},
    {"SEQU", "SEGM"}, {"VVAL", "SEGM"}, {"NEST", "SEGM"}, {"WAVE", "MDAT"}, {"TIFF", "MDAT"},
    {"IDAT", "MDAT"}, {"AIFC", "MDAT"}, {"JPEG", "IDAT"}, {"MDFL", "MDES"}, {"MDFM", "MDES"},
    {"MDTP", "MDES"}, {"WAVD", "MDFL"}, {"AIFD", "MDFL"}, {"QS2D", "MDFL"}, {"DIDD", "MDFL"},
    {"TIFD", "MDFL"}, {"CDCI", "DIDD"}, {"RGBA", "DIDD"}, {"TXTL", "LOCR"}, {"NETL", "LOCR"},
    {"DOSL", "LOCR"}, {"MACL", "LOCR"}, {"UNXL", "LOCR"}, {"WINL", "LOCR"}, {"CMOB", "MOBJ"},
    {"MMOB", "MOBJ"}, {"SMOB", "MOBJ"}};

std::string ClassText(omfClassIDPtr_t iID)
{
    return iID ? std::string(iID, strnlen(iID, 4)) : std::string();
}

bool HostIsBig()
{
    const uint16_t probe = 1;
    uint8_t first;
    std::memcpy(&first, &probe, 1);
    return first == 0;
}

// Swaps each element of the layout in place, repeating it over the bytes.
void Swab(uint8_t* ioData, size_t iSize, const char* iLayout)
{
    const size_t n = std::strlen(iLayout);
    if (n == 0)
        return;
    size_t at = 0;
    for (size_t i = 0; at < iSize; i = (i + 1) % n)
    {
        const size_t width = static_cast<size_t>(iLayout[i] - '0');
        if (at + width > iSize)
            break;
        std::reverse(ioData + at, ioData + at + width);
        at += width;
    }
}

thread_local std::string tLastReason;
} // namespace

struct omfSessionRec
{
    std::map<std::string, std::string> mSuper[2]; // by generation: 0 1.x, 1 2.x
    std::vector<PropInfo> mProps;                  // by code
    std::map<std::pair<std::string, omfType_t>, omfProperty_t> mCodes;
    std::set<omfiFile*> mFiles;
};

namespace
{
struct Pending
{
    std::string mProperty;
    omfType_t mType = OMNoType;
    std::vector<uint8_t> mBytes; // host order
    std::vector<size_t> mKeyOffsets;
    std::vector<omfObject_t> mTargets;
};
} // namespace

struct omfMediaRec
{
    omfiFile* mFile = nullptr;
    bool mOpen = true;
    bool mVideo = false;
    std::string mCodec;
    omfObject_t mData = 0, mDescriptor = 0, mFileClip = 0, mMasterClip = 0;
    omfRational_t mRate;
    int16_t mBits = 0, mChannels = 0;
    int32_t mSamples = 0;
    enum EMode { eMode_None, eMode_Raw, eMode_Samples } mMode = eMode_None;
    std::vector<uint8_t> mBytes; // raw data, or samples in the codec's order
    int64_t mHeaderBytes = 0;
};

struct omfiFile
{
    omfSessionRec* mSession = nullptr;
    omfFileRev_t mRev = kOmfRev2x;
    bool mSemanticCheck = true;
    std::unique_ptr<OMF_ContainerReader> mReader;
    // Writing.
    bool mWriting = false;
    std::string mPath;
    bool mBigEndian = false;
    uint16_t mForm = 2;
    uint32_t mMaxSegment = 0;
    omfObject_t mNextObject = OMF_ContainerFormat::cFirstUserID;
    std::map<omfObject_t, std::vector<Pending>> mPending;
    std::map<omfObject_t, std::string> mClassOf;
    // Reading.
    omfObject_t mHead = 0;
    std::map<omfProperty_t, std::pair<uint32_t, uint32_t>> mIDs; // code -> property, type ids
    std::map<std::string, std::string> mFileSuper;                // the file's class dictionary
    std::string mReason;
    bool mBentoError = false;
    // Media: the mobs made by the media calls (class of their data, "MDTP" for tapes, "" for
    // masters) and the media handles.
    std::map<omfObject_t, std::string> mMobCodec;
    std::map<omfObject_t, omfObject_t> mMobDescriptor;
    std::vector<std::unique_ptr<omfMediaRec>> mMedia;

    int Gen() const { return mRev == kOmfRev1x ? 0 : 1; }
    bool Swaps() const { return (mReader ? mReader->IsBigEndian() : mBigEndian) != HostIsBig(); }
};

namespace
{
bool Valid(omfHdl_t iFile)
{
    return iFile && iFile->mSession;
}

const PropInfo* Prop(omfSessionRec* iSession, omfProperty_t iProperty)
{
    if (!iSession || iProperty <= 0 || iProperty >= static_cast<omfProperty_t>(iSession->mProps.size()))
        return nullptr;
    const PropInfo& info = iSession->mProps[static_cast<size_t>(iProperty)];
    return info.mType == OMNoType ? nullptr : &info;
}

// The container value of a property of an object of a file opened for reading.
const OMF_ContainerValue* Value(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                                omfType_t iType = OMNoType)
{
    if (!Valid(iFile) || !iFile->mReader || iObject == 0)
        return nullptr;
    auto it = iFile->mIDs.find(iProperty);
    if (it == iFile->mIDs.end())
    {
        const PropInfo* info = Prop(iFile->mSession, iProperty);
        std::pair<uint32_t, uint32_t> ids(0, 0);
        if (info)
            ids = {iFile->mReader->FindProperty(info->mName),
                   iFile->mReader->FindType(cTypes[info->mType].mName)};
        it = iFile->mIDs.emplace(iProperty, ids).first;
    }
    if (it->second.first == 0 || it->second.second == 0)
        return nullptr;
    if (iType != OMNoType && Prop(iFile->mSession, iProperty)->mType != iType)
        return nullptr;
    return iFile->mReader->Find(iObject, it->second.first, it->second.second);
}

Pending* FindPending(omfHdl_t iFile, omfObject_t iObject, const std::string& iProperty)
{
    auto it = iFile->mPending.find(iObject);
    if (it == iFile->mPending.end())
        return nullptr;
    for (Pending& pending : it->second)
        if (pending.mProperty == iProperty)
            return &pending;
    return nullptr;
}

bool IsA(omfHdl_t iFile, const std::string& iClass, const std::string& iAncestor)
{
    std::string cls = iClass;
    for (int guard = 0; guard < 64 && !cls.empty(); ++guard)
    {
        if (cls == iAncestor)
            return true;
        omfClassID_t super;
        omfBool found = false;
        omfsClassFindSuperClass(iFile, cls.c_str(), &super, &found);
        if (!found)
            return false;
        cls = super.AsString();
    }
    return false;
}

// The pending value a write goes to, after the semantic check.
omfErr_t PendingFor(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, Pending** oPending)
{
    if (!Valid(iFile) || !iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    const PropInfo* info = Prop(iFile->mSession, iProperty);
    if (!info)
        return OM_ERR_BAD_PROP;
    auto cls = iFile->mClassOf.find(iObject);
    if (cls == iFile->mClassOf.end())
        return OM_ERR_BADOBJ;
    if (iFile->mSemanticCheck && !IsA(iFile, cls->second, info->mClass))
        return OM_ERR_SEMANTIC;
    Pending* pending = FindPending(iFile, iObject, info->mName);
    if (!pending)
    {
        iFile->mPending[iObject].emplace_back();
        pending = &iFile->mPending[iObject].back();
        pending->mProperty = info->mName;
    }
    pending->mType = info->mType;
    *oPending = pending;
    return OM_ERR_NONE;
}

omfErr_t ReadKeyAt(omfHdl_t iFile, const OMF_ContainerValue* iValue, int64_t iOffset, omfObject_t* oTarget)
{
    uint8_t key[4];
    if (!iValue || !iFile->mReader->Read(*iValue, iOffset, key, 4))
        return OM_ERR_BADINDEX;
    *oTarget = iFile->mReader->ResolveReference(*iValue, iFile->mReader->ReadU32(key));
    return *oTarget ? OM_ERR_NONE : OM_ERR_BADOBJ;
}

std::string ReadClassValue(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty)
{
    const OMF_ContainerValue* value = Value(iFile, iObject, iProperty);
    char id[4] = {0, 0, 0, 0};
    if (!value || value->mLength < 4 || !iFile->mReader->Read(*value, 0, id, 4))
        return std::string();
    return std::string(id, 4);
}

omfErr_t FindHead(omfHdl_t iFile)
{
    for (omfObject_t object : iFile->mReader->GetObjects())
    {
        if (ReadClassValue(iFile, object, OMOOBJObjClass) == "HEAD")
        {
            omfVersionType_t version;
            if (OMReadBaseProp(iFile, object, OMHEADVersion, OMVersionType, 2, &version) != OM_ERR_NONE ||
                version.major != 2)
                return OM_ERR_FILEREV_NOT_SUPP;
            iFile->mRev = kOmfRev2x, iFile->mHead = object;
            return OM_ERR_NONE;
        }
        if (ReadClassValue(iFile, object, OMObjID) == "HEAD")
        {
            omfVersionType_t version;
            if (OMReadBaseProp(iFile, object, OMVersion, OMVersionType, 2, &version) != OM_ERR_NONE ||
                version.major != 1)
                return OM_ERR_FILEREV_NOT_SUPP;
            iFile->mRev = kOmfRev1x, iFile->mHead = object;
            return OM_ERR_NONE;
        }
    }
    return OM_ERR_BADHEAD;
}

// The file's own class dictionary: private classes and their parents.
void ReadClassDictionary(omfHdl_t iFile)
{
    const bool old = iFile->mRev == kOmfRev1x;
    const omfProperty_t list = old ? OMClassDictionary1x : OMHEADClassDictionary;
    const omfProperty_t idProp = old ? OMCLSDClassID1x : OMCLSDClass;
    const omfProperty_t parentProp = old ? OMCLSDParentClass1x : OMCLSDParentClass;
    const int32_t count = omfsLengthObjRefArray(iFile, iFile->mHead, list);
    for (int32_t i = 1; i <= count; ++i)
    {
        omfObject_t clsd = 0, parent = 0;
        if (omfsGetNthObjRefArray(iFile, iFile->mHead, list, &clsd, i) != OM_ERR_NONE)
            continue;
        const std::string id = ReadClassValue(iFile, clsd, idProp);
        if (id.empty() || omfsReadObjRef(iFile, clsd, parentProp, &parent) != OM_ERR_NONE)
            continue;
        const std::string parentID = ReadClassValue(iFile, parent, idProp);
        if (!parentID.empty() && parentID != id)
            iFile->mFileSuper[id] = parentID;
    }
}

omfErr_t Opened(std::unique_ptr<OMF_ContainerSource> iSource, omfSessionHdl_t iSession, omfHdl_t* oFile)
{
    if (!iSession || !oFile)
        return OM_ERR_NULL_PARAM;
    *oFile = nullptr;
    auto file = std::make_unique<omfiFile>();
    file->mSession = iSession;
    try
    {
        file->mReader = std::make_unique<OMF_ContainerReader>(std::move(iSource));
    }
    catch (const L10N_Exception& e)
    {
        tLastReason = e.GetData().GetText();
        return e.GetData().GetStringID() == 2 ? OM_ERR_FILEREV_NOT_SUPP : OM_ERR_NOTOMFIFILE;
    }
    const omfErr_t err = FindHead(file.get());
    if (err != OM_ERR_NONE)
    {
        tLastReason = omfsGetErrorString(err);
        return err;
    }
    ReadClassDictionary(file.get());
    iSession->mFiles.insert(file.get());
    *oFile = file.release();
    return OM_ERR_NONE;
}
} // namespace

const char* omfsTypeName(omfType_t iType)
{
    return iType > 0 && iType < OMLastType ? cTypes[iType].mName : "";
}

const char* omfsTypeLayout(omfType_t iType)
{
    return iType > 0 && iType < OMLastType ? cTypes[iType].mLayout : "";
}

// ---- session and file --------------------------------------------------------------------------
omfErr_t omfsBeginSession(const void*, omfSessionHdl_t* oSession)
{
    if (!oSession)
        return OM_ERR_NULL_PARAM;
    auto session = std::make_unique<omfSessionRec>();
    for (const auto& [cls, super] : cClasses1x)
        session->mSuper[0][cls] = super;
    for (const auto& [cls, super] : cClasses2x)
        session->mSuper[1][cls] = super;
    session->mProps.resize(OMLastBuiltInProp);
#define OMF_PROP(code, cls, name, type) session->mProps[code] = PropInfo{cls, name, type};
#include "FF/OMF/OMF_Properties.inc"
#undef OMF_PROP
    for (size_t code = 1; code < session->mProps.size(); ++code)
        session->mCodes.emplace(std::make_pair(session->mProps[code].mName, session->mProps[code].mType),
                                static_cast<omfProperty_t>(code));
    *oSession = session.release();
    return OM_ERR_NONE;
}

omfErr_t omfsEndSession(omfSessionHdl_t iSession)
{
    if (!iSession)
        return OM_ERR_BAD_SESSION;
    if (!iSession->mFiles.empty())
        return OM_ERR_BAD_SESSION; // files still open
    delete iSession;
    return OM_ERR_NONE;
}

omfErr_t omfsCreateFile(const Sys_FileLoc& iLoc, omfSessionHdl_t iSession, omfFileRev_t iRev, omfHdl_t* oFile)
{
    if (!iSession || !oFile)
        return OM_ERR_NULL_PARAM;
    if (iRev != kOmfRev1x && iRev != kOmfRev2x)
        return OM_ERR_FILEREV_NOT_SUPP;
    auto file = std::make_unique<omfiFile>();
    file->mSession = iSession;
    file->mRev = iRev;
    file->mWriting = true;
    file->mPath = iLoc.GetFullPath();
    file->mBigEndian = HostIsBig();
    file->mForm = iRev == kOmfRev1x ? 1 : 2;
    // The head, with the version and byte order of its generation.
    omfObject_t head = 0;
    omfsObjectNew(file.get(), "HEAD", &head);
    file->mHead = head;
    const omfVersionType_t version{static_cast<uint8_t>(iRev == kOmfRev1x ? 1 : 2),
                                   static_cast<uint8_t>(iRev == kOmfRev1x ? 0 : 1)};
    OMWriteBaseProp(file.get(), head, iRev == kOmfRev1x ? OMVersion : OMHEADVersion, OMVersionType, 2, &version);
    iSession->mFiles.insert(file.get());
    *oFile = file.release();
    omfsSetByteOrder(*oFile, HostIsBig());
    return OM_ERR_NONE;
}

omfErr_t omfsSetByteOrder(omfHdl_t iFile, bool iBigEndian)
{
    if (!Valid(iFile) || !iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    iFile->mBigEndian = iBigEndian;
    const int16_t order = iBigEndian ? 0x4D4D : 0x4949; // 'MM' or 'II'
    return OMWriteBaseProp(iFile, iFile->mHead, iFile->mRev == kOmfRev1x ? OMByteOrder : OMHEADByteOrder,
                           OMInt16, 2, &order);
}

omfErr_t omfsSetContainerForm(omfHdl_t iFile, uint16_t iMajorVersion)
{
    if (!Valid(iFile) || !iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    if (iMajorVersion != 1 && iMajorVersion != 2)
        return OM_ERR_FILEREV_NOT_SUPP;
    iFile->mForm = iMajorVersion;
    return OM_ERR_NONE;
}

omfErr_t omfsSetMaxSegment(omfHdl_t iFile, uint32_t iBytes)
{
    if (!Valid(iFile) || !iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    iFile->mMaxSegment = iBytes;
    return OM_ERR_NONE;
}

omfErr_t omfsOpenFile(const Sys_FileLoc& iLoc, omfSessionHdl_t iSession, omfHdl_t* oFile)
{
    std::unique_ptr<OMF_ContainerSource> source;
    try
    {
        source = OMF_ContainerSource::FromFile(iLoc);
    }
    catch (const std::exception& e)
    {
        tLastReason = e.what();
        if (oFile)
            *oFile = nullptr;
        return OM_ERR_FILE_NOT_READABLE;
    }
    return Opened(std::move(source), iSession, oFile);
}

omfErr_t omfsOpenSource(std::unique_ptr<OMF_ContainerSource> iSource, omfSessionHdl_t iSession, omfHdl_t* oFile)
{
    return Opened(std::move(iSource), iSession, oFile);
}

omfErr_t omfsCloseFile(omfHdl_t iFile)
{
    if (!Valid(iFile))
        return OM_ERR_NULL_PARAM;
    for (const auto& media : iFile->mMedia)
        if (media->mOpen)
        {
            const omfErr_t err = omfmMediaClose(media.get());
            if (err != OM_ERR_NONE)
            {
                omfsDiscardFile(iFile);
                return err;
            }
        }
    std::unique_ptr<omfiFile> file(iFile);
    file->mSession->mFiles.erase(iFile);
    if (!file->mWriting)
        return OM_ERR_NONE;
    // Object ids of the file are ours already; property and type objects come after them.
    OMF_ContainerWriter writer(file->mBigEndian, file->mForm, 0);
    for (omfObject_t id = OMF_ContainerFormat::cFirstUserID; id < file->mNextObject; ++id)
        writer.NewObject();
    if (file->mMaxSegment)
        writer.SetMaxSegment(file->mMaxSegment);
    const bool swaps = file->Swaps();
    for (const auto& [object, values] : file->mPending)
        for (const Pending& pending : values)
        {
            std::vector<uint8_t> bytes = pending.mBytes;
            if (swaps)
                Swab(bytes.data(), bytes.size(), cTypes[pending.mType].mLayout);
            const uint32_t property = writer.Property(pending.mProperty);
            const uint32_t type = writer.Type(cTypes[pending.mType].mName);
            if (pending.mTargets.empty())
                writer.AddValue(object, property, type, bytes,
                                pending.mType == OMDataValue && bytes.size() > 4);
            else
                writer.AddReferencingValue(object, property, type, bytes, pending.mKeyOffsets, pending.mTargets);
        }
    try
    {
        writer.WriteTo(Sys_FileLoc(file->mPath));
    }
    catch (const std::exception& e)
    {
        tLastReason = e.what();
        return OM_ERR_FILE_NOT_WRITABLE;
    }
    return OM_ERR_NONE;
}

omfErr_t omfsDiscardFile(omfHdl_t iFile)
{
    if (!Valid(iFile))
        return OM_ERR_NULL_PARAM;
    iFile->mSession->mFiles.erase(iFile);
    delete iFile;
    return OM_ERR_NONE;
}

omfErr_t omfsFileGetRev(omfHdl_t iFile, omfFileRev_t* oRev)
{
    if (!Valid(iFile) || !oRev)
        return OM_ERR_NULL_PARAM;
    *oRev = iFile->mRev;
    return OM_ERR_NONE;
}

omfErr_t omfsGetHeadObject(omfHdl_t iFile, omfObject_t* oHead)
{
    if (!Valid(iFile) || !oHead)
        return OM_ERR_NULL_PARAM;
    *oHead = iFile->mHead;
    return iFile->mHead ? OM_ERR_NONE : OM_ERR_BADHEAD;
}

const OMF_ContainerReader* omfsGetContainer(omfHdl_t iFile)
{
    return Valid(iFile) ? iFile->mReader.get() : nullptr;
}

bool omfsIsBigEndian(omfHdl_t iFile)
{
    return Valid(iFile) && (iFile->mReader ? iFile->mReader->IsBigEndian() : iFile->mBigEndian);
}

omfSessionHdl_t omfsGetSession(omfHdl_t iFile)
{
    return Valid(iFile) ? iFile->mSession : nullptr;
}

// ---- errors --------------------------------------------------------------------------------------
const char* omfsGetErrorString(omfErr_t iErr)
{
    switch (iErr)
    {
    case OM_ERR_NONE: return "no error";
    case OM_ERR_BAD_SESSION: return "bad session";
    case OM_ERR_NULL_PARAM: return "missing parameter";
    case OM_ERR_NOTOMFIFILE: return "file is not an OMF file";
    case OM_ERR_FILEREV_NOT_SUPP: return "file revision not supported";
    case OM_ERR_BADHEAD: return "no head object";
    case OM_ERR_BADOBJ: return "bad object";
    case OM_ERR_PROP_NOT_PRESENT: return "property not present";
    case OM_ERR_BAD_PROP: return "unknown property";
    case OM_ERR_BAD_TYPE: return "wrong property type";
    case OM_ERR_BADINDEX: return "index out of range";
    case OM_ERR_CLASS_NOT_FOUND: return "class not found";
    case OM_ERR_DUPLICATE_CLASS: return "class already defined";
    case OM_ERR_DUPLICATE_PROP: return "property already defined";
    case OM_ERR_BENTO_PROBLEM: return "container problem";
    case OM_ERR_FILE_NOT_WRITABLE: return "file not writable";
    case OM_ERR_FILE_NOT_READABLE: return "file not readable";
    case OM_ERR_SMALLBUF: return "buffer too small";
    case OM_ERR_REQUIRED_POSITIVE: return "value must be positive";
    case OM_ERR_SEMANTIC: return "property not allowed on this class";
    case OM_ERR_NOT_IN_1X: return "not available in 1.x files";
    case OM_ERR_NOT_IN_20: return "not available in 2.x files";
    case OM_ERR_REFCYCLE: return "object references form a cycle";
    case OM_ERR_MEDIA_CLOSED: return "media already closed";
    case OM_ERR_WRONG_MEDIATYPE: return "wrong kind of media";
    case OM_ERR_INVALID_MOBTYPE: return "wrong kind of mob";
    case OM_ERR_MEDIA_OPENMODE: return "media takes raw data or samples, not both";
    }
    return "unknown error";
}

std::string omfsGetExpandedErrorString(omfHdl_t iFile, omfErr_t iErr)
{
    const std::string& reason = Valid(iFile) && !iFile->mReason.empty() ? iFile->mReason : tLastReason;
    std::string text = omfsGetErrorString(iErr);
    if (!reason.empty() && reason != text)
        text += " (" + reason + ")";
    return text;
}

omfErr_t omfsGetBentoErrorRaised(omfHdl_t iFile, omfBool* oRaised)
{
    if (!Valid(iFile) || !oRaised)
        return OM_ERR_NULL_PARAM;
    *oRaised = iFile->mBentoError;
    return OM_ERR_NONE;
}

std::string omfsGetBentoErrorString(omfHdl_t iFile)
{
    return Valid(iFile) && iFile->mBentoError ? iFile->mReason : std::string();
}

// ---- classes, objects, properties --------------------------------------------------------------
omfErr_t omfsNewClass(omfSessionHdl_t iSession, omfClassType_t, omfFileRev_t iRev, omfClassIDPtr_t iID,
                      omfClassIDPtr_t iSuperID)
{
    if (!iSession || !iID || !iSuperID)
        return OM_ERR_NULL_PARAM;
    auto& tree = iSession->mSuper[iRev == kOmfRev1x ? 0 : 1];
    const std::string id = ClassText(iID), super = ClassText(iSuperID);
    if (!tree.count(super))
        return OM_ERR_CLASS_NOT_FOUND;
    auto it = tree.find(id);
    if (it != tree.end())
        return it->second == super ? OM_ERR_NONE : OM_ERR_DUPLICATE_CLASS;
    tree[id] = super;
    return OM_ERR_NONE;
}

omfErr_t omfsRegisterDynamicProp(omfSessionHdl_t iSession, omfClassType_t, const char* iName,
                                 omfClassIDPtr_t iClass, omfType_t iValueType, omfFileRev_t iRev,
                                 omfProperty_t* oProperty)
{
    if (!iSession || !iName || !iClass || !oProperty)
        return OM_ERR_NULL_PARAM;
    if (iValueType <= OMNoType || iValueType >= OMLastType)
        return OM_ERR_BAD_TYPE;
    const std::string cls = ClassText(iClass);
    if (!iSession->mSuper[iRev == kOmfRev1x ? 0 : 1].count(cls))
        return OM_ERR_CLASS_NOT_FOUND;
    // Properties are named "OMFI:<class>:<name>" in the file.
    const std::string name = "OMFI:" + cls + ":" + iName;
    auto it = iSession->mCodes.find({name, iValueType});
    if (it != iSession->mCodes.end())
    {
        *oProperty = it->second;
        return OM_ERR_NONE;
    }
    *oProperty = static_cast<omfProperty_t>(iSession->mProps.size());
    iSession->mProps.push_back(PropInfo{cls, name, iValueType});
    iSession->mCodes.emplace(std::make_pair(name, iValueType), *oProperty);
    return OM_ERR_NONE;
}

omfErr_t omfsClassFindSuperClass(omfHdl_t iFile, omfClassIDPtr_t iClass, omfClassID_t* oSuper, omfBool* oFound)
{
    if (!Valid(iFile) || !iClass || !oSuper || !oFound)
        return OM_ERR_NULL_PARAM;
    *oFound = false;
    const std::string cls = ClassText(iClass);
    std::string super;
    auto own = iFile->mFileSuper.find(cls);
    const auto& tree = iFile->mSession->mSuper[iFile->Gen()];
    auto known = tree.find(cls);
    if (known != tree.end())
        super = known->second;
    else if (own != iFile->mFileSuper.end())
        super = own->second;
    else
        return OM_ERR_CLASS_NOT_FOUND;
    if (super.size() != 4)
        return OM_ERR_NONE; // the root
    std::memcpy(oSuper->id, super.data(), 4);
    *oFound = true;
    return OM_ERR_NONE;
}

omfErr_t omfsObjectNew(omfHdl_t iFile, omfClassIDPtr_t iClass, omfObject_t* oObject)
{
    if (!Valid(iFile) || !iClass || !oObject)
        return OM_ERR_NULL_PARAM;
    if (!iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    const std::string cls = ClassText(iClass);
    if (cls.size() != 4)
        return OM_ERR_CLASS_NOT_FOUND;
    *oObject = iFile->mNextObject++;
    iFile->mClassOf[*oObject] = cls;
    // The class property belongs to every object, of a known class or not.
    const bool checks = iFile->mSemanticCheck;
    iFile->mSemanticCheck = false;
    const omfErr_t err = OMWriteBaseProp(iFile, *oObject, iFile->mRev == kOmfRev1x ? OMObjID : OMOOBJObjClass,
                           iFile->mRev == kOmfRev1x ? OMObjectTag : OMClassID, 4, cls.data());
    iFile->mSemanticCheck = checks;
    return err;
}

omfErr_t omfsReadClassID(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfClassID_t* oClass)
{
    if (!Valid(iFile) || !oClass)
        return OM_ERR_NULL_PARAM;
    if (iFile->mWriting)
    {
        auto it = iFile->mClassOf.find(iObject);
        if (it == iFile->mClassOf.end())
            return OM_ERR_BADOBJ;
        std::memcpy(oClass->id, it->second.data(), 4);
        return OM_ERR_NONE;
    }
    const std::string cls = ReadClassValue(iFile, iObject, iProperty);
    if (cls.empty())
        return OM_ERR_PROP_NOT_PRESENT;
    std::memcpy(oClass->id, cls.data(), 4);
    return OM_ERR_NONE;
}

omfErr_t omfsReadObjectTag(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfClassID_t* oTag)
{
    return omfsReadClassID(iFile, iObject, iProperty, oTag);
}

omfBool omfsIsPropPresent(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfType_t iType)
{
    if (!Valid(iFile))
        return false;
    if (iFile->mWriting)
    {
        const PropInfo* info = Prop(iFile->mSession, iProperty);
        const Pending* pending = info ? FindPending(iFile, iObject, info->mName) : nullptr;
        return pending && (iType == OMNoType || pending->mType == iType);
    }
    return Value(iFile, iObject, iProperty, iType) != nullptr;
}

omfErr_t OMLengthProp(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfType_t iType, int64_t* oLength)
{
    if (!Valid(iFile) || !oLength)
        return OM_ERR_NULL_PARAM;
    if (iFile->mWriting)
    {
        const PropInfo* info = Prop(iFile->mSession, iProperty);
        const Pending* pending = info ? FindPending(iFile, iObject, info->mName) : nullptr;
        if (!pending)
            return OM_ERR_PROP_NOT_PRESENT;
        *oLength = static_cast<int64_t>(pending->mBytes.size());
        return OM_ERR_NONE;
    }
    const OMF_ContainerValue* value = Value(iFile, iObject, iProperty, iType);
    if (!value)
        return OM_ERR_PROP_NOT_PRESENT;
    *oLength = value->mLength;
    return OM_ERR_NONE;
}

omfErr_t omfsLengthDataValue(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, int64_t* oLength)
{
    return OMLengthProp(iFile, iObject, iProperty, OMDataValue, oLength);
}

omfErr_t OMReadProp(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, int64_t iOffset, bool iSwab,
                    omfType_t iType, int32_t iSize, void* oData)
{
    if (!Valid(iFile) || (!oData && iSize > 0) || iSize < 0)
        return OM_ERR_NULL_PARAM;
    if (iFile->mWriting)
    {
        const PropInfo* info = Prop(iFile->mSession, iProperty);
        const Pending* pending = info ? FindPending(iFile, iObject, info->mName) : nullptr;
        if (!pending)
            return OM_ERR_PROP_NOT_PRESENT;
        if (iOffset < 0 || iOffset + iSize > static_cast<int64_t>(pending->mBytes.size()))
            return OM_ERR_SMALLBUF;
        std::memcpy(oData, pending->mBytes.data() + iOffset, static_cast<size_t>(iSize));
        return OM_ERR_NONE;
    }
    const OMF_ContainerValue* value = Value(iFile, iObject, iProperty, iType);
    if (!value)
        return Prop(iFile->mSession, iProperty) ? OM_ERR_PROP_NOT_PRESENT : OM_ERR_BAD_PROP;
    if (!iFile->mReader->Read(*value, iOffset, oData, iSize))
        return OM_ERR_SMALLBUF;
    if (iSwab && iFile->Swaps())
        Swab(static_cast<uint8_t*>(oData), static_cast<size_t>(iSize),
             cTypes[Prop(iFile->mSession, iProperty)->mType].mLayout);
    return OM_ERR_NONE;
}

omfErr_t OMReadBaseProp(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfType_t iType,
                        int32_t iSize, void* oData)
{
    return OMReadProp(iFile, iObject, iProperty, 0, true, iType, iSize, oData);
}

omfErr_t OMWriteBaseProp(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfType_t iType,
                         int32_t iSize, const void* iData)
{
    Pending* pending = nullptr;
    const omfErr_t err = PendingFor(iFile, iObject, iProperty, &pending);
    if (err != OM_ERR_NONE)
        return err;
    if (iType != OMNoType && pending->mType != iType)
        return OM_ERR_BAD_TYPE;
    const uint8_t* p = static_cast<const uint8_t*>(iData);
    pending->mBytes.assign(p, p + (iSize > 0 ? iSize : 0));
    pending->mKeyOffsets.clear();
    pending->mTargets.clear();
    return OM_ERR_NONE;
}

omfErr_t OMGetPropertyFileOffset(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, int64_t iOffset,
                                 omfType_t iType, int64_t* oFileOffset)
{
    if (!Valid(iFile) || !oFileOffset)
        return OM_ERR_NULL_PARAM;
    const OMF_ContainerValue* value = Value(iFile, iObject, iProperty, iType);
    if (!value)
        return OM_ERR_PROP_NOT_PRESENT;
    const int64_t start = iFile->mReader->GetFileOffset(*value);
    if (start < 0 || iOffset < 0 || iOffset > value->mLength)
        return OM_ERR_BENTO_PROBLEM; // immediate or in pieces: no one place in the file
    *oFileOffset = start + iOffset;
    return OM_ERR_NONE;
}

omfErr_t omfsLengthString(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, int32_t* oLength)
{
    std::string text;
    const omfErr_t err = omfsReadString(iFile, iObject, iProperty, &text);
    if (err == OM_ERR_NONE && oLength)
        *oLength = static_cast<int32_t>(text.size());
    return err;
}

omfErr_t omfsReadString(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, std::string* oText)
{
    int64_t length = 0;
    omfErr_t err = OMLengthProp(iFile, iObject, iProperty, OMNoType, &length);
    if (err != OM_ERR_NONE || !oText)
        return err ? err : OM_ERR_NULL_PARAM;
    std::vector<char> bytes(static_cast<size_t>(length));
    err = OMReadProp(iFile, iObject, iProperty, 0, false, OMNoType, static_cast<int32_t>(length), bytes.data());
    if (err != OM_ERR_NONE)
        return err;
    oText->assign(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0'));
    return OM_ERR_NONE;
}

omfErr_t omfsWriteString(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, const std::string& iText)
{
    return OMWriteBaseProp(iFile, iObject, iProperty, OMNoType, static_cast<int32_t>(iText.size() + 1),
                           iText.c_str());
}

omfErr_t omfsReadObjRef(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfObject_t* oTarget)
{
    if (!Valid(iFile) || !oTarget)
        return OM_ERR_NULL_PARAM;
    *oTarget = 0;
    if (iFile->mWriting)
    {
        const PropInfo* info = Prop(iFile->mSession, iProperty);
        const Pending* pending = info ? FindPending(iFile, iObject, info->mName) : nullptr;
        if (!pending || pending->mTargets.empty())
            return OM_ERR_PROP_NOT_PRESENT;
        *oTarget = pending->mTargets[0];
        return OM_ERR_NONE;
    }
    const OMF_ContainerValue* value = Value(iFile, iObject, iProperty, OMObjRef);
    if (!value)
        return OM_ERR_PROP_NOT_PRESENT;
    return ReadKeyAt(iFile, value, 0, oTarget);
}

omfErr_t omfsWriteObjRef(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfObject_t iTarget)
{
    Pending* pending = nullptr;
    const omfErr_t err = PendingFor(iFile, iObject, iProperty, &pending);
    if (err != OM_ERR_NONE)
        return err;
    if (pending->mType != OMObjRef)
        return OM_ERR_BAD_TYPE;
    pending->mBytes.assign(4, 0);
    pending->mKeyOffsets = {0};
    pending->mTargets = {iTarget};
    return OM_ERR_NONE;
}

int32_t omfsLengthObjRefArray(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty)
{
    int64_t length = 0;
    if (OMLengthProp(iFile, iObject, iProperty, OMObjRefArray, &length) != OM_ERR_NONE)
        return 0;
    return static_cast<int32_t>(length / 4);
}

omfErr_t omfsGetNthObjRefArray(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfObject_t* oTarget,
                               int32_t iIndex)
{
    if (!Valid(iFile) || !oTarget)
        return OM_ERR_NULL_PARAM;
    if (iIndex < 1 || iIndex > omfsLengthObjRefArray(iFile, iObject, iProperty))
        return OM_ERR_BADINDEX;
    if (iFile->mWriting)
    {
        *oTarget = FindPending(iFile, iObject, Prop(iFile->mSession, iProperty)->mName)->mTargets[size_t(iIndex - 1)];
        return OM_ERR_NONE;
    }
    return ReadKeyAt(iFile, Value(iFile, iObject, iProperty, OMObjRefArray), 4 * int64_t(iIndex - 1), oTarget);
}

omfErr_t omfsAppendObjRefArray(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfObject_t iTarget)
{
    Pending* pending = nullptr;
    const omfErr_t err = PendingFor(iFile, iObject, iProperty, &pending);
    if (err != OM_ERR_NONE)
        return err;
    if (pending->mType != OMObjRefArray)
        return OM_ERR_BAD_TYPE;
    pending->mKeyOffsets.push_back(pending->mBytes.size());
    pending->mBytes.resize(pending->mBytes.size() + 4);
    pending->mTargets.push_back(iTarget);
    return OM_ERR_NONE;
}

int32_t omfsLengthObjIndex(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty)
{
    int64_t length = 0;
    if (OMLengthProp(iFile, iObject, iProperty, OMMobIndex, &length) != OM_ERR_NONE)
        return 0;
    return static_cast<int32_t>(length / 16);
}

omfErr_t omfsGetNthObjIndex(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, omfUID_t* oID,
                            omfObject_t* oTarget, int32_t iIndex)
{
    if (!Valid(iFile) || !oTarget || !oID)
        return OM_ERR_NULL_PARAM;
    if (iIndex < 1 || iIndex > omfsLengthObjIndex(iFile, iObject, iProperty))
        return OM_ERR_BADINDEX;
    const int64_t at = 16 * int64_t(iIndex - 1);
    uint8_t entry[12];
    omfErr_t err = OMReadProp(iFile, iObject, iProperty, at, true, OMMobIndex, 12, entry);
    if (err != OM_ERR_NONE)
        return err;
    std::memcpy(&oID->prefix, entry, 4);
    std::memcpy(&oID->major, entry + 4, 4);
    std::memcpy(&oID->minor, entry + 8, 4);
    if (iFile->mWriting)
    {
        *oTarget = FindPending(iFile, iObject, Prop(iFile->mSession, iProperty)->mName)->mTargets[size_t(iIndex - 1)];
        return OM_ERR_NONE;
    }
    return ReadKeyAt(iFile, Value(iFile, iObject, iProperty, OMMobIndex), at + 12, oTarget);
}

omfErr_t omfsAppendObjIndex(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, const omfUID_t& iID,
                            omfObject_t iTarget)
{
    Pending* pending = nullptr;
    const omfErr_t err = PendingFor(iFile, iObject, iProperty, &pending);
    if (err != OM_ERR_NONE)
        return err;
    if (pending->mType != OMMobIndex)
        return OM_ERR_BAD_TYPE;
    const size_t at = pending->mBytes.size();
    pending->mBytes.resize(at + 16);
    std::memcpy(pending->mBytes.data() + at, &iID.prefix, 4);
    std::memcpy(pending->mBytes.data() + at + 4, &iID.major, 4);
    std::memcpy(pending->mBytes.data() + at + 8, &iID.minor, 4);
    pending->mKeyOffsets.push_back(at + 12);
    pending->mTargets.push_back(iTarget);
    return OM_ERR_NONE;
}

omfErr_t omfsGetDateTime(omfTimeStamp_t* oTime)
{
    if (!oTime)
        return OM_ERR_NULL_PARAM;
    oTime->TimeVal = static_cast<uint32_t>(
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count());
    oTime->IsGMT = true;
    return OM_ERR_NONE;
}

omfType_t omfsPropertyType(omfSessionHdl_t iSession, omfProperty_t iProperty)
{
    const PropInfo* info = Prop(iSession, iProperty);
    return info ? info->mType : OMNoType;
}

std::string omfsPropertyClass(omfSessionHdl_t iSession, omfProperty_t iProperty)
{
    const PropInfo* info = Prop(iSession, iProperty);
    return info ? info->mClass : std::string();
}

// ---- semantic checks -------------------------------------------------------------------------
omfErr_t omfsSemanticCheckOn(omfHdl_t iFile)
{
    if (!Valid(iFile))
        return OM_ERR_NULL_PARAM;
    iFile->mSemanticCheck = true;
    return OM_ERR_NONE;
}

omfErr_t omfsSemanticCheckOff(omfHdl_t iFile)
{
    if (!Valid(iFile))
        return OM_ERR_NULL_PARAM;
    iFile->mSemanticCheck = false;
    return OM_ERR_NONE;
}

omfBool omfsIsSemanticCheckOn(omfHdl_t iFile)
{
    return Valid(iFile) && iFile->mSemanticCheck;
}

// ---- identity --------------------------------------------------------------------------------
omfErr_t omfiMobIDNew(omfHdl_t iFile, omfUID_t* oID)
{
    if (!Valid(iFile) || !oID)
        return OM_ERR_NULL_PARAM;
    static std::mt19937 sRandom(std::random_device{}());
    static uint32_t sCount = 0;
    oID->prefix = 42; // our registered-vendor prefix
    oID->major = static_cast<uint32_t>(sRandom());
    oID->minor = ++sCount;
    return OM_ERR_NONE;
}

omfErr_t omfiMobSetIdentity(omfHdl_t iFile, omfObject_t iMob, const omfUID_t& iID)
{
    uint8_t bytes[12];
    std::memcpy(bytes, &iID.prefix, 4);
    std::memcpy(bytes + 4, &iID.major, 4);
    std::memcpy(bytes + 8, &iID.minor, 4);
    const omfErr_t err = OMWriteBaseProp(iFile, iMob, iFile && iFile->mRev == kOmfRev1x ? OMMOBJMobID1x : OMMOBJMobID,
                                         OMUID, 12, bytes);
    if (err != OM_ERR_NONE || iFile->mRev != kOmfRev1x)
        return err;
    // The head's mob indexes of a 1.x file name the mob by its identity: keep them in step.
    for (omfProperty_t index : {OMSourceMobs, OMCompositionMobs})
        if (Pending* pending = FindPending(iFile, iFile->mHead, Prop(iFile->mSession, index)->mName))
            for (size_t i = 0; i < pending->mTargets.size(); ++i)
                if (pending->mTargets[i] == iMob)
                    std::memcpy(pending->mBytes.data() + pending->mKeyOffsets[i] - 12, bytes, 12);
    return OM_ERR_NONE;
}

namespace
{
// Copies one object of a file opened for reading, and what it refers to, into a created file.
omfErr_t CloneObject(omfHdl_t iFrom, omfObject_t iObject, omfHdl_t iTo, std::map<omfObject_t, omfObject_t>* ioDone,
                     std::set<omfObject_t>* ioOnPath, omfObject_t* oCopy)
{
    auto done = ioDone->find(iObject);
    if (done != ioDone->end())
    {
        *oCopy = done->second;
        return OM_ERR_NONE;
    }
    if (!ioOnPath->insert(iObject).second || ioOnPath->size() > 10000)
        return OM_ERR_REFCYCLE;
    const OMF_ContainerReader& reader = *iFrom->mReader;
    omfClassID_t cls;
    omfErr_t err = omfsReadClassID(iFrom, iObject, iFrom->mRev == kOmfRev1x ? OMObjID : OMOOBJObjClass, &cls);
    if (err != OM_ERR_NONE)
        return err;
    omfObject_t copy = 0;
    if ((err = omfsObjectNew(iTo, cls.id, &copy)) != OM_ERR_NONE)
        return err;
    (*ioDone)[iObject] = copy;
    for (const OMF_ContainerValue* value : reader.GetValues(iObject))
    {
        const std::string name = reader.GetPropertyName(value->mProperty);
        const std::string typeName = reader.GetTypeName(value->mType);
        omfType_t type = OMNoType;
        for (omfType_t t = 1; t < OMLastType; ++t)
            if (typeName == cTypes[t].mName)
                type = t;
        if (name.empty() || type == OMNoType || value->mProperty < OMF_ContainerFormat::cFirstUserID)
            continue;
        Pending pending;
        pending.mProperty = name;
        pending.mType = type;
        pending.mBytes = reader.ReadAll(*value);
        if (iFrom->Swaps())
            Swab(pending.mBytes.data(), pending.mBytes.size(), cTypes[type].mLayout);
        const size_t step = type == OMMobIndex ? 16 : 4;
        const size_t first = type == OMMobIndex ? 12 : 0;
        if (type == OMObjRef || type == OMObjRefArray || type == OMMobIndex)
            for (size_t at = first; at + 4 <= pending.mBytes.size(); at += step)
            {
                omfObject_t target = 0, targetCopy = 0;
                if ((err = ReadKeyAt(iFrom, value, static_cast<int64_t>(at), &target)) != OM_ERR_NONE ||
                    (err = CloneObject(iFrom, target, iTo, ioDone, ioOnPath, &targetCopy)) != OM_ERR_NONE)
                    return err;
                pending.mKeyOffsets.push_back(at);
                pending.mTargets.push_back(targetCopy);
            }
        if (name == "OMFI:OOBJ:ObjClass" || name == "OMFI:ObjID")
            continue; // written by omfsObjectNew
        std::vector<Pending>& values = iTo->mPending[copy];
        values.push_back(std::move(pending));
    }
    ioOnPath->erase(iObject);
    *oCopy = copy;
    return OM_ERR_NONE;
}
} // namespace

omfErr_t omfiMobCloneExternal(omfHdl_t iFile, omfObject_t iMob, omfHdl_t iDestFile, omfObject_t* oDestMob)
{
    if (!Valid(iFile) || !Valid(iDestFile) || !oDestMob)
        return OM_ERR_NULL_PARAM;
    if (!iFile->mReader)
        return OM_ERR_FILE_NOT_READABLE;
    if (!iDestFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    if (iFile->mRev != iDestFile->mRev)
        return iDestFile->mRev == kOmfRev1x ? OM_ERR_NOT_IN_1X : OM_ERR_NOT_IN_20;
    std::map<omfObject_t, omfObject_t> done;
    std::set<omfObject_t> onPath;
    return CloneObject(iFile, iMob, iDestFile, &done, &onPath, oDestMob);
}

omfErr_t omfiMobAppendComment(omfHdl_t iFile, omfObject_t iMob, const std::string& iCategory,
                              const std::string& iComment)
{
    if (!Valid(iFile))
        return OM_ERR_NULL_PARAM;
    const bool old = iFile->mRev == kOmfRev1x;
    omfObject_t attributes = 0, attribute = 0;
    const omfProperty_t userAttributes = old ? OMCPNTAttributes : OMMOBJUserAttributes;
    omfErr_t err = omfsReadObjRef(iFile, iMob, userAttributes, &attributes);
    if (err != OM_ERR_NONE)
    {
        if ((err = omfsObjectNew(iFile, "ATTR", &attributes)) != OM_ERR_NONE ||
            (err = omfsWriteObjRef(iFile, iMob, userAttributes, attributes)) != OM_ERR_NONE)
            return err;
    }
    const int16_t kind = 2; // a string attribute
    if ((err = omfsObjectNew(iFile, "ATTB", &attribute)) != OM_ERR_NONE ||
        (err = OMWriteBaseProp(iFile, attribute, old ? OMATTBKind1x : OMATTBKind, OMAttrKind, 2, &kind)) != OM_ERR_NONE ||
        (err = omfsWriteString(iFile, attribute, old ? OMATTBName1x : OMATTBName, iCategory)) != OM_ERR_NONE ||
        (err = omfsWriteString(iFile, attribute, old ? OMATTBStringAttribute1x : OMATTBStringAttribute, iComment)) !=
            OM_ERR_NONE)
        return err;
    return omfsAppendObjRefArray(iFile, attributes, old ? OMATTRAttrRefs1x : OMATTRAttrRefs, attribute);
}

omfErr_t omfiDatakindLookup(omfHdl_t iFile, const std::string& iName, omfObject_t* oDef)
{
    if (!Valid(iFile) || !oDef)
        return OM_ERR_NULL_PARAM;
    *oDef = 0;
    if (iFile->mRev == kOmfRev1x)
        return OM_ERR_NOT_IN_1X;
    const int32_t count = omfsLengthObjRefArray(iFile, iFile->mHead, OMHEADDefinitionObjects);
    for (int32_t i = 1; i <= count; ++i)
    {
        omfObject_t def = 0;
        std::string name;
        if (omfsGetNthObjRefArray(iFile, iFile->mHead, OMHEADDefinitionObjects, &def, i) == OM_ERR_NONE &&
            omfsReadString(iFile, def, OMDDEFDataKindID, &name) == OM_ERR_NONE && name == iName)
        {
            *oDef = def;
            return OM_ERR_NONE;
        }
    }
    return OM_ERR_NONE;
}

omfErr_t omfiGetPropertyName(omfHdl_t iFile, omfProperty_t iProperty, std::string* oName)
{
    if (!Valid(iFile) || !oName)
        return OM_ERR_NULL_PARAM;
    const PropInfo* info = Prop(iFile->mSession, iProperty);
    if (!info)
        return OM_ERR_BAD_PROP;
    *oName = info->mName;
    return OM_ERR_NONE;
}

omfErr_t omfmInit(omfHdl_t iFile)
{
    return Valid(iFile) ? OM_ERR_NONE : OM_ERR_NULL_PARAM;
}

namespace
{
bool IsSoundCodec(const std::string& iCodec)
{
    return iCodec == "WAVE" || iCodec == "AIFC" || iCodec == "QS2M";
}

// The descriptor class of a codec's file mob.
const char* DescriptorOf(const std::string& iCodec)
{
    return iCodec == "WAVE" ? "WAVD" : iCodec == "AIFC" ? "AIFD" : iCodec == "QS2M" ? "QS2D" : "TIFD";
}

omfProperty_t DataPropertyOf(omfFileRev_t iRev, const std::string& iCodec)
{
    const bool old = iRev == kOmfRev1x;
    if (iCodec == "WAVE")
        return old ? OMWAVEData1x : OMWAVEData;
    if (iCodec == "AIFC")
        return old ? OMAIFCData1x : OMAIFCData;
    if (iCodec == "QS2M")
        return OMQS2MData1x;
    return OMTIFFData;
}

omfErr_t WriteID(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, const omfUID_t& iID)
{
    const int32_t words[3] = {iID.prefix, static_cast<int32_t>(iID.major), static_cast<int32_t>(iID.minor)};
    return OMWriteBaseProp(iFile, iObject, iProperty, OMUID, 12, words);
}

omfErr_t ReadID(omfHdl_t iFile, omfObject_t iMob, omfUID_t* oID)
{
    int32_t words[3] = {0, 0, 0};
    const omfErr_t err = OMReadBaseProp(iFile, iMob, iFile->mRev == kOmfRev1x ? OMMOBJMobID1x : OMMOBJMobID,
                                        OMUID, 12, words);
    oID->prefix = words[0], oID->major = static_cast<uint32_t>(words[1]), oID->minor = static_cast<uint32_t>(words[2]);
    return err;
}

#define OMF_TRY(call)                                                                                                  \
    do                                                                                                                 \
    {                                                                                                                  \
        const omfErr_t tryErr = (call);                                                                                \
        if (tryErr != OM_ERR_NONE)                                                                                     \
            return tryErr;                                                                                             \
    } while (false)

// A new mob with a fresh identity and its name, listed in the head, with its media descriptor
// (0 for none).
omfErr_t NewMob(omfHdl_t iFile, const std::string& iName, bool iMaster, omfObject_t iDescriptor, omfObject_t* oMob)
{
    const bool old = iFile->mRev == kOmfRev1x;
    omfUID_t id;
    OMF_TRY(omfiMobIDNew(iFile, &id));
    OMF_TRY(omfsObjectNew(iFile, old ? "MOBJ" : iMaster ? "MMOB" : "SMOB", oMob));
    OMF_TRY(omfiMobSetIdentity(iFile, *oMob, id));
    OMF_TRY(omfsWriteString(iFile, *oMob, old ? OMCPNTName : OMMOBJName, iName));
    if (old)
    {
        const int16_t audio = 2;
        OMF_TRY(OMWriteBaseProp(iFile, *oMob, OMCPNTTrackKind, OMTrackType, 2, &audio));
        if (iDescriptor)
            OMF_TRY(omfsWriteObjRef(iFile, *oMob, OMMOBJPhysicalMedia, iDescriptor));
        OMF_TRY(omfsAppendObjRefArray(iFile, iFile->mHead, OMObjectSpine, *oMob));
        OMF_TRY(omfsAppendObjIndex(iFile, iFile->mHead, OMSourceMobs, id, *oMob));
    }
    else
    {
        if (iDescriptor)
            OMF_TRY(omfsWriteObjRef(iFile, *oMob, OMSMOBMediaDescription, iDescriptor));
        OMF_TRY(omfsAppendObjRefArray(iFile, iFile->mHead, OMHEADMobs, *oMob));
    }
    iFile->mMobDescriptor[*oMob] = iDescriptor;
    return OM_ERR_NONE;
}

omfErr_t NewDescriptor(omfHdl_t iFile, const char* iClass, int16_t iMobKind, omfObject_t* oDescriptor)
{
    OMF_TRY(omfsObjectNew(iFile, iClass, oDescriptor));
    if (iFile->mRev == kOmfRev1x)
        OMF_TRY(OMWriteBaseProp(iFile, *oDescriptor, OMMDESMobKind, OMPhysicalMobType, 2, &iMobKind));
    return OM_ERR_NONE;
}

// A track of iMob playing iLength samples of the mob iSource (the null identity: none) at iRate.
omfErr_t AddTrack(omfHdl_t iFile, omfObject_t iMob, const omfUID_t& iSource, const omfRational_t& iRate,
                  omfObject_t* oClip)
{
    const int32_t zero = 0;
    if (iFile->mRev == kOmfRev1x)
    {
        const int16_t audio = 2, label = 1, sourceTrack = iSource == omfUID_t() ? 0 : 1;
        OMF_TRY(omfsObjectNew(iFile, "SCLP", oClip));
        OMF_TRY(OMWriteBaseProp(iFile, *oClip, OMCPNTTrackKind, OMTrackType, 2, &audio));
        OMF_TRY(OMWriteBaseProp(iFile, *oClip, OMCPNTEditRate, OMExactEditRate, 8, &iRate));
        OMF_TRY(OMWriteBaseProp(iFile, *oClip, OMCLIPLength, OMInt32, 4, &zero));
        OMF_TRY(WriteID(iFile, *oClip, OMSCLPSourceID1x, iSource));
        OMF_TRY(OMWriteBaseProp(iFile, *oClip, OMSCLPSourceTrack, OMInt16, 2, &sourceTrack));
        OMF_TRY(OMWriteBaseProp(iFile, *oClip, OMSCLPSourcePosition, OMInt32, 4, &zero));
        omfObject_t trak = 0;
        OMF_TRY(omfsObjectNew(iFile, "TRAK", &trak));
        OMF_TRY(OMWriteBaseProp(iFile, trak, OMTRAKLabelNumber, OMInt16, 2, &label));
        OMF_TRY(omfsWriteObjRef(iFile, trak, OMTRAKTrackComponent, *oClip));
        return omfsAppendObjRefArray(iFile, iMob, OMTRKGTracks, trak);
    }
    const uint32_t track = 1, sourceTrack = iSource == omfUID_t() ? 0 : 1;
    omfObject_t sound = 0;
    OMF_TRY(omfiDatakindLookup(iFile, "omfi:data:Sound", &sound));
    if (!sound)
    {
        OMF_TRY(omfsObjectNew(iFile, "DDEF", &sound));
        OMF_TRY(omfsWriteString(iFile, sound, OMDDEFDataKindID, "omfi:data:Sound"));
        OMF_TRY(omfsAppendObjRefArray(iFile, iFile->mHead, OMHEADDefinitionObjects, sound));
    }
    OMF_TRY(omfsObjectNew(iFile, "SCLP", oClip));
    OMF_TRY(omfsWriteObjRef(iFile, *oClip, OMCPNTDatakind, sound));
    OMF_TRY(OMWriteBaseProp(iFile, *oClip, OMCPNTLength, OMLength32, 4, &zero));
    OMF_TRY(WriteID(iFile, *oClip, OMSCLPSourceID, iSource));
    OMF_TRY(OMWriteBaseProp(iFile, *oClip, OMSCLPSourceTrackID, OMUInt32, 4, &sourceTrack));
    OMF_TRY(OMWriteBaseProp(iFile, *oClip, OMSCLPStartTime, OMPosition32, 4, &zero));
    omfObject_t desc = 0, slot = 0;
    OMF_TRY(omfsObjectNew(iFile, "TRKD", &desc));
    OMF_TRY(OMWriteBaseProp(iFile, desc, OMTRKDTrackID, OMUInt32, 4, &track));
    OMF_TRY(OMWriteBaseProp(iFile, desc, OMTRKDOrigin, OMPosition32, 4, &zero));
    OMF_TRY(omfsObjectNew(iFile, "MSLT", &slot));
    OMF_TRY(omfsWriteObjRef(iFile, slot, OMMSLTSegment, *oClip));
    OMF_TRY(OMWriteBaseProp(iFile, slot, OMMSLTEditRate, OMRational, 8, &iRate));
    OMF_TRY(omfsWriteObjRef(iFile, slot, OMMSLTTrackDesc, desc));
    return omfsAppendObjRefArray(iFile, iMob, OMMOBJSlots, slot);
}

omfErr_t MediaCreate(omfHdl_t iFile, omfObject_t iMasterMob, omfObject_t iFileMob, bool iVideo,
                     const omfRational_t& iRate, omfMediaHdl_t* oMedia)
{
    if (!Valid(iFile) || !oMedia)
        return OM_ERR_NULL_PARAM;
    *oMedia = nullptr;
    if (!iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    auto master = iFile->mMobCodec.find(iMasterMob);
    auto fileMob = iFile->mMobCodec.find(iFileMob);
    if (master == iFile->mMobCodec.end() || !master->second.empty() || fileMob == iFile->mMobCodec.end() ||
        fileMob->second.empty() || fileMob->second == "MDTP")
        return OM_ERR_INVALID_MOBTYPE;
    if (IsSoundCodec(fileMob->second) == iVideo)
        return OM_ERR_WRONG_MEDIATYPE;
    if (iRate.numerator <= 0 || iRate.denominator <= 0)
        return OM_ERR_REQUIRED_POSITIVE;
    for (const auto& media : iFile->mMedia)
        if (media->mDescriptor == iFile->mMobDescriptor[iFileMob])
            return OM_ERR_MEDIA_OPENMODE; // a file mob has one media
    auto media = std::make_unique<omfMediaRec>();
    media->mFile = iFile, media->mVideo = iVideo, media->mCodec = fileMob->second, media->mRate = iRate;
    media->mDescriptor = iFile->mMobDescriptor[iFileMob];
    const bool old = iFile->mRev == kOmfRev1x;
    omfUID_t fileID;
    OMF_TRY(ReadID(iFile, iFileMob, &fileID));
    OMF_TRY(omfsObjectNew(iFile, media->mCodec.c_str(), &media->mData));
    OMF_TRY(WriteID(iFile, media->mData, old ? OMMDATMobID1x : OMMDATMobID, fileID));
    if (old)
        OMF_TRY(omfsAppendObjIndex(iFile, iFile->mHead, OMMediaData1x, fileID, media->mData));
    else
        OMF_TRY(omfsAppendObjRefArray(iFile, iFile->mHead, OMHEADMediaData, media->mData));
    const omfBool isOMFI = true;
    OMF_TRY(OMWriteBaseProp(iFile, media->mDescriptor, old ? OMMDFLIsOMFI1x : OMMDFLIsOMFI, OMBoolean, 1, &isOMFI));
    OMF_TRY(OMWriteBaseProp(iFile, media->mDescriptor, old ? OMMDFLSampleRate1x : OMMDFLSampleRate,
                            old ? OMExactEditRate : OMRational, 8, &iRate));
    OMF_TRY(AddTrack(iFile, iFileMob, omfUID_t(), iRate, &media->mFileClip));
    OMF_TRY(AddTrack(iFile, iMasterMob, fileID, iRate, &media->mMasterClip));
    *oMedia = media.get();
    iFile->mMedia.push_back(std::move(media));
    return OM_ERR_NONE;
}

omfErr_t Writable(omfMediaHdl_t iMedia)
{
    if (!iMedia || !Valid(iMedia->mFile))
        return OM_ERR_NULL_PARAM;
    return iMedia->mOpen ? OM_ERR_NONE : OM_ERR_MEDIA_CLOSED;
}

void PutU16(std::vector<uint8_t>* ioBytes, uint32_t iValue, bool iBig)
{
    const uint8_t b[2] = {uint8_t(iValue), uint8_t(iValue >> 8)};
    iBig ? ioBytes->insert(ioBytes->end(), {b[1], b[0]}) : ioBytes->insert(ioBytes->end(), {b[0], b[1]});
}

void PutU32(std::vector<uint8_t>* ioBytes, uint32_t iValue, bool iBig)
{
    PutU16(ioBytes, iBig ? iValue >> 16 : iValue & 0xFFFF, iBig);
    PutU16(ioBytes, iBig ? iValue & 0xFFFF : iValue >> 16, iBig);
}

void PutText(std::vector<uint8_t>* ioBytes, const char* iText)
{
    ioBytes->insert(ioBytes->end(), iText, iText + std::strlen(iText));
}

// The 80-bit extended value of a whole positive rate.
void PutExtended(std::vector<uint8_t>* ioBytes, uint32_t iValue)
{
    int exponent = 16383 + 31;
    uint64_t mantissa = static_cast<uint64_t>(iValue) << 32;
    while (mantissa && !(mantissa & (uint64_t(1) << 63)))
        mantissa <<= 1, --exponent;
    if (!mantissa)
        exponent = 0;
    PutU16(ioBytes, static_cast<uint32_t>(exponent), true);
    PutU32(ioBytes, static_cast<uint32_t>(mantissa >> 32), true);
    PutU32(ioBytes, static_cast<uint32_t>(mantissa), true);
}

// The header of the codec's file format in front of iDataBytes of samples.
std::vector<uint8_t> SoundHeader(const omfMediaRec& iMedia, uint32_t iDataBytes)
{
    std::vector<uint8_t> h;
    const uint32_t rate = static_cast<uint32_t>(iMedia.mRate.numerator / iMedia.mRate.denominator);
    const uint32_t bytesPerSample = static_cast<uint32_t>((iMedia.mBits + 7) / 8);
    const uint32_t frame = bytesPerSample * static_cast<uint32_t>(iMedia.mChannels);
    const uint32_t pad = iDataBytes & 1;
    if (iMedia.mCodec == "WAVE")
    {
        PutText(&h, "RIFF"), PutU32(&h, 36 + iDataBytes + pad, false), PutText(&h, "WAVE");
        PutText(&h, "fmt "), PutU32(&h, 16, false), PutU16(&h, 1, false);
        PutU16(&h, static_cast<uint32_t>(iMedia.mChannels), false), PutU32(&h, rate, false);
        PutU32(&h, rate * frame, false), PutU16(&h, frame, false);
        PutU16(&h, static_cast<uint32_t>(iMedia.mBits), false);
        PutText(&h, "data"), PutU32(&h, iDataBytes, false);
        return h;
    }
    const char cName[] = "\x0enot compressed";
    PutText(&h, "FORM"), PutU32(&h, 4 + 12 + 8 + 38 + 16 + iDataBytes + pad, true), PutText(&h, "AIFC");
    PutText(&h, "FVER"), PutU32(&h, 4, true), PutU32(&h, 0xA2805140, true);
    PutText(&h, "COMM"), PutU32(&h, 38, true), PutU16(&h, static_cast<uint32_t>(iMedia.mChannels), true);
    PutU32(&h, static_cast<uint32_t>(iMedia.mSamples), true), PutU16(&h, static_cast<uint32_t>(iMedia.mBits), true);
    PutExtended(&h, rate);
    PutText(&h, "NONE"), h.insert(h.end(), cName, cName + 15), h.push_back(0);
    PutText(&h, "SSND"), PutU32(&h, 8 + iDataBytes, true), PutU32(&h, 0, true), PutU32(&h, 0, true);
    return h;
}

omfErr_t PutLength(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty1x, omfProperty_t iProperty2x,
                   int32_t iLength)
{
    const bool old = iFile->mRev == kOmfRev1x;
    return OMWriteBaseProp(iFile, iObject, old ? iProperty1x : iProperty2x, old ? OMInt32 : OMLength32, 4, &iLength);
}
} // namespace

omfErr_t omfmFileMobNew(omfHdl_t iFile, const std::string& iName, const omfRational_t& iEditRate,
                        omfClassIDPtr_t iCodec, omfObject_t* oMob)
{
    if (!Valid(iFile) || !oMob || !iCodec)
        return OM_ERR_NULL_PARAM;
    if (!iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    const std::string codec = ClassText(iCodec);
    if (!IsSoundCodec(codec) && codec != "TIFF")
        return OM_ERR_WRONG_MEDIATYPE;
    if (codec == "QS2M" && iFile->mRev != kOmfRev1x)
        return OM_ERR_NOT_IN_20;
    if (iEditRate.numerator <= 0 || iEditRate.denominator <= 0)
        return OM_ERR_REQUIRED_POSITIVE;
    omfObject_t descriptor = 0;
    OMF_TRY(NewDescriptor(iFile, DescriptorOf(codec), 1, &descriptor));
    OMF_TRY(NewMob(iFile, iName, false, descriptor, oMob));
    iFile->mMobCodec[*oMob] = codec;
    return OM_ERR_NONE;
}

omfErr_t omfmMasterMobNew(omfHdl_t iFile, const std::string& iName, omfBool iIsPrimary, omfObject_t* oMob)
{
    if (!Valid(iFile) || !oMob)
        return OM_ERR_NULL_PARAM;
    if (!iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    OMF_TRY(NewMob(iFile, iName, true, 0, oMob));
    if (iIsPrimary && iFile->mRev != kOmfRev1x)
        OMF_TRY(omfsAppendObjRefArray(iFile, iFile->mHead, OMHEADPrimaryMobs, *oMob));
    iFile->mMobCodec[*oMob] = std::string();
    return OM_ERR_NONE;
}

omfErr_t omfmTapeMobNew(omfHdl_t iFile, const std::string& iName, omfObject_t* oMob)
{
    if (!Valid(iFile) || !oMob)
        return OM_ERR_NULL_PARAM;
    if (!iFile->mWriting)
        return OM_ERR_FILE_NOT_WRITABLE;
    omfObject_t descriptor = 0;
    OMF_TRY(NewDescriptor(iFile, "MDTP", 2, &descriptor));
    OMF_TRY(NewMob(iFile, iName, false, descriptor, oMob));
    iFile->mMobCodec[*oMob] = "MDTP";
    return OM_ERR_NONE;
}

omfErr_t omfmAudioMediaCreate(omfHdl_t iFile, omfObject_t iMasterMob, omfObject_t iFileMob,
                              const omfRational_t& iSampleRate, int16_t iBitsPerSample, int16_t iChannels,
                              omfMediaHdl_t* oMedia)
{
    if (iChannels <= 0 || (iBitsPerSample != 8 && iBitsPerSample != 16 && iBitsPerSample != 24 && iBitsPerSample != 32))
        return OM_ERR_REQUIRED_POSITIVE;
    OMF_TRY(MediaCreate(iFile, iMasterMob, iFileMob, false, iSampleRate, oMedia));
    (*oMedia)->mBits = iBitsPerSample, (*oMedia)->mChannels = iChannels;
    return OM_ERR_NONE;
}

omfErr_t omfmVideoMediaCreate(omfHdl_t iFile, omfObject_t iMasterMob, omfObject_t iFileMob,
                              const omfRational_t& iFrameRate, int32_t iWidth, int32_t iHeight, omfMediaHdl_t* oMedia)
{
    if (iWidth <= 0 || iHeight <= 0)
        return OM_ERR_REQUIRED_POSITIVE;
    return MediaCreate(iFile, iMasterMob, iFileMob, true, iFrameRate, oMedia);
}

omfErr_t omfmWriteDataSamples(omfMediaHdl_t iMedia, int32_t iSamples, const void* iBuffer, int32_t iBytes)
{
    OMF_TRY(Writable(iMedia));
    if (iMedia->mVideo || (iMedia->mCodec != "WAVE" && iMedia->mCodec != "AIFC"))
        return OM_ERR_WRONG_MEDIATYPE;
    if (iMedia->mMode == omfMediaRec::eMode_Raw)
        return OM_ERR_MEDIA_OPENMODE;
    const int32_t width = (iMedia->mBits + 7) / 8;
    if (iSamples < 0 || (!iBuffer && iSamples > 0) || int64_t(iSamples) * width * iMedia->mChannels != iBytes)
        return OM_ERR_SMALLBUF;
    iMedia->mMode = omfMediaRec::eMode_Samples;
    const uint8_t* p = static_cast<const uint8_t*>(iBuffer);
    const size_t at = iMedia->mBytes.size();
    iMedia->mBytes.insert(iMedia->mBytes.end(), p, p + iBytes);
    // Samples come in the host's order; WAVE keeps little-endian, AIFC big-endian ones.
    if ((iMedia->mCodec == "AIFC") != HostIsBig() && width > 1)
        for (size_t i = at; i + static_cast<size_t>(width) <= iMedia->mBytes.size(); i += static_cast<size_t>(width))
            std::reverse(iMedia->mBytes.begin() + static_cast<std::ptrdiff_t>(i),
                         iMedia->mBytes.begin() + static_cast<std::ptrdiff_t>(i) + width);
    // 8-bit WAVE samples are stored offset by 128.
    if (iMedia->mCodec == "WAVE" && width == 1)
        for (size_t i = at; i < iMedia->mBytes.size(); ++i)
            iMedia->mBytes[i] ^= 0x80;
    iMedia->mSamples += iSamples;
    return OM_ERR_NONE;
}

omfErr_t omfmWriteRawData(omfMediaHdl_t iMedia, int32_t iSamples, const void* iBuffer, int32_t iBytes)
{
    OMF_TRY(Writable(iMedia));
    if (iMedia->mMode == omfMediaRec::eMode_Samples)
        return OM_ERR_MEDIA_OPENMODE;
    if (iSamples < 0 || iBytes < 0 || (!iBuffer && iBytes > 0))
        return OM_ERR_NULL_PARAM;
    iMedia->mMode = omfMediaRec::eMode_Raw;
    const uint8_t* p = static_cast<const uint8_t*>(iBuffer);
    iMedia->mBytes.insert(iMedia->mBytes.end(), p, p + iBytes);
    iMedia->mSamples += iSamples;
    return OM_ERR_NONE;
}

omfErr_t omfmMediaClose(omfMediaHdl_t iMedia)
{
    OMF_TRY(Writable(iMedia));
    omfHdl_t file = iMedia->mFile;
    const bool old = file->mRev == kOmfRev1x;
    std::vector<uint8_t> bytes;
    if (iMedia->mMode == omfMediaRec::eMode_Samples)
    {
        if (iMedia->mBytes.size() > 0x7FFFFF00u)
            return OM_ERR_SMALLBUF;
        bytes = SoundHeader(*iMedia, static_cast<uint32_t>(iMedia->mBytes.size()));
        iMedia->mHeaderBytes = static_cast<int64_t>(bytes.size());
        bytes.insert(bytes.end(), iMedia->mBytes.begin(), iMedia->mBytes.end());
        if (iMedia->mBytes.size() & 1)
            bytes.push_back(0);
    }
    else
        bytes = iMedia->mBytes;
    if (bytes.size() > 0x7FFFFFFFu)
        return OM_ERR_SMALLBUF;
    OMF_TRY(OMWriteBaseProp(file, iMedia->mData, DataPropertyOf(file->mRev, iMedia->mCodec), OMDataValue,
                            static_cast<int32_t>(bytes.size()), bytes.data()));
    if (!old && (iMedia->mCodec == "WAVE" || iMedia->mCodec == "AIFC"))
    {
        // The summary is the format's header.
        const size_t summary = iMedia->mHeaderBytes ? static_cast<size_t>(iMedia->mHeaderBytes)
                                                    : std::min<size_t>(12, bytes.size());
        OMF_TRY(OMWriteBaseProp(file, iMedia->mDescriptor, iMedia->mCodec == "WAVE" ? OMWAVDSummary : OMAIFDSummary,
                                OMDataValue, static_cast<int32_t>(summary), bytes.data()));
    }
    OMF_TRY(PutLength(file, iMedia->mDescriptor, OMMDFLLength1x, OMMDFLLength, iMedia->mSamples));
    OMF_TRY(PutLength(file, iMedia->mFileClip, OMCLIPLength, OMCPNTLength, iMedia->mSamples));
    OMF_TRY(PutLength(file, iMedia->mMasterClip, OMCLIPLength, OMCPNTLength, iMedia->mSamples));
    iMedia->mOpen = false;
    iMedia->mBytes.clear();
    iMedia->mBytes.shrink_to_fit();
    return OM_ERR_NONE;
}

omfErr_t omfmGetMediaSegmentInfo(omfMediaHdl_t iMedia, int32_t iIndex, int64_t* oStartSample, int64_t* oSamples,
                                 int64_t* oDataOffset)
{
    if (!iMedia || !Valid(iMedia->mFile))
        return OM_ERR_NULL_PARAM;
    if (iIndex != 1)
        return OM_ERR_BADINDEX;
    if (oStartSample)
        *oStartSample = 0;
    if (oSamples)
        *oSamples = iMedia->mSamples;
    if (oDataOffset)
        *oDataOffset = iMedia->mMode == omfMediaRec::eMode_Samples
                           ? (iMedia->mOpen ? static_cast<int64_t>(SoundHeader(*iMedia, 0).size()) : iMedia->mHeaderBytes)
                           : 0;
    return OM_ERR_NONE;
}

omfErr_t omfmMobGetTapeName(omfHdl_t iFile, omfObject_t iMob, std::string* oName)
{
    if (!Valid(iFile) || !oName)
        return OM_ERR_NULL_PARAM;
    const bool old = iFile->mRev == kOmfRev1x;
    omfObject_t descriptor = 0;
    omfClassID_t cls;
    if (omfsReadObjRef(iFile, iMob, old ? OMMOBJPhysicalMedia : OMSMOBMediaDescription, &descriptor) != OM_ERR_NONE ||
        omfsReadClassID(iFile, descriptor, old ? OMObjID : OMOOBJObjClass, &cls) != OM_ERR_NONE ||
        cls.AsString() != "MDTP")
        return OM_ERR_INVALID_MOBTYPE;
    return omfsReadString(iFile, iMob, old ? OMCPNTName : OMMOBJName, oName);
}
#undef OMF_TRY
