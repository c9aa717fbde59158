// The OMF 2.x class tree. Class names end in the class id and the generation. The members
// are the properties that the interchange layer reads; every other property of an object is
// reachable through the toolkit calls with the object's id.
#pragma once

#include "FF/OMF/OMF_Classes1x.h"

class OMF_OOBJ2x : public OMF_Object
{
public:
    using OMF_Object::OMF_Object;
    OMF_Property<OMClassID, omfClassID_t> mObjClass{mFile, mObj, OMOOBJObjClass};
};

class OMF_ATTB2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMAttrKind, int16_t> mKind{mFile, mObj, OMATTBKind};
    OMF_Property<OMString, std::string> mName{mFile, mObj, OMATTBName};
    OMF_Property<OMInt32, int32_t> mIntAttribute{mFile, mObj, OMATTBIntAttribute};
    OMF_Property<OMString, std::string> mStringAttribute{mFile, mObj, OMATTBStringAttribute};
};

class OMF_CLSD2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMClassID, omfClassID_t> mClass{mFile, mObj, OMCLSDClass};
    OMF_ObjRefProperty<OMF_CLSD2x> mParentClass{mFile, mObj, OMCLSDParentClass};
};

class OMF_DDEF2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMUniqueName, std::string> mDataKindID{mFile, mObj, OMDDEFDataKindID};
};

class OMF_EDEF2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMUniqueName, std::string> mEffectID{mFile, mObj, OMEDEFEffectID};
    OMF_Property<OMString, std::string> mEffectName{mFile, mObj, OMEDEFEffectName};
};

class OMF_IDNT2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMString, std::string> mCompanyName{mFile, mObj, OMIDNTCompanyName};
    OMF_Property<OMString, std::string> mProductName{mFile, mObj, OMIDNTProductName};
};

class OMF_MDAT2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMUID, omfUID_t> mMobID{mFile, mObj, OMMDATMobID};
};

class OMF_TRKD2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMPosition32, int32_t> mOrigin{mFile, mObj, OMTRKDOrigin};
    OMF_Property<OMUInt32, uint32_t> mTrackID{mFile, mObj, OMTRKDTrackID};
    OMF_Property<OMString, std::string> mTrackName{mFile, mObj, OMTRKDTrackName};
    OMF_Property<OMUInt32, uint32_t> mPhysicalTrack{mFile, mObj, OMTRKDPhysicalTrack};
};

OMF_PLAIN_CLASS(OMF_LOCR2x, OMF_OOBJ2x)

class OMF_CTLP2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMRational, omfRational_t> mTime{mFile, mObj, OMCTLPTime};
    OMF_DataProperty mValue{mFile, mObj, OMCTLPValue};
};

class OMF_CPNT2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_ObjRefProperty<OMF_DDEF2x> mDataKind{mFile, mObj, OMCPNTDatakind};
    OMF_Property<OMLength32, int32_t> mLength{mFile, mObj, OMCPNTLength};
};

class OMF_SEGM2x;

class OMF_ESLT2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMArgIDType, int32_t> mArgID{mFile, mObj, OMESLTArgID};
    OMF_ObjRefProperty<OMF_SEGM2x> mArgValue{mFile, mObj, OMESLTArgValue};
};

class OMF_MSLT2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_ObjRefProperty<OMF_SEGM2x> mSegment{mFile, mObj, OMMSLTSegment};
    OMF_Property<OMRational, omfRational_t> mEditRate{mFile, mObj, OMMSLTEditRate};
    OMF_ObjRefProperty<OMF_TRKD2x> mTrackDesc{mFile, mObj, OMMSLTTrackDesc};
};

class OMF_ATTR2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_ObjRefArrayProperty<OMF_ATTB2x> mAttrRefs{mFile, mObj, OMATTRAttrRefs};
};

class OMF_MDES2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_ObjRefArrayProperty<OMF_LOCR2x> mLocator{mFile, mObj, OMMDESLocator};
};

