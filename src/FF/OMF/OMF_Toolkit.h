// The toolkit entry points that the OMF object layer calls, as plain functions over our own
// container layer (OMF_Container.h). Names and roles follow the toolkit's public interface;
// the argument lists are ours.
//
// A session holds the class tree (both generations, plus classes made by omfsNewClass) and
// the property table (built-in properties, plus those of omfsRegisterDynamicProp). A file is
// opened for reading (values read on demand) or created for writing (values gathered and
// written whole by omfsCloseFile). Objects are container object ids; 0 is no object.
// Property codes name a property and its value type; a 1.x file and a 2.x file may use
// different codes for the same role.
//
// Values are read and written in the host's order: the layout of each value type says which
// bytes swap. Every call returns an omfErr_t; nothing here throws except the container
// reader, whose failures omfsOpenFile turns into OM_ERR_NOTOMFIFILE (or OM_ERR_FILEREV_NOT_SUPP
// for an unknown version), keeping the reason for omfsGetExpandedErrorString.
// One thread at a time per session.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "Iop/Iop_Types.h"

class Sys_FileLoc;
class OMF_ContainerSource;
class OMF_ContainerReader;

enum omfErr_t : int32_t
{
    OM_ERR_NONE = 0,
    OM_ERR_BAD_SESSION = 1,
    OM_ERR_NULL_PARAM = 2,
    OM_ERR_NOTOMFIFILE = 3,
    OM_ERR_FILEREV_NOT_SUPP = 4,
    OM_ERR_BADHEAD = 5,
    OM_ERR_BADOBJ = 6,
    OM_ERR_PROP_NOT_PRESENT = 7,
    OM_ERR_BAD_PROP = 8,
    OM_ERR_BAD_TYPE = 9,
    OM_ERR_BADINDEX = 10,
    OM_ERR_CLASS_NOT_FOUND = 11,
    OM_ERR_DUPLICATE_CLASS = 12,
    OM_ERR_DUPLICATE_PROP = 13,
    OM_ERR_BENTO_PROBLEM = 14,
    OM_ERR_FILE_NOT_WRITABLE = 15,
    OM_ERR_FILE_NOT_READABLE = 16,
    OM_ERR_SMALLBUF = 17,
    OM_ERR_REQUIRED_POSITIVE = 18,
    OM_ERR_SEMANTIC = 19,
    OM_ERR_NOT_IN_1X = 20,
    OM_ERR_NOT_IN_20 = 21,
    OM_ERR_REFCYCLE = 22,
    OM_ERR_MEDIA_CLOSED = 23,
    OM_ERR_WRONG_MEDIATYPE = 24,
    OM_ERR_INVALID_MOBTYPE = 25,
    OM_ERR_MEDIA_OPENMODE = 26
};

enum omfFileRev_t : int32_t
{
    kOmfRev1x = 1,
    kOmfRevIMA = 2,
    kOmfRev2x = 3
};

enum omfClassType_t : int32_t
{
    kClsRequired = 0,
    kClsRegistered = 1,
    kClsPrivate = 2
};

using omfBool = bool;
using omfObject_t = uint32_t;
using omfProperty_t = int32_t;
using omfType_t = int32_t;
using omfClassIDPtr_t = const char*; // four characters, no terminator needed
struct omfClassID_t
{
    char id[4] = {0, 0, 0, 0};
    std::string AsString() const { return std::string(id, 4); }
};
struct omfTimeStamp_t
{
    uint32_t TimeVal = 0;
    bool IsGMT = false;
};
struct omfVersionType_t
{
    uint8_t major = 0;
    uint8_t minor = 0;
};

struct omfSessionRec;
struct omfiFile;
using omfSessionHdl_t = omfSessionRec*;
using omfHdl_t = omfiFile*;

