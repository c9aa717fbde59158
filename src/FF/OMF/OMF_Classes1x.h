// The OMF 1.x class tree. Class names end in the class id and the generation. The members
// are the properties that the interchange layer reads; every other property of an object is
// reachable through the toolkit calls with the object's id.
#pragma once

#include "FF/OMF/OMF_Defs.h"
#include "FF/OMF/OMF_Object.h"

class OMF_MOBJ1x;
class OMF_MDAT1x;
class OMF_CLSD1x;

#define OMF_PLAIN_CLASS(Name, Base)                                                                \
    class Name : public Base                                                                       \
    {                                                                                              \
    public:                                                                                        \
        using Base::Base;                                                                          \
    };

class OMF_OOBJ1x : public OMF_Object
{
public:
    using OMF_Object::OMF_Object;
    OMF_Property<OMObjectTag, omfClassID_t> mObjID{mFile, mObj, OMObjID};
};

class OMF_HEAD1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMVersionType, omfVersionType_t> mVersion{mFile, mObj, OMVersion};
    OMF_Property<OMInt16, int16_t> mByteOrder{mFile, mObj, OMByteOrder};
    OMF_MobIndexProperty<OMF_MOBJ1x> mCompositionMobs{mFile, mObj, OMCompositionMobs};
    OMF_MobIndexProperty<OMF_MOBJ1x> mSourceMobs{mFile, mObj, OMSourceMobs};
    OMF_MobIndexProperty<OMF_MDAT1x> mMediaData{mFile, mObj, OMMediaData1x};
    OMF_ObjRefArrayProperty<OMF_OOBJ1x> mObjectSpine{mFile, mObj, OMObjectSpine};
    OMF_ObjRefArrayProperty<OMF_CLSD1x> mClassDictionary{mFile, mObj, OMClassDictionary1x};
};

class OMF_CLSD1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMObjectTag, omfClassID_t> mClassID{mFile, mObj, OMCLSDClassID1x};
    OMF_ObjRefProperty<OMF_CLSD1x> mParentClass{mFile, mObj, OMCLSDParentClass1x};
};

class OMF_ATTB1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMAttrKind, int16_t> mKind{mFile, mObj, OMATTBKind1x};
    OMF_Property<OMString, std::string> mName{mFile, mObj, OMATTBName1x};
    OMF_Property<OMInt32, int32_t> mIntAttribute{mFile, mObj, OMATTBIntAttribute1x};
    OMF_Property<OMString, std::string> mStringAttribute{mFile, mObj, OMATTBStringAttribute1x};
};

class OMF_ATTR1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_ObjRefArrayProperty<OMF_ATTB1x> mAttrRefs{mFile, mObj, OMATTRAttrRefs1x};
};

class OMF_MSML1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMString, std::string> mLastKnownVolume{mFile, mObj, OMF_Defs::OMMSMLLastKnownVolume};
    OMF_Property<OMUID, omfUID_t> mMobID{mFile, mObj, OMF_Defs::OMMSMLMobID};
};

class OMF_TXTL1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMString, std::string> mName{mFile, mObj, OMTXTLName1x};
};

class OMF_DOSL1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMString, std::string> mPathName{mFile, mObj, OMDOSLPathName1x};
};

class OMF_MACL1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMString, std::string> mFileName{mFile, mObj, OMMACLFileName1x};
};

class OMF_UNXL1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMString, std::string> mPathName{mFile, mObj, OMUNXLPathName1x};
};

class OMF_MDAT1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMUID, omfUID_t> mMobID{mFile, mObj, OMMDATMobID1x};
};

class OMF_CPNT1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMTrackType, int16_t> mTrackKind{mFile, mObj, OMCPNTTrackKind};
    OMF_Property<OMExactEditRate, omfRational_t> mEditRate{mFile, mObj, OMCPNTEditRate};
    OMF_Property<OMString, std::string> mName{mFile, mObj, OMCPNTName};
    OMF_ObjRefProperty<OMF_ATTR1x> mAttributes{mFile, mObj, OMCPNTAttributes};
};

class OMF_TRAK1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMInt16, int16_t> mLabelNumber{mFile, mObj, OMTRAKLabelNumber};
    OMF_ObjRefProperty<OMF_CPNT1x> mTrackComponent{mFile, mObj, OMTRAKTrackComponent};
};

class OMF_MDES1x : public OMF_OOBJ1x
{
public:
    using OMF_OOBJ1x::OMF_OOBJ1x;
    OMF_Property<OMPhysicalMobType, int16_t> mMobKind{mFile, mObj, OMMDESMobKind};
    OMF_ObjRefArrayProperty<OMF_OOBJ1x> mLocator{mFile, mObj, OMMDESLocator1x};
};

