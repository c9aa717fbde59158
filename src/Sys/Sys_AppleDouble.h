// AppleDouble sidecars: the resource fork and Finder information of a file, kept on Linux in
// a file of their own beside it, named "._" + the file's name.
//
// Layout (every number big-endian): a 26-byte header (magic 0x00051607, version 0x00020000,
// 16 bytes of filler, 16-bit entry count), then 12-byte entry descriptors (id, offset,
// length; id 9 Finder information, id 2 resource fork), then the entries' bytes. Writing lays
// a sidecar out as header, Finder information (32 bytes at 50), resource fork (at 82), which
// is where most readers of such sidecars look for them.
//
// Contract:
//  - The parser trusts no number of the image: entries are cut to what the image holds, an
//    entry that starts past the end is no entry, and nothing is allocated by a count before
//    it is so cut. An image without the magic (or the AppleSingle one) is no sidecar.
//  - Write replaces a file's whole sidecar in one step: it is written under a temporary
//    name and renamed when complete (Sys_AtomicOutput), so a failure at any write leaves the
//    sidecar that was there. The sidecar of a file that is itself being written under a
//    temporary name is written beside the temporary file and published with it.
//  - Any thread may call these; two threads writing one file's sidecar must coordinate.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "Sys_FileLoc.h"

class Sys_AppleDouble
{
public:
    static constexpr uint32_t cMagic = 0x00051607;
    static constexpr uint32_t cSingleMagic = 0x00051600;
    static constexpr uint32_t cVersion = 0x00020000;
    static constexpr int32_t cHeaderSize = 26;
    static constexpr int32_t cEntrySize = 12;
    static constexpr uint32_t cEntry_ResourceFork = 2;
    static constexpr uint32_t cEntry_FinderInfo = 9;
    static constexpr int32_t cFinderInfoSize = 32;
    // No sidecar is read that is larger: resource forks hold at most 16 MB.
    static constexpr int64_t cMaxSidecarSize = int64_t(1) << 25;

    struct Entry
    {
        uint32_t mID = 0;
        uint32_t mOffset = 0;
        uint32_t mLength = 0; // cut to what the image holds
    };

    // What a sidecar holds.
    struct Contents
    {
        bool mHasFinderInfo = false;
        std::array<uint8_t, cFinderInfoSize> mFinderInfo{}; // type at 0, creator at 4
        bool mHasResourceFork = false;
        std::vector<uint8_t> mResourceFork;

        void SetTypeAndCreator(uint32_t iType, uint32_t iCreator);
        uint32_t GetType() const;
        uint32_t GetCreator() const;
    };

    // The entry descriptors of an image of iImageSize bytes whose first iHeadSize bytes are
    // at iHeadP (the header and descriptors; more is not needed). False when the head is no
    // AppleDouble or AppleSingle header. Entries come in the order they are listed.
    static bool ParseEntries(const uint8_t* iHeadP, size_t iHeadSize, int64_t iImageSize,
                             std::vector<Entry>* oEntriesP);
    // How many head bytes ParseEntries needs for an image whose first 26 bytes are at
    // iHeaderP (cHeaderSize bytes), cut to iImageSize.
    static size_t HeadSize(const uint8_t* iHeaderP, int64_t iImageSize);
    // A whole image: false when it is no sidecar. The first entry of each id counts.
    static bool Parse(const uint8_t* iImageP, size_t iImageSize, Contents* oContentsP);
    // The image of these contents (the entries it has, in the order above).
    static std::vector<uint8_t> Build(const Contents& iContents);

    // "._" + name in the same folder; the empty location for a sidecar itself or the root.
    static Sys_FileLoc SidecarOf(const Sys_FileLoc& iFile);
    static bool IsSidecarName(const std::string& iName);

    // The descriptors of iFile's sidecar, in the order they are listed; false without a
    // sidecar. Reads the header only.
    static bool ReadEntries(const Sys_FileLoc& iFile, std::vector<Entry>* oEntriesP);
    // The first descriptor of id iID in the sidecar of iFile; false without a sidecar or
    // such an entry. Reads the header only.
    static bool FindEntry(const Sys_FileLoc& iFile, uint32_t iID, Entry* oEntryP);
    // The contents of iFile's sidecar; false when there is none or it is no sidecar (or is
    // larger than cMaxSidecarSize). A failed read throws (Sys_ThrowIfOSErr).
    static bool Read(const Sys_FileLoc& iFile, Contents* oContentsP);
    // Replaces iFile's sidecar with these contents (see the contract). Failures throw.
    static void Write(const Sys_FileLoc& iFile, const Contents& iContents);
};