class OMF_MOBJ2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMUID, omfUID_t> mMobID{mFile, mObj, OMMOBJMobID};
    OMF_Property<OMString, std::string> mName{mFile, mObj, OMMOBJName};
    OMF_ObjRefArrayProperty<OMF_MSLT2x> mSlots{mFile, mObj, OMMOBJSlots};
    OMF_ObjRefProperty<OMF_ATTR2x> mUserAttributes{mFile, mObj, OMMOBJUserAttributes};
    OMF_Property<OMInt32, int32_t> mAppCode{mFile, mObj, OMF_Defs::OMMOBJAppCode};
};

class OMF_HEAD2x : public OMF_OOBJ2x
{
public:
    using OMF_OOBJ2x::OMF_OOBJ2x;
    OMF_Property<OMInt16, int16_t> mByteOrder{mFile, mObj, OMHEADByteOrder};
    OMF_Property<OMVersionType, omfVersionType_t> mVersion{mFile, mObj, OMHEADVersion};
    OMF_ObjRefArrayProperty<OMF_CLSD2x> mClassDictionary{mFile, mObj, OMHEADClassDictionary};
    OMF_ObjRefArrayProperty<OMF_MOBJ2x> mMobs{mFile, mObj, OMHEADMobs};
    OMF_ObjRefArrayProperty<OMF_MDAT2x> mMediaData{mFile, mObj, OMHEADMediaData};
    OMF_ObjRefArrayProperty<OMF_OOBJ2x> mDefinitionObjects{mFile, mObj, OMHEADDefinitionObjects};
    OMF_ObjRefArrayProperty<OMF_IDNT2x> mIdentificationList{mFile, mObj, OMHEADIdentList};
    OMF_ObjRefArrayProperty<OMF_MOBJ2x> mPrimaryMobs{mFile, mObj, OMHEADPrimaryMobs};
};

OMF_PLAIN_CLASS(OMF_SEGM2x, OMF_CPNT2x)

class OMF_EFFE2x;

class OMF_TRAN2x : public OMF_CPNT2x
{
public:
    using OMF_CPNT2x::OMF_CPNT2x;
    OMF_ObjRefProperty<OMF_EFFE2x> mEffect{mFile, mObj, OMTRANEffect};
    OMF_Property<OMPosition32, int32_t> mCutPoint{mFile, mObj, OMTRANCutPoint};
};

class OMF_SCLP2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_Property<OMUID, omfUID_t> mSourceID{mFile, mObj, OMSCLPSourceID};
    OMF_Property<OMUInt32, uint32_t> mSourceTrackID{mFile, mObj, OMSCLPSourceTrackID};
    OMF_Property<OMPosition32, int32_t> mStartTime{mFile, mObj, OMSCLPStartTime};
};

class OMF_ECCP2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_Property<OMPosition32, int32_t> mStart{mFile, mObj, OMECCPStart};
};

OMF_PLAIN_CLASS(OMF_FILL2x, OMF_SEGM2x)

class OMF_CVAL2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_DataProperty mValue{mFile, mObj, OMCVALValue};
};

class OMF_SREF2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_Property<OMUInt32, uint32_t> mRelativeScope{mFile, mObj, OMSREFRelativeScope};
    OMF_Property<OMUInt32, uint32_t> mRelativeSlot{mFile, mObj, OMSREFRelativeSlot};
};

class OMF_TCCP2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_Property<OMPosition32, int32_t> mStart{mFile, mObj, OMTCCPStart};
    OMF_Property<OMUInt16, uint16_t> mFPS{mFile, mObj, OMTCCPFPS};
    OMF_Property<OMBoolean, bool> mDrop{mFile, mObj, OMTCCPDrop};
};

class OMF_ERAT2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_ObjRefProperty<OMF_SEGM2x> mInputSegment{mFile, mObj, OMERATInputSegment};
    OMF_Property<OMRational, omfRational_t> mInputEditRate{mFile, mObj, OMERATInputEditRate};
};

class OMF_PDWN2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_ObjRefProperty<OMF_SEGM2x> mInputSegment{mFile, mObj, OMPDWNInputSegment};
};

