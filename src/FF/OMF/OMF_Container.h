// The OMF container format ("Bento"): a file of values addressed by object, property and
// type, found through a table of contents (TOC) that a label at the end of the file locates.
//
// Layout, as read and written here (the public description of the format, with the choices
// it leaves open marked "Choice"):
//  1. Label: the last 24 bytes: magic A4 43 4D A5 48 64 72 D7, flags u16, buffer size u16 (in
//     KiB), major version u16, minor version u16, TOC offset u32, TOC size u32, all in the
//     file's byte order. Choice: the byte order is the one in which the major version reads
//     1 or 2 (big-endian tried first); flags and buffer size are written 0 and 1, not checked.
//  2. Everything in the file (TOC fields, value bytes of numbers) is in that one byte order.
//  3. Major version 1 has the fixed-entry TOC: entries of 24 bytes, object u32, property u32,
//     type u32, offset u32, length u32, generation u16, flags u16. Flag 1 marks an immediate
//     value: its (at most 4) bytes stand in the offset field. Consecutive entries with the same
//     object, property and type are the segments of one value in order. Choice: a reference
//     in this form is the object id itself (no reference lists).
//  4. Major version 2 has the token TOC, a byte stream of a token and its operands:
//       01 new object: object u32, property u32, type u32    02 new property: property, type
//       03 new type: type u32        04 explicit generation: u32
//       05 offset u32, length u32    06 the same, continuing the last value
//       07 offset u64, length u32    08 the same, continuing the last value
//       09..0D immediate of 0..4 bytes, 4 bytes follow      0E 4 immediate bytes, continuing
//       0F reference list of the last value: object u32      FF padding
//     A value token (05, 07, 09..0D) starts a new value of the current object, property and
//     type. A reference is a 4-byte key that the value's reference list (the value of its list
//     object's property cStdPropRefList: pairs key u32, object u32) maps to an object.
//  5. Object ids below cFirstUserID are the format's own. A property or type is an object:
//     its name is the value of property cStdPropGlobalPropName (cStdPropGlobalTypeName) of
//     type cStdTypeASCII, a NUL-terminated text.
//  6. Trust nothing: the TOC and every segment lie inside the file before the label, a value
//     is never longer than the file, allocations are sized by what the file holds. Any breach
//     throws L10N_Exception 18/9 "file is not OMFI media"; a major version other than 1 or 2
//     throws 18/2 "OMF version unknown".
// Reader and writer are single-threaded objects; a reader may be shared for reading only.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

class Sys_FileLoc;
class Sys_File;

namespace OMF_ContainerFormat
{
constexpr uint8_t cMagic[8] = {0xA4, 0x43, 0x4D, 0xA5, 0x48, 0x64, 0x72, 0xD7};
constexpr int64_t cLabelSize = 24;
constexpr uint32_t cStdObjTOC = 1;
constexpr uint32_t cStdPropGlobalTypeName = 2;
constexpr uint32_t cStdPropGlobalPropName = 3;
constexpr uint32_t cStdPropRefList = 4;
constexpr uint32_t cStdTypeASCII = 5;
constexpr uint32_t cStdTypeRefList = 6;
constexpr uint32_t cFirstUserID = 0x100;
constexpr uint16_t cFlagImmediate = 1;
enum EToken : uint8_t
{
    eToken_NewObject = 0x01,
    eToken_NewProperty = 0x02,
    eToken_NewType = 0x03,
    eToken_ExplicitGen = 0x04,
    eToken_Offset4Len4 = 0x05,
    eToken_ContdOffset4Len4 = 0x06,
    eToken_Offset8Len4 = 0x07,
    eToken_ContdOffset8Len4 = 0x08,
    eToken_Immediate0 = 0x09, // .. eToken_Immediate0 + 4
    eToken_ContdImmediate4 = 0x0E,
    eToken_ReferenceListID = 0x0F,
    eToken_Padding = 0xFF
};
} // namespace OMF_ContainerFormat

// Where a reader's bytes come from.
class OMF_ContainerSource
{
public:
    virtual ~OMF_ContainerSource() = default;
    virtual int64_t GetLength() const = 0;
    // Reads exactly iCount bytes at iOffset (the caller keeps inside GetLength).
    virtual void ReadAt(int64_t iOffset, void* oData, int64_t iCount) const = 0;

    static std::unique_ptr<OMF_ContainerSource> FromMemory(std::vector<uint8_t> iBytes);
    // Opens the file for reading; throws the file layer's failure when it cannot.
    static std::unique_ptr<OMF_ContainerSource> FromFile(const Sys_FileLoc& iLoc);
};

struct OMF_ContainerSegment
{
    int64_t mOffset = -1; // in the file; -1 for an immediate segment
    uint32_t mLength = 0;
    uint8_t mImmediate[4] = {0, 0, 0, 0};
};

struct OMF_ContainerValue
{
    uint32_t mObject = 0;
    uint32_t mProperty = 0;
    uint32_t mType = 0;
    uint32_t mRefList = 0; // object of the reference list, 0 for none
    int64_t mLength = 0;   // sum of the segments
    std::vector<OMF_ContainerSegment> mSegments;
};

class OMF_ContainerReader
{
public:
    // Reads label and TOC; throws as the layout's point 6 says.
    explicit OMF_ContainerReader(std::unique_ptr<OMF_ContainerSource> iSource);