// ---- value types -------------------------------------------------------------------------------
enum : omfType_t
{
    OMNoType = 0,
    OMBoolean,
    OMInt8,
    OMInt16,
    OMInt32,
    OMUInt8,
    OMUInt16,
    OMUInt32,
    OMInt64,
    OMString,
    OMObjRef,
    OMObjRefArray,
    OMClassID,
    OMUID,
    OMRational,
    OMExactEditRate,
    OMTimeStamp,
    OMDataValue,
    OMVersionType,
    OMObjectTag,
    OMMobIndex,
    OMPosition32,
    OMLength32,
    OMPosition64,
    OMLength64,
    OMUniqueName,
    OMTrackType,
    OMPhysicalMobType,
    OMUsageCode,
    OMAttrKind,
    OMArgIDType,
    OMInterpKind,
    OMEditHintType,
    OMPulldownKindType,
    OMFilmType,
    OMTapeCaseType,
    OMLastType
};

// The file name of a value type ("omfi:UInt32") and its swap layout: a string of element
// widths repeated over the value ("4" a list of 4-byte numbers, "444" a mob identity, ""
// bytes that never swap).
const char* omfsTypeName(omfType_t iType);
const char* omfsTypeLayout(omfType_t iType);

// ---- property codes --------------------------------------------------------------------------
// Built-in properties; dynamic ones get codes from OMLastBuiltInProp on.
enum : omfProperty_t
{
    OMNoProperty = 0,
#define OMF_PROP(code, cls, name, type) code,
#include "FF/OMF/OMF_Properties.inc"
#undef OMF_PROP
    OMLastBuiltInProp
};

// ---- session and file --------------------------------------------------------------------------
omfErr_t omfsBeginSession(const void* iProductIdentification, omfSessionHdl_t* oSession);
omfErr_t omfsEndSession(omfSessionHdl_t iSession);
// A new file of revision iRev, written by omfsCloseFile: in the host's order (little-endian)
// unless omfsSetByteOrder says otherwise, in the container form of its generation (fixed TOC
// for 1.x, tokens for 2.x) unless omfsSetContainerForm says otherwise.
omfErr_t omfsCreateFile(const Sys_FileLoc& iLoc, omfSessionHdl_t iSession, omfFileRev_t iRev,
                        omfHdl_t* oFile);
omfErr_t omfsSetByteOrder(omfHdl_t iFile, bool iBigEndian);
omfErr_t omfsSetContainerForm(omfHdl_t iFile, uint16_t iMajorVersion);
// Segment size of the values written (to lay values out in pieces).
omfErr_t omfsSetMaxSegment(omfHdl_t iFile, uint32_t iBytes);
omfErr_t omfsOpenFile(const Sys_FileLoc& iLoc, omfSessionHdl_t iSession, omfHdl_t* oFile);
// The same over any byte source (the fuzz target reads from memory).
omfErr_t omfsOpenSource(std::unique_ptr<OMF_ContainerSource> iSource, omfSessionHdl_t iSession,
                        omfHdl_t* oFile);
// Writes a created file; frees the handle in every case.
omfErr_t omfsCloseFile(omfHdl_t iFile);
// Frees the handle without writing anything (a created file is left unwritten).
omfErr_t omfsDiscardFile(omfHdl_t iFile);
omfErr_t omfsFileGetRev(omfHdl_t iFile, omfFileRev_t* oRev);
omfErr_t omfsGetHeadObject(omfHdl_t iFile, omfObject_t* oHead);
// The container under a file opened for reading (null for a created one).
const OMF_ContainerReader* omfsGetContainer(omfHdl_t iFile);
bool omfsIsBigEndian(omfHdl_t iFile);

// ---- errors --------------------------------------------------------------------------------------
const char* omfsGetErrorString(omfErr_t iErr);
// The error's text with what the file last said about it (the container's reason).
std::string omfsGetExpandedErrorString(omfHdl_t iFile, omfErr_t iErr);
omfErr_t omfsGetBentoErrorRaised(omfHdl_t iFile, omfBool* oRaised);
std::string omfsGetBentoErrorString(omfHdl_t iFile);

