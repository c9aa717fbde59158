// The identifiers of everything that the toolkit does not define: classes of other makers
// and of ours, dynamic properties, and the application codes of mobs. Initialize makes them
// once per session (before any object of the layer is made); until then the property codes
// are OMNoProperty and the class ids stand unregistered.
#pragma once

#include <cstdint>

#include "FF/OMF/OMF_Toolkit.h"

class OMF_Defs
{
public:
    // Registers the classes, then the properties, in table order; each call goes through
    // OMF_Utils::ThrowIfErr ("omfsNewClass", "In omfsRegisterDynamicProp"). A second call
    // for the same session does nothing.
    static void Initialize(omfSessionHdl_t iSession);

    static constexpr omfClassIDPtr_t OMClassMPEG = "MPEG";
    static constexpr omfClassIDPtr_t OMClassJPED = "JPED";
    static constexpr omfClassIDPtr_t OMClassMSML = "MSML";
    static constexpr omfClassIDPtr_t OMClassGMFL = "GMFL";
    static constexpr omfClassIDPtr_t OMClassQS2M = "QS2M";
    static constexpr omfClassIDPtr_t OMClassDictionary = "DICT";

    static omfProperty_t OMJPEDImageStartAlignment;
    static omfProperty_t OMJPEDQTablesLen;
    static omfProperty_t OMDIDDFirstFrameOffset;
    static omfProperty_t OMJPEDOffsetToFrameIndexes;
    static omfProperty_t OMDIDDFrameIndexByteOrder;
    static omfProperty_t OMDIDDDIDResolutionID;
    static omfProperty_t OMMDFLDataOffset;
    static omfProperty_t OMMOBJAppCode;
    static omfProperty_t OMMOBJMinorVersion1x;
    static omfProperty_t OMMOBJCreationTime1x;
    static omfProperty_t OMAIFCMobID;
    static omfProperty_t OMEFFEOrsaPrivateEffectID;
    static omfProperty_t OMMSMLLastKnownVolume;
    static omfProperty_t OMMSMLMobID;
    static omfProperty_t OMQS2DBitsPerSample;
    static omfProperty_t OMQS2DNumOfChannels;
    static omfProperty_t OMCDCIComponentWidth;
    static omfProperty_t OMCDCIHorizontalSubsampling;
    static omfProperty_t OMCDCIVerticalSubsampling;
    static omfProperty_t OMCDCIColorSiting;
    static omfProperty_t OMCDCIBlackReferenceLevel;
    static omfProperty_t OMCDCIWhiteReferenceLevel;
    static omfProperty_t OMCDCIColorRange;
    static omfProperty_t OMDIDD1xImageSize;
    static omfProperty_t OMDIDD2xImageSize;
    static omfProperty_t OMDIDDCompressMethod;
    static omfProperty_t OMDIDDFrameSampleSize;
    static omfProperty_t OMDIDD2xKludgeFrameSampleSize;
    static omfProperty_t OMDIDD2xKludgeFirstFrameOffset;
    static omfProperty_t OMDIDDUniformness;

    // Application codes of mobs.
    static constexpr int32_t AC_NULL = 0;
    static constexpr int32_t AC_MASTER = 1;
    static constexpr int32_t AC_SUBCLIP = 2;
    static constexpr int32_t AC_EFFECT = 3;
    static constexpr int32_t AC_GROUP = 4;
    static constexpr int32_t AC_GROUPINDIRECT = 5;
    static constexpr int32_t AC_MOTION = 6;
    static constexpr int32_t AC_PRECOMPUTE = 7;
    static constexpr int32_t AC_PRECOMPUTE_FILE = 8;
    static constexpr int32_t AC_STUB = 9;
    static constexpr int32_t AC_META = 10;
    static constexpr int32_t AC_SYNTHETIC = 11;
    static constexpr int32_t AC_TRIGGER = 12;
};
