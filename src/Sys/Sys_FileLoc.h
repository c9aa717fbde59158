// A place in the file system, named by value; the file or folder need not exist.
//
// Design:
//  1. A Sys_FileLoc holds one counted, immutable Sys_FileLocImpl (mImpl, never null: a
//     location built from a null implementation fails the assertion "mImpl"). Copies share
//     the implementation; its count is interlocked, so copies may live on other threads.
//  2. The implementation is made by the creation hooks that the platform layer installs
//     (Sys_FileLocPosix, by Sys_SetPlatformDependentMethods: see Sys_Platform.h). On this host the path is a POSIX path in canonical form: repeated separators and
//     "." components dropped, no trailing separator ("/" stays "/"). ".." is kept as it
//     stands, since a link may make it mean something else than the text says.
//  3. Two locations are equal when their canonical paths are equal as text; "<" orders them
//     by that text. The empty location (default constructed) has the path "".
//  4. Path components: the first is the mount point of the volume that holds the location
//     ("/" or "/media/disk"), the rest name the folders and the file below it. The empty
//     location has none; a relative path is taken from the current folder.
//
// Stream form (a standard stream header, magic "SFL", version 1; numbers in the typed
// stream's byte order):
//    is a folder                 bool
//    volume identifier           uint32_t   (Sys_Volume::GetID)
//    number of path components   int32_t
//    each component              string     (below the root of the volume's file system)
// The volume goes by identifier and the path by components, so that a stored location
// reads back wherever its file system is mounted now. StreamIn throws L10N package 1, id 1
// ("a volume is not mounted") when no mounted volume has the identifier, after consuming
// the whole block; a count or component that the block cannot hold, or a component that
// is empty, "." or ".." or holds "/" or NUL, throws package 2, id 29 or package 3, id 1.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "Cmn_RefCountObject.h"
#include "Sys_FileType.h"
#include "Sys_ThreadSafeRefCountObject.h"

class Sys_Volume;
class Sys_FileLoc;
class Sys_TypedInStream;
class Sys_TypedOutStream;

// The platform's share of a location. Immutable once made.
class Sys_FileLocImpl : public Sys_ThreadSafeRefCountObject
{
public:
    ~Sys_FileLocImpl() override = default;

    virtual const std::string& GetFullPath() const = 0;
    virtual std::string GetLongFullPath() const = 0;
    virtual std::string GetName() const = 0;
    // The text after the last dot of the name ("" when none, or when the dot leads).
    virtual std::string GetExtension() const = 0;
    virtual Sys_FileLoc GetParentFolder() const = 0;
    virtual std::vector<std::string> GetPathComponents() const = 0;
    virtual Sys_Volume GetVolume() const = 0;
    virtual bool IsVolumeRoot() const = 0;
    // 1 when the location was made as a folder, 0 as a file, -1 when it was not said.
    virtual int32_t GetFolderHint() const = 0;
};

class Sys_FileLoc
{
public:
    using StandardCreateMethod = Sys_FileLocImpl* (*)(const Sys_FileLoc& iParent,
                                                      const std::string& iName,
                                                      const Sys_FileType& iType);
    using FullPathCreateMethod = Sys_FileLocImpl* (*)(const std::string& iFullPath);
    using PathComponentsCreateMethod =
        Sys_FileLocImpl* (*)(const std::vector<std::string>& iComponents);
    using VolumeRootCreateMethod = Sys_FileLocImpl* (*)(const Sys_Volume& iVolume);
    using OtherVolumeCreateMethod = Sys_FileLocImpl* (*)(const Sys_Volume& iVolume,
                                                         const Sys_FileLoc& iLoc);
    // A location of a path already resolved, made as a folder (1), a file (0) or unsaid (-1).
    using FolderHintCreateMethod = Sys_FileLocImpl* (*)(const std::string& iPath,
                                                        int32_t iFolderHint);
    // The canonical form of a path (links resolved), or "" when it cannot be resolved.
    using CanonicalPathMethod = std::string (*)(const std::string& iPath);
    struct CreateMethods
    {
        StandardCreateMethod mStandard = nullptr;
        FullPathCreateMethod mFullPath = nullptr;
        PathComponentsCreateMethod mPathComponents = nullptr;
        VolumeRootCreateMethod mVolumeRoot = nullptr;
        OtherVolumeCreateMethod mOtherVolume = nullptr;
        FolderHintCreateMethod mFolderHint = nullptr;
        CanonicalPathMethod mCanonicalPath = nullptr;
    };
    // Installs the hooks (all must be set). Call at start-up, before other threads run.
    static void SetCreateMethods(const CreateMethods& iMethods);