class OMF_CLIP1x : public OMF_CPNT1x
{
public:
    using OMF_CPNT1x::OMF_CPNT1x;
    OMF_Property<OMInt32, int32_t> mLength{mFile, mObj, OMCLIPLength};
};

class OMF_TRKG1x : public OMF_CPNT1x
{
public:
    using OMF_CPNT1x::OMF_CPNT1x;
    OMF_Property<OMInt32, int32_t> mGroupLength{mFile, mObj, OMTRKGGroupLength};
    OMF_ObjRefArrayProperty<OMF_TRAK1x> mTracks{mFile, mObj, OMTRKGTracks};
};

class OMF_SEQU1x : public OMF_CPNT1x
{
public:
    using OMF_CPNT1x::OMF_CPNT1x;
    OMF_ObjRefArrayProperty<OMF_CPNT1x> mSequence{mFile, mObj, OMSEQUSequence};
};

class OMF_SCLP1x : public OMF_CLIP1x
{
public:
    using OMF_CLIP1x::OMF_CLIP1x;
    OMF_Property<OMUID, omfUID_t> mSourceID{mFile, mObj, OMSCLPSourceID1x};
    OMF_Property<OMInt16, int16_t> mSourceTrack{mFile, mObj, OMSCLPSourceTrack};
    OMF_Property<OMInt32, int32_t> mSourcePosition{mFile, mObj, OMSCLPSourcePosition};
};

OMF_PLAIN_CLASS(OMF_FILL1x, OMF_CLIP1x)

class OMF_TCCP1x : public OMF_CLIP1x
{
public:
    using OMF_CLIP1x::OMF_CLIP1x;
    OMF_Property<OMInt32, int32_t> mStartTC{mFile, mObj, OMTCCPStartTC};
    OMF_Property<OMInt16, int16_t> mFPS{mFile, mObj, OMTCCPFPS1x};
    OMF_Property<OMBoolean, bool> mDrop{mFile, mObj, OMTCCPDrop1x};
};

OMF_PLAIN_CLASS(OMF_ECCP1x, OMF_CLIP1x)

class OMF_TRKR1x : public OMF_CLIP1x
{
public:
    using OMF_CLIP1x::OMF_CLIP1x;
    OMF_Property<OMInt16, int16_t> mRelativeScope{mFile, mObj, OMTRKRRelativeScope};
    OMF_Property<OMInt16, int16_t> mRelativeTrack{mFile, mObj, OMTRKRRelativeTrack};
};

OMF_PLAIN_CLASS(OMF_ATCP1x, OMF_CLIP1x)

class OMF_WARP1x : public OMF_TRKG1x
{
public:
    using OMF_TRKG1x::OMF_TRKG1x;
    OMF_Property<OMExactEditRate, omfRational_t> mWarpEditRate{mFile, mObj, OMWARPEditRate};
    OMF_Property<OMInt32, int32_t> mPhaseOffset{mFile, mObj, OMWARPPhaseOffset};
};

class OMF_SLCT1x : public OMF_TRKG1x
{
public:
    using OMF_TRKG1x::OMF_TRKG1x;
    OMF_Property<OMInt16, int16_t> mSelectedTrack{mFile, mObj, OMSLCTSelectedTrack};
};

class OMF_TRAN1x : public OMF_TRKG1x
{
public:
    using OMF_TRKG1x::OMF_TRKG1x;
    OMF_Property<OMString, std::string> mEffect{mFile, mObj, OMTRANTransitionKind};
};

class OMF_MOBJ1x : public OMF_TRKG1x
{
public:
    using OMF_TRKG1x::OMF_TRKG1x;
    OMF_Property<OMUID, omfUID_t> mMobID{mFile, mObj, OMMOBJMobID1x};
    OMF_Property<OMUsageCode, int32_t> mUsageCode{mFile, mObj, OMMOBJUsageCode};
    OMF_ObjRefProperty<OMF_MDES1x> mPhysicalMedia{mFile, mObj, OMMOBJPhysicalMedia};
    OMF_Property<OMInt32, int32_t> mAppCode{mFile, mObj, OMF_Defs::OMMOBJAppCode};
    OMF_Property<OMInt32, int32_t> mMinorVersion{mFile, mObj, OMF_Defs::OMMOBJMinorVersion1x};
};