// ---- classes, objects, properties --------------------------------------------------------------
omfErr_t omfsNewClass(omfSessionHdl_t iSession, omfClassType_t iType, omfFileRev_t iRev,
                      omfClassIDPtr_t iID, omfClassIDPtr_t iSuperID);
omfErr_t omfsRegisterDynamicProp(omfSessionHdl_t iSession, omfClassType_t iType,
                                 const char* iName, omfClassIDPtr_t iClass, omfType_t iValueType,
                                 omfFileRev_t iRev, omfProperty_t* oProperty);
omfErr_t omfsClassFindSuperClass(omfHdl_t iFile, omfClassIDPtr_t iClass, omfClassID_t* oSuper,
                                 omfBool* oFound);
omfErr_t omfsObjectNew(omfHdl_t iFile, omfClassIDPtr_t iClass, omfObject_t* oObject);
omfErr_t omfsReadClassID(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                         omfClassID_t* oClass);
omfErr_t omfsReadObjectTag(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                           omfClassID_t* oTag);
omfBool omfsIsPropPresent(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                          omfType_t iType);
omfErr_t omfsLengthDataValue(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                             int64_t* oLength);
omfErr_t omfsLengthString(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                          int32_t* oLength);
omfErr_t omfsReadString(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                        std::string* oText);
omfErr_t omfsWriteString(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                         const std::string& iText);
omfErr_t omfsReadObjRef(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                        omfObject_t* oTarget);
omfErr_t omfsWriteObjRef(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                         omfObject_t iTarget);
int32_t omfsLengthObjRefArray(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty);
// iIndex counts from 1.
omfErr_t omfsGetNthObjRefArray(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                               omfObject_t* oTarget, int32_t iIndex);
omfErr_t omfsAppendObjRefArray(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                               omfObject_t iTarget);
// 1.x mob indexes: entries of a mob identity and the mob.
int32_t omfsLengthObjIndex(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty);
omfErr_t omfsGetNthObjIndex(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                            omfUID_t* oID, omfObject_t* oTarget, int32_t iIndex);
omfErr_t omfsAppendObjIndex(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                            const omfUID_t& iID, omfObject_t iTarget);
omfErr_t omfsGetDateTime(omfTimeStamp_t* oTime);

// The raw property calls: size bytes of the value (from iOffset), swapped to the host.
omfErr_t OMReadProp(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty, int64_t iOffset,
                    bool iSwab, omfType_t iType, int32_t iSize, void* oData);
omfErr_t OMReadBaseProp(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                        omfType_t iType, int32_t iSize, void* oData);
omfErr_t OMWriteBaseProp(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                         omfType_t iType, int32_t iSize, const void* iData);
omfErr_t OMLengthProp(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                      omfType_t iType, int64_t* oLength);
omfErr_t OMGetPropertyFileOffset(omfHdl_t iFile, omfObject_t iObject, omfProperty_t iProperty,
                                 int64_t iOffset, omfType_t iType, int64_t* oFileOffset);
// The value type of a property code (OMNoType for none); its class and name.
omfType_t omfsPropertyType(omfSessionHdl_t iSession, omfProperty_t iProperty);
std::string omfsPropertyClass(omfSessionHdl_t iSession, omfProperty_t iProperty);
omfSessionHdl_t omfsGetSession(omfHdl_t iFile);

// ---- semantic checks -------------------------------------------------------------------------
// With checks on (the default), writing a property to an object of a class that does not
// carry it fails with OM_ERR_SEMANTIC.
omfErr_t omfsSemanticCheckOn(omfHdl_t iFile);
omfErr_t omfsSemanticCheckOff(omfHdl_t iFile);
omfBool omfsIsSemanticCheckOn(omfHdl_t iFile);

// ---- identity --------------------------------------------------------------------------------
omfErr_t omfiMobIDNew(omfHdl_t iFile, omfUID_t* oID);
// A mob's new identity, also in the head's mob indexes of a 1.x file. Media data takes its
// file mob's identity when omfmAudioMediaCreate makes it: set the identity before that.
omfErr_t omfiMobSetIdentity(omfHdl_t iFile, omfObject_t iMob, const omfUID_t& iID);
// Copies iMob and everything it refers to into iDestFile; the copy keeps the identity.
omfErr_t omfiMobCloneExternal(omfHdl_t iFile, omfObject_t iMob, omfHdl_t iDestFile,
                              omfObject_t* oDestMob);