    static constexpr const char* cStreamMagic = "SFL";
    static constexpr int16_t cStreamVersion = 1;

    // The empty location.
    Sys_FileLoc();
    explicit Sys_FileLoc(const std::string& iFullPath);
    // iName inside iParent; a type with an extension adds it unless the name ends with it.
    // cFolder marks the location as a folder.
    Sys_FileLoc(const Sys_FileLoc& iParent, const std::string& iName,
                const Sys_FileType& iType = Sys_FileType::cUnknown);
    // The root of the volume (its mount point).
    explicit Sys_FileLoc(const Sys_Volume& iVolume);
    // The same place below the root of iVolume as iLoc has below the root of its own.
    Sys_FileLoc(const Sys_Volume& iVolume, const Sys_FileLoc& iLoc);
    // From components as GetPathComponents gives them (the first may be any absolute path).
    explicit Sys_FileLoc(const std::vector<std::string>& iComponents);
    // Adopts iImplP; asserts "mImpl".
    explicit Sys_FileLoc(Sys_FileLocImpl* iImplP);

    const std::string& GetFullPath() const { return mImpl->GetFullPath(); }
    std::string GetLongFullPath() const { return mImpl->GetLongFullPath(); }
    std::u16string GetUTF16FullPath() const;
    // The last component; empty for "/" and for the empty location.
    std::string GetName() const { return mImpl->GetName(); }
    std::string GetExtension() const { return mImpl->GetExtension(); }
    // The folder that holds this location: "/" for a top-level entry, the empty location
    // for "/" itself and for a bare name.
    Sys_FileLoc GetParentFolder() const;
    std::vector<std::string> GetPathComponents() const { return mImpl->GetPathComponents(); }
    // The volume that holds this location (or would hold it, for a path that does not exist).
    Sys_Volume GetVolume() const;
    bool IsVolumeRoot() const { return mImpl->IsVolumeRoot(); }
    bool IsEmpty() const { return GetFullPath().empty(); }
    Sys_FileLocImpl* GetImpl() const { return mImpl.Get(); }

    // Full path, long full path, volume, name, extension and parent, a line each.
    void Print(std::ostream& ioStream) const;

    void StreamIn(Sys_TypedInStream& ioStream);
    void StreamOut(Sys_TypedOutStream& ioStream) const;

    // Folder identifiers for data that names folders by number: a 32-bit number for a
    // folder (its inode number's low bits, recorded in a process-wide map), and the folder
    // for such a number (false when it was never recorded on that volume).
    static uint32_t GetHFSDirIDFromFolder(const Sys_FileLoc& iFolder);
    static bool FolderFromHFSDirID(const Sys_Volume& iVolume, uint32_t iDirID,
                                   Sys_FileLoc* oFolder);
    // Records the numbers of iFolder and every folder below it; returns how many.
    static int32_t MapHFSDirIDs(const Sys_FileLoc& iFolder);

    bool operator==(const Sys_FileLoc& iOther) const
    {
        return GetFullPath() == iOther.GetFullPath();
    }
    bool operator!=(const Sys_FileLoc& iOther) const { return !(*this == iOther); }
    bool operator<(const Sys_FileLoc& iOther) const { return GetFullPath() < iOther.GetFullPath(); }

private:
    struct ImplHack
    {
        static void AddReference(Sys_FileLocImpl* iP) { iP->AddReference(); }
        static void RemoveReference(Sys_FileLocImpl* iP) { iP->RemoveReference(); }
    };
    Cmn_AliasedRefCountPtr<Sys_FileLocImpl, Sys_FileLocImpl*, ImplHack> mImpl;
};

Sys_TypedOutStream& operator<<(Sys_TypedOutStream& ioStream, const Sys_FileLoc& iLoc);
Sys_TypedInStream& operator>>(Sys_TypedInStream& ioStream, Sys_FileLoc& oLoc);
std::ostream& operator<<(std::ostream& ioStream, const Sys_FileLoc& iLoc);