class OMF_EFFE2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_ObjRefProperty<OMF_EDEF2x> mEffectKind{mFile, mObj, OMEFFEEffectKind};
    OMF_ObjRefArrayProperty<OMF_ESLT2x> mEffectSlots{mFile, mObj, OMEFFEEffectSlots};
    OMF_ObjRefProperty<OMF_SCLP2x> mFinalRendering{mFile, mObj, OMEFFEFinalRendering};
    OMF_ObjRefProperty<OMF_SCLP2x> mWorkingRendering{mFile, mObj, OMEFFEWorkingRendering};
    OMF_Property<OMInt32, int32_t> mOrsaPrivateEffectID{mFile, mObj, OMF_Defs::OMEFFEOrsaPrivateEffectID};
};

class OMF_MGRP2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_ObjRefArrayProperty<OMF_SEGM2x> mChoices{mFile, mObj, OMMGRPChoices};
};

class OMF_SLCT2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_ObjRefProperty<OMF_SEGM2x> mSelected{mFile, mObj, OMSLCTSelected};
    OMF_ObjRefArrayProperty<OMF_SEGM2x> mAlternates{mFile, mObj, OMSLCTAlternates};
};

class OMF_SEQU2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_ObjRefArrayProperty<OMF_CPNT2x> mComponents{mFile, mObj, OMSEQUComponents};
};

class OMF_VVAL2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_Property<OMInterpKind, int16_t> mInterpolation{mFile, mObj, OMVVALInterpolation};
    OMF_ObjRefArrayProperty<OMF_CTLP2x> mPointList{mFile, mObj, OMVVALPointList};
};

class OMF_NEST2x : public OMF_SEGM2x
{
public:
    using OMF_SEGM2x::OMF_SEGM2x;
    OMF_ObjRefArrayProperty<OMF_SEGM2x> mSlots{mFile, mObj, OMNESTSlots};
};

class OMF_WAVE2x : public OMF_MDAT2x
{
public:
    using OMF_MDAT2x::OMF_MDAT2x;
    OMF_DataProperty mData{mFile, mObj, OMWAVEData};
};

class OMF_TIFF2x : public OMF_MDAT2x
{
public:
    using OMF_MDAT2x::OMF_MDAT2x;
    OMF_DataProperty mData{mFile, mObj, OMTIFFData};
};

class OMF_IDAT2x : public OMF_MDAT2x
{
public:
    using OMF_MDAT2x::OMF_MDAT2x;
    OMF_DataProperty mImageData{mFile, mObj, OMIDATImageData};
};

class OMF_AIFC2x : public OMF_MDAT2x
{
public:
    using OMF_MDAT2x::OMF_MDAT2x;
    OMF_DataProperty mData{mFile, mObj, OMAIFCData};
    OMF_Property<OMUID, omfUID_t> mAIFCMobID{mFile, mObj, OMF_Defs::OMAIFCMobID};
};

class OMF_JPEG2x : public OMF_IDAT2x
{
public:
    using OMF_IDAT2x::OMF_IDAT2x;
    OMF_DataProperty mFrameIndex{mFile, mObj, OMJPEGFrameIndex};
};

class OMF_MDFL2x : public OMF_MDES2x
{
public:
    using OMF_MDES2x::OMF_MDES2x;
    OMF_Property<OMBoolean, bool> mIsOMFI{mFile, mObj, OMMDFLIsOMFI};
    OMF_Property<OMRational, omfRational_t> mSampleRate{mFile, mObj, OMMDFLSampleRate};
    OMF_Property<OMLength32, int32_t> mLength{mFile, mObj, OMMDFLLength};
    OMF_Property<OMInt32, int32_t> mDataOffset{mFile, mObj, OMF_Defs::OMMDFLDataOffset};
};

OMF_PLAIN_CLASS(OMF_MDFM2x, OMF_MDES2x)

class OMF_MDTP2x : public OMF_MDES2x
{
public:
    using OMF_MDES2x::OMF_MDES2x;
    OMF_Property<OMTapeCaseType, int16_t> mTapeFormat{mFile, mObj, OMMDTPTapeFormat};
};