    bool IsBigEndian() const { return mBigEndian; }
    uint16_t GetMajorVersion() const { return mMajor; }
    uint16_t GetMinorVersion() const { return mMinor; }
    int64_t GetFileLength() const { return mSource->GetLength(); }

    // The user objects (ids from cFirstUserID on) that have values, ascending.
    const std::vector<uint32_t>& GetObjects() const { return mObjects; }
    // The values of an object in TOC order (empty for an unknown object).
    std::vector<const OMF_ContainerValue*> GetValues(uint32_t iObject) const;
    // The first value of the object with that property (and type, unless 0); null if none.
    const OMF_ContainerValue* Find(uint32_t iObject, uint32_t iProperty, uint32_t iType = 0) const;

    // Names of properties and types ("" for an id that names nothing); ids of names (0).
    std::string GetPropertyName(uint32_t iProperty) const;
    std::string GetTypeName(uint32_t iType) const;
    uint32_t FindProperty(const std::string& iName) const;
    uint32_t FindType(const std::string& iName) const;

    // Reads iCount bytes of the value from iOffset within it; false past its end.
    bool Read(const OMF_ContainerValue& iValue, int64_t iOffset, void* oData, int64_t iCount) const;
    std::vector<uint8_t> ReadAll(const OMF_ContainerValue& iValue) const;
    // The object that reference key iKey of the value names (0 when the list lacks it).
    uint32_t ResolveReference(const OMF_ContainerValue& iValue, uint32_t iKey) const;
    // Where the value's bytes start in the file, -1 for an immediate or split value.
    int64_t GetFileOffset(const OMF_ContainerValue& iValue) const;

    uint32_t ReadU32(const uint8_t* iP) const;
    uint16_t ReadU16(const uint8_t* iP) const;

private:
    void ReadLabel();
    void ReadFixedTOC(const std::vector<uint8_t>& iTOC);
    void ReadTokenTOC(const std::vector<uint8_t>& iTOC);
    void AddSegment(OMF_ContainerValue* ioValue, const OMF_ContainerSegment& iSegment);
    void Index();

    std::unique_ptr<OMF_ContainerSource> mSource;
    bool mBigEndian = true;
    uint16_t mMajor = 0;
    uint16_t mMinor = 0;
    int64_t mTOCOffset = 0;
    int64_t mTOCSize = 0;
    std::vector<OMF_ContainerValue> mValues;
    std::map<uint32_t, std::vector<size_t>> mByObject;
    std::vector<uint32_t> mObjects;
    std::map<uint32_t, std::string> mPropertyNames, mTypeNames;
    std::map<std::string, uint32_t> mPropertyIDs, mTypeIDs;
    mutable std::map<uint32_t, std::map<uint32_t, uint32_t>> mRefLists; // list object -> key -> object
};

// Builds a container in memory and writes it whole. Values are given as their bytes in the
// file's byte order; references as the objects they name.
class OMF_ContainerWriter
{
public:
    OMF_ContainerWriter(bool iBigEndian, uint16_t iMajorVersion, uint16_t iMinorVersion = 0);

    bool IsBigEndian() const { return mBigEndian; }
    // A fresh user object id.
    uint32_t NewObject();
    // The property or type object of a name, made on first use.
    uint32_t Property(const std::string& iName);
    uint32_t Type(const std::string& iName);
    // Adds a value. Values of at most 4 bytes are immediate (unless iInFile); longer ones are
    // placed in the data area, cut into segments of at most SetMaxSegment bytes.
    void AddValue(uint32_t iObject, uint32_t iProperty, uint32_t iType,
                  const std::vector<uint8_t>& iBytes, bool iInFile = false);
    // A value of references (4-byte keys) to iTargets, with its reference list in the token
    // form; the ids themselves in the fixed form.
    void AddReferences(uint32_t iObject, uint32_t iProperty, uint32_t iType,
                       const std::vector<uint32_t>& iTargets);
    // A value whose bytes the caller lays out; iKeyOffsets are where its 4-byte reference keys
    // stand, iTargets what they name (the key bytes in iBytes are overwritten).
    void AddReferencingValue(uint32_t iObject, uint32_t iProperty, uint32_t iType,
                             std::vector<uint8_t> iBytes, const std::vector<size_t>& iKeyOffsets,
                             const std::vector<uint32_t>& iTargets);
    void SetMaxSegment(uint32_t iBytes) { mMaxSegment = iBytes ? iBytes : 1; }

    // Where the last value added starts in the finished file (-1 if immediate).
    int64_t GetLastValueOffset() const { return mLastOffset; }
    // The whole file.
    std::vector<uint8_t> Finish();
    // Finish, written to iLoc (created or replaced).
    void WriteTo(const Sys_FileLoc& iLoc);

    void PutU32(std::vector<uint8_t>* ioBytes, uint32_t iValue) const;
    void PutU16(std::vector<uint8_t>* ioBytes, uint16_t iValue) const;

private:
    uint32_t Named(std::map<std::string, uint32_t>* ioIDs, uint32_t iNameProperty,
                   const std::string& iName);

    bool mBigEndian;
    uint16_t mMajor, mMinor;
    uint32_t mNextID = OMF_ContainerFormat::cFirstUserID;
    uint32_t mMaxSegment = 0x7FFFFFFF;
    std::map<std::string, uint32_t> mPropertyIDs, mTypeIDs;
    std::vector<OMF_ContainerValue> mValues;
    std::vector<uint8_t> mData; // the data area, from offset 0 of the file
    int64_t mLastOffset = -1;
};