omfErr_t omfiMobAppendComment(omfHdl_t iFile, omfObject_t iMob, const std::string& iCategory,
                              const std::string& iComment);
// The data definition (2.x) whose DataKindID is iName; 0 when there is none.
omfErr_t omfiDatakindLookup(omfHdl_t iFile, const std::string& iName, omfObject_t* oDef);
omfErr_t omfiGetPropertyName(omfHdl_t iFile, omfProperty_t iProperty, std::string* oName);

// ---- media -------------------------------------------------------------------------------------
// Media of a created file: mobs that describe it and its data embedded in the file. A file
// mob's codec is the class of its data: "WAVE", "AIFC" or "QS2M" (1.x only) for sound,
// "TIFF" for pictures. A media handle belongs to its file: omfmMediaClose writes what was
// gathered and marks it closed (later calls on it fail with OM_ERR_MEDIA_CLOSED); the handle
// itself lives until the file is closed or discarded, and closing the file closes open media.
struct omfMediaRec;
using omfMediaHdl_t = omfMediaRec*;

omfErr_t omfmInit(omfHdl_t iFile);
omfErr_t omfmFileMobNew(omfHdl_t iFile, const std::string& iName, const omfRational_t& iEditRate,
                        omfClassIDPtr_t iCodec, omfObject_t* oMob);
omfErr_t omfmMasterMobNew(omfHdl_t iFile, const std::string& iName, omfBool iIsPrimary, omfObject_t* oMob);
omfErr_t omfmTapeMobNew(omfHdl_t iFile, const std::string& iName, omfObject_t* oMob);
// New media for a file mob of a sound codec, played by the master mob's first track.
// Samples are iBitsPerSample wide (8, 16, 24 or 32), interleaved over iChannels.
omfErr_t omfmAudioMediaCreate(omfHdl_t iFile, omfObject_t iMasterMob, omfObject_t iFileMob,
                              const omfRational_t& iSampleRate, int16_t iBitsPerSample, int16_t iChannels,
                              omfMediaHdl_t* oMedia);
// New media for a file mob of a picture codec; its data is written raw, one frame a sample.
omfErr_t omfmVideoMediaCreate(omfHdl_t iFile, omfObject_t iMasterMob, omfObject_t iFileMob,
                              const omfRational_t& iFrameRate, int32_t iWidth, int32_t iHeight,
                              omfMediaHdl_t* oMedia);
// iSamples sample frames of sound, two's complement in the host's order (iBytes must be their size); the data is
// stored in the codec's order behind the header that omfmMediaClose writes. WAVE and AIFC only.
omfErr_t omfmWriteDataSamples(omfMediaHdl_t iMedia, int32_t iSamples, const void* iBuffer, int32_t iBytes);
// Bytes stored as they are (a whole file of the codec's format), said to hold iSamples samples.
// A media takes either raw data or data samples (OM_ERR_MEDIA_OPENMODE for the other).
omfErr_t omfmWriteRawData(omfMediaHdl_t iMedia, int32_t iSamples, const void* iBuffer, int32_t iBytes);
omfErr_t omfmMediaClose(omfMediaHdl_t iMedia);
// The media's one segment (iIndex 1): its first sample, its samples and where in the data value
// the first sample is (0 for raw data).
omfErr_t omfmGetMediaSegmentInfo(omfMediaHdl_t iMedia, int32_t iIndex, int64_t* oStartSample,
                                 int64_t* oSamples, int64_t* oDataOffset);
// The name of a tape mob (OM_ERR_INVALID_MOBTYPE for a mob of other media), in a file read or
// written.
omfErr_t omfmMobGetTapeName(omfHdl_t iFile, omfObject_t iMob, std::string* oName);
