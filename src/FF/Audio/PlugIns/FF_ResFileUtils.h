// A resource manager of our own: classic resource forks, read and written whole, kept in a
// file's AppleDouble sidecar (Sys_AppleDouble).
//
// Fork layout (every number big-endian):
//   header 16: offset of the data, offset of the map, length of the data, length of the map;
//   data: each resource as a 32-bit length and its bytes (written from offset 256);
//   map: 16 bytes (a copy of the header), 4 next-map handle, 2 file reference, 2 attributes,
//        2 offset of the type list (from the map), 2 offset of the name list (from the map);
//   type list: count - 1 (16-bit), then per type: type (4), count - 1 (2), offset of its
//        reference list (2, from the type list);
//   reference: id (2, signed), name offset (2, from the name list; 0xFFFF: none),
//        attributes (1), data offset (3, from the data), handle (4);
//   names: a length byte and the bytes.
//
// Invariants:
//  1. The parser trusts no number of the fork: the data and the map must lie inside the
//     fork, every list and reference inside the map, every resource inside the data, every
//     name inside the map; counts are cut to what the map can hold, so nothing is allocated
//     by a count that the fork's size does not pay for. A reference that breaks this throws
//     the family exception (Sys_OSErrException with the resource manager's code -199,
//     "map damaged"); resources are not copied until asked for, so references that share
//     or overlap data cost nothing.
//  2. A fork read and written again without change keeps every resource (type, id, name,
//     attributes, bytes); the layout is the one above, in the order the resources stand.
//  3. The open forks are a process-wide table of reference numbers under one mutex, with a
//     "current" fork per the classic manager, one per thread: the reads and writes below act
//     on the calling thread's current fork. A fork opened for writing (permission 3) is written back to its sidecar when it
//     is closed, if it changed, in one atomic replacement (Sys_AppleDouble::Write).
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Sys_FileLoc.h"

// The resource manager's failure codes (classic numbers, thrown through Sys_ThrowIfOSErr).
enum EResError : int32_t
{
    eResError_None = 0,
    eResError_EndOfFile = -39,
    eResError_NotFound = -192,     // no such resource
    eResError_FileNotFound = -193, // no resource fork, or no open fork of that number
    eResError_AddFailed = -194,
    eResError_MapDamaged = -199
};

// One resource fork in memory.
class FF_ResourceFork
{
public:
    struct Resource
    {
        uint32_t mType = 0;
        int16_t mID = 0;
        bool mHasName = false;
        std::string mName;
        uint8_t mAttributes = 0;
        int64_t mSize = 0;
    };

    static constexpr int32_t cHeaderSize = 16;
    static constexpr int32_t cDataStart = 256;
    static constexpr int32_t cMapHeaderSize = 28;
    static constexpr int32_t cMaxNameLength = 255;

    FF_ResourceFork() = default;
    // Parses a fork (see the invariants); an empty image is an empty fork.
    explicit FF_ResourceFork(std::vector<uint8_t> iImage);

    const std::vector<Resource>& GetResources() const { return mResources; }
    // The bytes of a resource: by type and id; by type and name; the iIndex-th (from 1) of a
    // type. False when there is none.
    bool Get(uint32_t iType, int16_t iID, std::vector<uint8_t>* oDataP) const;
    bool GetNamed(uint32_t iType, const std::string& iName, std::vector<uint8_t>* oDataP) const;
    bool GetIndexed(uint32_t iType, int32_t iIndex, std::vector<uint8_t>* oDataP) const;
    bool HasNamed(uint32_t iType, const std::string& iName) const;
    // Adds a resource, or replaces the one of that type and id (a named one: of that type and
    // name). Names longer than 255 bytes are cut.
    void Put(uint32_t iType, int16_t iID, const std::string& iName, bool iHasName,
             std::vector<uint8_t> iData);
    // The fork's bytes.
    std::vector<uint8_t> Build() const;

private:
    struct Place
    {
        int64_t mOffset = 0; // in mImage, or -1 for mOwned
        std::shared_ptr<const std::vector<uint8_t>> mOwned;
    };
    void GetBytes(size_t iIndex, std::vector<uint8_t>* oDataP) const;

    std::vector<uint8_t> mImage;
    std::vector<Resource> mResources;
    std::vector<Place> mPlaces;
};

