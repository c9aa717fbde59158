#include "FF/OMF/OMF_Defs.h"

#include "FF/OMF/OMF_Utils.h"

omfProperty_t OMF_Defs::OMJPEDImageStartAlignment = OMNoProperty;
omfProperty_t OMF_Defs::OMJPEDQTablesLen = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDDFirstFrameOffset = OMNoProperty;
omfProperty_t OMF_Defs::OMJPEDOffsetToFrameIndexes = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDDFrameIndexByteOrder = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDDDIDResolutionID = OMNoProperty;
omfProperty_t OMF_Defs::OMMDFLDataOffset = OMNoProperty;
omfProperty_t OMF_Defs::OMMOBJAppCode = OMNoProperty;
omfProperty_t OMF_Defs::OMMOBJMinorVersion1x = OMNoProperty;
omfProperty_t OMF_Defs::OMMOBJCreationTime1x = OMNoProperty;
omfProperty_t OMF_Defs::OMAIFCMobID = OMNoProperty;
omfProperty_t OMF_Defs::OMEFFEOrsaPrivateEffectID = OMNoProperty;
omfProperty_t OMF_Defs::OMMSMLLastKnownVolume = OMNoProperty;
omfProperty_t OMF_Defs::OMMSMLMobID = OMNoProperty;
omfProperty_t OMF_Defs::OMQS2DBitsPerSample = OMNoProperty;
omfProperty_t OMF_Defs::OMQS2DNumOfChannels = OMNoProperty;
omfProperty_t OMF_Defs::OMCDCIComponentWidth = OMNoProperty;
omfProperty_t OMF_Defs::OMCDCIHorizontalSubsampling = OMNoProperty;
omfProperty_t OMF_Defs::OMCDCIVerticalSubsampling = OMNoProperty;
omfProperty_t OMF_Defs::OMCDCIColorSiting = OMNoProperty;
omfProperty_t OMF_Defs::OMCDCIBlackReferenceLevel = OMNoProperty;
omfProperty_t OMF_Defs::OMCDCIWhiteReferenceLevel = OMNoProperty;
omfProperty_t OMF_Defs::OMCDCIColorRange = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDD1xImageSize = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDD2xImageSize = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDDCompressMethod = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDDFrameSampleSize = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDD2xKludgeFrameSampleSize = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDD2xKludgeFirstFrameOffset = OMNoProperty;
omfProperty_t OMF_Defs::OMDIDDUniformness = OMNoProperty;