class OMF_SPED1x : public OMF_WARP1x
{
public:
    using OMF_WARP1x::OMF_WARP1x;
    OMF_Property<OMInt32, int32_t> mNumerator{mFile, mObj, OMSPEDNumerator};
    OMF_Property<OMInt32, int32_t> mDenominator{mFile, mObj, OMSPEDDenominator};
};

OMF_PLAIN_CLASS(OMF_REPT1x, OMF_WARP1x)

class OMF_MASK1x : public OMF_WARP1x
{
public:
    using OMF_WARP1x::OMF_WARP1x;
    OMF_Property<OMUInt32, uint32_t> mMaskBits{mFile, mObj, OMMASKMaskBits};
};

class OMF_IDAT1x : public OMF_MDAT1x
{
public:
    using OMF_MDAT1x::OMF_MDAT1x;
    OMF_DataProperty mImageData{mFile, mObj, OMIDATImageData1x};
};

class OMF_AIFC1x : public OMF_MDAT1x
{
public:
    using OMF_MDAT1x::OMF_MDAT1x;
    OMF_DataProperty mData{mFile, mObj, OMAIFCData1x};
};

OMF_PLAIN_CLASS(OMF_TIFF1x, OMF_MDAT1x)

class OMF_WAVE1x : public OMF_MDAT1x
{
public:
    using OMF_MDAT1x::OMF_MDAT1x;
    OMF_DataProperty mData{mFile, mObj, OMWAVEData1x};
};

class OMF_QS2M1x : public OMF_MDAT1x
{
public:
    using OMF_MDAT1x::OMF_MDAT1x;
    OMF_DataProperty mData{mFile, mObj, OMQS2MData1x};
};

OMF_PLAIN_CLASS(OMF_JPEG1x, OMF_IDAT1x)
OMF_PLAIN_CLASS(OMF_MPEG1x, OMF_IDAT1x)
OMF_PLAIN_CLASS(OMF_MDTP1x, OMF_MDES1x)
OMF_PLAIN_CLASS(OMF_GMFL1x, OMF_MDES1x)

class OMF_MDFL1x : public OMF_MDES1x
{
public:
    using OMF_MDES1x::OMF_MDES1x;
    OMF_Property<OMBoolean, bool> mIsOMFI{mFile, mObj, OMMDFLIsOMFI1x};
    OMF_Property<OMExactEditRate, omfRational_t> mSampleRate{mFile, mObj, OMMDFLSampleRate1x};
    OMF_Property<OMInt32, int32_t> mLength{mFile, mObj, OMMDFLLength1x};
    OMF_Property<OMInt32, int32_t> mDataOffset{mFile, mObj, OMF_Defs::OMMDFLDataOffset};
};

class OMF_QS2D1x : public OMF_MDFL1x
{
public:
    using OMF_MDFL1x::OMF_MDFL1x;
    OMF_Property<OMInt32, int32_t> mBitsPerSample{mFile, mObj, OMF_Defs::OMQS2DBitsPerSample};
    OMF_Property<OMInt32, int32_t> mNumOfChannels{mFile, mObj, OMF_Defs::OMQS2DNumOfChannels};
};

class OMF_AIFD1x : public OMF_MDFL1x
{
public:
    using OMF_MDFL1x::OMF_MDFL1x;
    OMF_DataProperty mSummary{mFile, mObj, OMAIFDSummary1x};
};

OMF_PLAIN_CLASS(OMF_TIFD1x, OMF_MDFL1x)

class OMF_WAVD1x : public OMF_MDFL1x
{
public:
    using OMF_MDFL1x::OMF_MDFL1x;
    OMF_DataProperty mSummary{mFile, mObj, OMWAVDSummary1x};
};

class OMF_DIDD1x : public OMF_MDFL1x
{
public:
    using OMF_MDFL1x::OMF_MDFL1x;
    OMF_Property<OMInt32, int32_t> mImageSize{mFile, mObj, OMF_Defs::OMDIDD1xImageSize};
    OMF_Property<OMInt32, int32_t> mFrameSampleSize{mFile, mObj, OMF_Defs::OMDIDDFrameSampleSize};
};

class OMF_CDCI1x : public OMF_DIDD1x
{
public:
    using OMF_DIDD1x::OMF_DIDD1x;
    OMF_Property<OMInt32, int32_t> mComponentWidth{mFile, mObj, OMF_Defs::OMCDCIComponentWidth};
};

class OMF_JPED1x : public OMF_CDCI1x
{
public:
    using OMF_CDCI1x::OMF_CDCI1x;
    OMF_Property<OMInt32, int32_t> mQTablesLen{mFile, mObj, OMF_Defs::OMJPEDQTablesLen};
};