class FF_ResFileUtils
{
public:
    using RefNum = int16_t;
    // Permissions of OpenResourceFork.
    static constexpr int8_t cReadPermission = 1;
    static constexpr int8_t cReadWritePermission = 3;

    // Whether the file's sidecar holds a resource fork that is not empty.
    static bool HasResourceFork(const Sys_FileLoc& iLoc);
    // Gives the file an empty resource fork and the Finder type and creator (a fork there is
    // replaced).
    static void CreateResourceFork(const Sys_FileLoc& iLoc, uint32_t iType, uint32_t iCreator);
    // Opens the fork and makes it the current one; throws eResError_FileNotFound without a
    // fork, eResError_MapDamaged for a damaged one.
    static RefNum OpenResourceFork(const Sys_FileLoc& iLoc, int8_t iPermission);
    // Writes a changed writable fork back, then forgets it (also when the write throws).
    static void CloseResourceFork(RefNum iRefNum);

    // Reads from the current fork. A missing resource throws eResError_NotFound with the
    // message texts 50 and 51 (type and id), or 52 for a named "STR " resource.
    static void ReadResourceAsData(uint32_t iType, int16_t iID, std::vector<uint8_t>* oDataP);
    static void ReadIndexedResourceAsData(uint32_t iType, int32_t iIndex,
                                          std::vector<uint8_t>* oDataP);
    // The text of the "STR " resource of that name (a length byte and the characters).
    static std::string ReadNamedSTRResource(const std::string& iName);
    static bool DoesNamedResourceExist(uint32_t iType, const std::string& iName);
    // Writes to the current fork (which must be open for writing).
    static void WriteDataAsAResource(uint32_t iType, int16_t iID, const std::vector<uint8_t>& iData,
                                     const std::string& iName = "");
    // The data of a "STR " resource: a length byte and up to 255 characters of iText.
    static std::vector<uint8_t> MakeStringData(const std::string& iText);
    // A "STR " resource of that name holding iText (cut to 255 bytes).
    static void WriteStringResource(const std::string& iName, const std::string& iText,
                                    int16_t iID);
    // Throws Sys_OSErrException for a resource error other than eResError_None.
    static void ThrowIfResError(int32_t iError, const std::string& iContext = "");

    // The current fork (0: none) and making another one current.
    static RefNum CurResFile();
    static void UseResFile(RefNum iRefNum);

    // Makes a fork current for the life of the guard and restores the previous one.
    class StUseResFile
    {
    public:
        explicit StUseResFile(RefNum iRefNum);
        ~StUseResFile();
        StUseResFile(const StUseResFile&) = delete;
        StUseResFile& operator=(const StUseResFile&) = delete;

    private:
        RefNum mPrevious;
    };

    // Loads are always deferred here (resources are copied when read); kept for callers.
    class StSetResLoadFalse
    {
    public:
        StSetResLoadFalse() = default;
        StSetResLoadFalse(const StSetResLoadFalse&) = delete;
        StSetResLoadFalse& operator=(const StSetResLoadFalse&) = delete;
    };

    // Opens a fork and makes it current. Close writes a changed writable fork back and makes
    // the previous fork current again; a guard that goes without Close (an unwinding
    // failure) forgets the fork unwritten, so the sidecar stays as it was.
    class StOpenAndUseResFile
    {
    public:
        StOpenAndUseResFile(const Sys_FileLoc& iLoc, int8_t iPermission);
        ~StOpenAndUseResFile();
        StOpenAndUseResFile(const StOpenAndUseResFile&) = delete;
        StOpenAndUseResFile& operator=(const StOpenAndUseResFile&) = delete;
        RefNum Get() const { return mRefNum; }
        // Closes now (writing back), so that a failure of the write reaches the caller.
        void Close();

    private:
        RefNum mPrevious;
        RefNum mRefNum;
    };

    // The four-character code of a text ("STR ").
    static constexpr uint32_t MakeType(const char (&iCode)[5])
    {
        return uint32_t(uint8_t(iCode[0])) << 24 | uint32_t(uint8_t(iCode[1])) << 16 |
               uint32_t(uint8_t(iCode[2])) << 8 | uint32_t(uint8_t(iCode[3]));
    }
    static std::string TypeText(uint32_t iType);
};