void OMF_Defs::Initialize(omfSessionHdl_t iSession)
{
    // Classes, in both generations where the parent exists there.
    struct NewClass
    {
        omfClassIDPtr_t mID;
        omfClassIDPtr_t mSuper;
        bool m1x, m2x;
    };
    const NewClass classes[] = {{OMClassMPEG, "IDAT", true, true}, {OMClassJPED, "CDCI", true, false},
                                {OMClassMSML, "OOBJ", true, true}, {OMClassGMFL, "MDES", true, true},
                                {OMClassQS2M, "MDAT", true, false}, {OMClassDictionary, "OOBJ", true, true}};
    for (const NewClass& cls : classes)
    {
        if (cls.m1x)
            OMF_Utils::ThrowIfErr(omfsNewClass(iSession, kClsPrivate, kOmfRev1x, cls.mID, cls.mSuper), "omfsNewClass");
        if (cls.m2x)
            OMF_Utils::ThrowIfErr(omfsNewClass(iSession, kClsPrivate, kOmfRev2x, cls.mID, cls.mSuper), "omfsNewClass");
    }
    struct DynamicProp
    {
        omfProperty_t* mCode;
        const char* mClass;
        const char* mName;
        omfType_t mType;
        omfFileRev_t mRev;
    };
    const DynamicProp props[] = {
        {&OMJPEDImageStartAlignment, "JPED", "ImageStartAlignment", OMInt32, kOmfRev1x},
        {&OMJPEDQTablesLen, "JPED", "QuantizationTables Length", OMInt32, kOmfRev1x},
        {&OMDIDDFirstFrameOffset, "DIDD", "FirstFrameOffset", OMInt32, kOmfRev2x},
        {&OMJPEDOffsetToFrameIndexes, "JPED", "OffsetToFrameIndexes", OMInt32, kOmfRev1x},
        {&OMDIDDFrameIndexByteOrder, "DIDD", "FrameIndexByteOrder", OMInt16, kOmfRev2x},
        {&OMDIDDDIDResolutionID, "DIDD", "DIDResolutionID", OMInt32, kOmfRev2x},
        {&OMMDFLDataOffset, "MDFL", "dataOffset", OMInt32, kOmfRev2x},
        {&OMMOBJAppCode, "MOBJ", "AppCode", OMInt32, kOmfRev2x},
        {&OMMOBJMinorVersion1x, "MOBJ", "MinorVersion", OMInt32, kOmfRev1x},
        {&OMMOBJCreationTime1x, "MOBJ", "_CreationTime", OMTimeStamp, kOmfRev1x},
        {&OMAIFCMobID, "AIFC", "MobID", OMUID, kOmfRev2x},
        {&OMEFFEOrsaPrivateEffectID, "EFFE", "OrsaPrivateEffectID", OMInt32, kOmfRev2x},
        {&OMMSMLLastKnownVolume, "MSML", "LastKnownVolume", OMString, kOmfRev1x},
        {&OMMSMLMobID, "MSML", "MobID", OMUID, kOmfRev1x},
        {&OMQS2DBitsPerSample, "QS2D", "BitsPerSample", OMInt32, kOmfRev2x},
        {&OMQS2DNumOfChannels, "QS2D", "NumOfChannels", OMInt32, kOmfRev2x},
        {&OMCDCIComponentWidth, "CDCI", "ComponentWidth", OMInt32, kOmfRev2x},
        {&OMCDCIHorizontalSubsampling, "CDCI", "HorizontalSubsampling", OMInt32, kOmfRev2x},
        {&OMCDCIVerticalSubsampling, "CDCI", "VerticalSubsampling", OMInt32, kOmfRev2x},
        {&OMCDCIColorSiting, "CDCI", "ColorSitingType", OMInt16, kOmfRev2x},
        {&OMCDCIBlackReferenceLevel, "CDCI", "BlackReferenceLevel", OMInt32, kOmfRev2x},
        {&OMCDCIWhiteReferenceLevel, "CDCI", "WhiteReferenceLevel", OMInt32, kOmfRev2x},
        {&OMCDCIColorRange, "CDCI", "ColorRange", OMInt32, kOmfRev2x},
        {&OMDIDD1xImageSize, "DIDD", "DIDImageSize", OMInt32, kOmfRev1x},
        {&OMDIDD2xImageSize, "DIDD", "DIDDImageSize", OMInt32, kOmfRev2x},
        {&OMDIDDCompressMethod, "DIDD", "DIDCompressMethod", OMObjectTag, kOmfRev2x},
        {&OMDIDDFrameSampleSize, "DIDD", "FrameSampleSize", OMInt32, kOmfRev2x},
        {&OMDIDD2xKludgeFrameSampleSize, "DIDD", "DIDDFrameSampleSize", OMInt32, kOmfRev2x},
        {&OMDIDD2xKludgeFirstFrameOffset, "DIDD", "DIDDFirstFrameOffset", OMInt32, kOmfRev2x},
        {&OMDIDDUniformness, "DIDD", "Uniformness", OMBoolean, kOmfRev2x},
    };
    for (const DynamicProp& prop : props)
        OMF_Utils::ThrowIfErr(omfsRegisterDynamicProp(iSession, kClsPrivate, prop.mName, prop.mClass, prop.mType,
                                                      prop.mRev, prop.mCode),
                              "In omfsRegisterDynamicProp");
}
