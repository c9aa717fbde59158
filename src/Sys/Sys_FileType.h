// The kind of a file: a small handle into a process-wide table of registered types.
//
// Each row of the table holds a list of Mac four-character types, a list of extensions
// (kept as registered: no dot is added or removed), a descriptive text (a literal or a
// message-table entry looked up when asked), a creator and a group (the class of the type:
// audio files are group 2). Rows are never removed, so a handle stays valid for the life of
// the process.
//
// Invariants:
//  1. Row 0 is cUnknown and row 1 is cFolder; both exist before any other row.
//  2. Two types compare by row: equal handles name the same row.
//  3. FromMacOSType and FromExtension return the first row that lists the code or the
//     extension (extensions compare without regard to ASCII case), or cUnknown.
//
// The table is normally filled at start-up (Initialize, then Tarn_FileTypes::Initialize, then
// the audio file types); registration and lookups are guarded by a reader-writer lock, so
// registering late from another thread is safe too.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class Sys_FileType
{
public:
    // A Mac four-character code, the first character in the high byte.
    using OSType = uint32_t;

    // The class of a type. Audio files are group 2; the rest are this library's choice.
    enum EGroup
    {
        eGroup_Other = 0,
        eGroup_Folder = 1,
        eGroup_Audio = 2,
        eGroup_Video = 3,
        eGroup_Session = 4,
        eGroup_Settings = 5,
        eGroup_Document = 6,
        eGroup_Application = 7
    };

    static const Sys_FileType cUnknown;
    static const Sys_FileType cFolder;

    constexpr Sys_FileType() = default; // cUnknown
    constexpr explicit Sys_FileType(int32_t iIndex) : mIndex(iIndex) {}

    // The code of four characters ("WAVE"); a shorter text is padded with blanks.
    static constexpr OSType MakeOSType(const char* iCode)
    {
        OSType code = 0;
        bool ended = false;
        for (int i = 0; i < 4; ++i)
        {
            ended = ended || iCode[i] == '\0';
            code = (code << 8) | (ended ? 0x20u : static_cast<unsigned char>(iCode[i]));
        }
        return code;
    }
    // The four characters of a code.
    static std::string OSTypeToString(OSType iCode);

    // Makes sure rows 0 and 1 exist (they are also made on first use of the table).
    static void Initialize();

    // Adds a row and returns its handle. iDescriptionResourceID, when not zero, names the
    // message-table entry (package x 100 + id) that gives the descriptive text in place of
    // iDescription.
    static Sys_FileType RegisterType(const std::vector<OSType>& iMacTypes,
                                     const std::vector<std::string>& iExtensions,
                                     const std::string& iDescription, OSType iCreator,
                                     int32_t iGroup = eGroup_Other,
                                     int32_t iDescriptionResourceID = 0);

    static Sys_FileType FromMacOSType(OSType iMacType);
    // iExtension as it follows the last dot of a name ("wav"); case does not matter.
    static Sys_FileType FromExtension(const std::string& iExtension);
    // The number of rows.
    static int32_t GetNumRegisteredTypes();

    // The first Mac type of the row, or 0 when it has none.
    OSType GetAssociatedMacOSType() const;
    std::vector<OSType> GetAssociatedMacOSTypes() const;
    // The first extension of the row, or "" when it has none.
    std::string GetAssociatedExtension() const;
    std::vector<std::string> GetAssociatedExtensions() const;
    bool HasAssociatedExtension(const std::string& iExtension) const;
    // A file dialog's pattern for the row: "*.wav;*.wave" ("" when it has no extension).
    std::string ToExtensions() const;
    std::string GetDescriptiveString() const;
    OSType GetCreatorType() const;
    int32_t GetGroup() const;

    int32_t GetIndex() const { return mIndex; }
    // Whether the handle names a row of the table.
    bool IsRegistered() const;

    bool operator==(const Sys_FileType& iOther) const { return mIndex == iOther.mIndex; }
    bool operator!=(const Sys_FileType& iOther) const { return mIndex != iOther.mIndex; }
    bool operator<(const Sys_FileType& iOther) const { return mIndex < iOther.mIndex; }

private:
    int32_t mIndex = 0;
};

inline constexpr Sys_FileType Sys_FileType::cUnknown{0};
inline constexpr Sys_FileType Sys_FileType::cFolder{1};