OMF_PLAIN_CLASS(OMF_GMFL2x, OMF_MDES2x)

class OMF_WAVD2x : public OMF_MDFL2x
{
public:
    using OMF_MDFL2x::OMF_MDFL2x;
    OMF_DataProperty mSummary{mFile, mObj, OMWAVDSummary};
};

class OMF_AIFD2x : public OMF_MDFL2x
{
public:
    using OMF_MDFL2x::OMF_MDFL2x;
    OMF_DataProperty mSummary{mFile, mObj, OMAIFDSummary};
};

class OMF_QS2D2x : public OMF_MDFL2x
{
public:
    using OMF_MDFL2x::OMF_MDFL2x;
    OMF_Property<OMInt32, int32_t> mBitsPerSample{mFile, mObj, OMF_Defs::OMQS2DBitsPerSample};
    OMF_Property<OMInt32, int32_t> mNumOfChannels{mFile, mObj, OMF_Defs::OMQS2DNumOfChannels};
};

class OMF_DIDD2x : public OMF_MDFL2x
{
public:
    using OMF_MDFL2x::OMF_MDFL2x;
    OMF_Property<OMInt32, int32_t> mStoredHeight{mFile, mObj, OMDIDDStoredHeight};
    OMF_Property<OMInt32, int32_t> mStoredWidth{mFile, mObj, OMDIDDStoredWidth};
    OMF_Property<OMInt32, int32_t> mImageSize{mFile, mObj, OMF_Defs::OMDIDD2xImageSize};
};

class OMF_TIFD2x : public OMF_MDFL2x
{
public:
    using OMF_MDFL2x::OMF_MDFL2x;
    OMF_DataProperty mSummary{mFile, mObj, OMTIFDSummary};
};

class OMF_CDCI2x : public OMF_DIDD2x
{
public:
    using OMF_DIDD2x::OMF_DIDD2x;
    OMF_Property<OMInt32, int32_t> mComponentWidth{mFile, mObj, OMF_Defs::OMCDCIComponentWidth};
};

OMF_PLAIN_CLASS(OMF_RGBA2x, OMF_DIDD2x)

class OMF_TXTL2x : public OMF_LOCR2x
{
public:
    using OMF_LOCR2x::OMF_LOCR2x;
    OMF_Property<OMString, std::string> mName{mFile, mObj, OMLOCRName};
};

class OMF_NETL2x : public OMF_LOCR2x
{
public:
    using OMF_LOCR2x::OMF_LOCR2x;
    OMF_Property<OMString, std::string> mURLString{mFile, mObj, OMNETLURLString};
};

class OMF_DOSL2x : public OMF_LOCR2x
{
public:
    using OMF_LOCR2x::OMF_LOCR2x;
    OMF_Property<OMString, std::string> mPathName{mFile, mObj, OMDOSLPathName};
};

class OMF_MACL2x : public OMF_LOCR2x
{
public:
    using OMF_LOCR2x::OMF_LOCR2x;
    OMF_Property<OMString, std::string> mFileName{mFile, mObj, OMMACLFileName};
    OMF_Property<OMString, std::string> mVName{mFile, mObj, OMMACLVName};
};

class OMF_UNXL2x : public OMF_LOCR2x
{
public:
    using OMF_LOCR2x::OMF_LOCR2x;
    OMF_Property<OMString, std::string> mPathName{mFile, mObj, OMUNXLPathName};
};

class OMF_WINL2x : public OMF_LOCR2x
{
public:
    using OMF_LOCR2x::OMF_LOCR2x;
    OMF_Property<OMString, std::string> mPathName{mFile, mObj, OMWINLPathName};
};

OMF_PLAIN_CLASS(OMF_CMOB2x, OMF_MOBJ2x)
OMF_PLAIN_CLASS(OMF_MMOB2x, OMF_MOBJ2x)

class OMF_SMOB2x : public OMF_MOBJ2x
{
public:
    using OMF_MOBJ2x::OMF_MOBJ2x;
    OMF_ObjRefProperty<OMF_MDES2x> mMediaDescription{mFile, mObj, OMSMOBMediaDescription};
};
