#include "Sys_AtomicOutput.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <signal.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "Sys_OSErrData.h"

namespace
{
std::mutex& RegistryMutex()
{
    static std::mutex sMutex;
    return sMutex;
}

struct Reservation
{
    std::string mTemp;
    bool mReplace = false;
    bool mExisted = false; // a file stood under the final name at Begin
};

// Final path -> its reservation, for this process.
std::map<std::string, Reservation>& Registry()
{
    static std::map<std::string, Reservation> sRegistry;
    return sRegistry;
}

std::atomic<Sys_AtomicOutput::FaultHook> sFaultHook{nullptr};

// The injected error of this sync or rename, or 0.
int32_t TakeFault(bool iRename)
{
    const Sys_AtomicOutput::FaultHook hook = sFaultHook.load();
    return hook ? hook(iRename) : 0;
}

[[noreturn]] void Fail(int iError, const Sys_FileLoc& iLoc)
{
    Sys_ThrowIfOSErr(iError ? iError : EIO, iLoc.GetFullPath());
    throw std::logic_error("unreachable");
}

bool IsAlive(int32_t iPid)
{
    return iPid > 0 && (::kill(pid_t(iPid), 0) == 0 || errno == EPERM);
}

std::vector<std::string> ListNames(const Sys_FileLoc& iFolder)
{
    std::vector<std::string> names;
    DIR* dirP = ::opendir(iFolder.IsEmpty() ? "." : iFolder.GetFullPath().c_str());
    if (!dirP)
        return names;
    while (const dirent* entryP = ::readdir(dirP))
    {
        const std::string name = entryP->d_name;
        const size_t at = name.compare(0, 2, "._") == 0 ? 2 : 0; // a temporary file's sidecar
        if (name.compare(at, std::strlen(Sys_AtomicOutput::cTempPrefix),
                         Sys_AtomicOutput::cTempPrefix) == 0)
            names.push_back(name);
    }
    ::closedir(dirP);
    return names;
}

Sys_FileLoc InFolder(const Sys_FileLoc& iFolder, const std::string& iName)
{
    return iFolder.IsEmpty() ? Sys_FileLoc(iName) : Sys_FileLoc(iFolder, iName);
}

// The AppleDouble sidecar ("._" + name) of a path.
std::string SidecarPath(const std::string& iPath)
{
    const Sys_FileLoc loc(iPath);
    return InFolder(loc.GetParentFolder(), "._" + loc.GetName()).GetFullPath();
}

void SyncPath(const std::string& iPath, bool iFolder, const Sys_FileLoc& iLoc)
{
    if (const int32_t fault = TakeFault(false))
        Fail(fault, iLoc);
    const int fd = ::open(iPath.c_str(), (iFolder ? O_RDONLY | O_DIRECTORY : O_RDONLY) | O_CLOEXEC);
    if (fd < 0)
        Fail(errno, iLoc);
    const int error = ::fsync(fd) == 0 ? 0 : errno;
    ::close(fd);
    // A folder that cannot be synced (some file systems refuse it) holds the name anyway.
    if (error && !(iFolder && (error == EINVAL || error == EROFS)))
        Fail(error, iLoc);
}

// Renames without replacing: renameat2 where the file system has it, else link and unlink.
int RenameNoReplace(const std::string& iFrom, const std::string& iTo)
{
    if (const int32_t fault = TakeFault(true))
        return fault;
    if (::renameat2(AT_FDCWD, iFrom.c_str(), AT_FDCWD, iTo.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS && errno != ENOTSUP)
        return errno;
    if (::link(iFrom.c_str(), iTo.c_str()) != 0)
        return errno;
    ::unlink(iFrom.c_str());
    return 0;
}

// rename(2), with the fault point of renames.
int Rename(const std::string& iFrom, const std::string& iTo)
{
    if (const int32_t fault = TakeFault(true))
        return fault;
    return ::rename(iFrom.c_str(), iTo.c_str()) == 0 ? 0 : errno;
}

int32_t RemoveStaleLocked(const Sys_FileLoc& iFolder)
{
    int32_t removed = 0;
    const int32_t self = int32_t(::getpid());
    for (const std::string& listed : ListNames(iFolder))
    {
        int32_t pid = 0;
        std::string finalName;
        // A temporary file's sidecar lives and goes with it.
        const std::string name = listed.compare(0, 2, "._") == 0 ? listed.substr(2) : listed;
        if (!Sys_AtomicOutput::ParseTempName(name, &pid, &finalName))
            continue;
        const Sys_FileLoc temp = InFolder(iFolder, listed);
        if (pid == self)
        {
            // Ours only while reserved; else left by an earlier process of the same id.
            bool reserved = false;
            for (const auto& entry : Registry())
                reserved = reserved || entry.second.mTemp == InFolder(iFolder, name).GetFullPath();
            if (reserved)
                continue;
        }
        else if (IsAlive(pid))
            continue;
        struct stat info
        {
        };
        if (::lstat(temp.GetFullPath().c_str(), &info) == 0 && S_ISREG(info.st_mode) &&
            ::unlink(temp.GetFullPath().c_str()) == 0)
            ++removed;
    }
    return removed;
}

// The temporary name of iFinalName for process iPid. A name too long for a folder entry
// keeps its start, cut at a character boundary, so that it still says whose it is.
std::string TempNameFor(int32_t iPid, const std::string& iFinalName)
{
    constexpr size_t cMaxName = 255;
    std::string name = Sys_AtomicOutput::cTempPrefix + std::to_string(iPid) + "-" + iFinalName;
    if (name.size() > cMaxName)
    {
        size_t cut = cMaxName;
        while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80)
            --cut;
        name.resize(cut);
    }
    return name;
}

// A live temporary file of another process for iFinalName in iFolder; its pid, else 0.
int32_t OtherLiveReservation(const Sys_FileLoc& iFolder, const std::string& iFinalName)
{
    const int32_t self = int32_t(::getpid());
    for (const std::string& name : ListNames(iFolder))
    {
        int32_t pid = 0;
        std::string finalName;
        if (Sys_AtomicOutput::ParseTempName(name, &pid, &finalName) && pid != self &&
            name == TempNameFor(pid, iFinalName) && IsAlive(pid))
            return pid;
    }
    return 0;
}
} // namespace

bool Sys_AtomicOutput::ParseTempName(const std::string& iName, int32_t* oPid,
                                     std::string* oFinalName)
{
    const size_t prefix = std::strlen(cTempPrefix);
    if (iName.size() <= prefix || iName.compare(0, prefix, cTempPrefix) != 0)
        return false;
    size_t at = prefix;
    int64_t pid = 0;
    while (at < iName.size() && iName[at] >= '0' && iName[at] <= '9' && pid < (int64_t(1) << 31))
        pid = pid * 10 + (iName[at++] - '0');
    if (at == prefix || at >= iName.size() - 1 || iName[at] != '-' || pid <= 0 ||
        pid >= (int64_t(1) << 31))
        return false;
    if (oPid)
        *oPid = int32_t(pid);
    if (oFinalName)
        *oFinalName = iName.substr(at + 1);
    return true;
}

Sys_FileLoc Sys_AtomicOutput::Begin(const Sys_FileLoc& iFinal, bool iReplace)
{
    const Sys_FileLoc folder = iFinal.GetParentFolder();
    const std::string name = iFinal.GetName();
    const Sys_FileLoc temp = InFolder(folder, TempNameFor(int32_t(::getpid()), name));
    std::lock_guard<std::mutex> lock(RegistryMutex());
    RemoveStaleLocked(folder);
    struct stat info
    {
    };
    const bool exists = ::stat(iFinal.GetFullPath().c_str(), &info) == 0;
    if (exists && iReplace && S_ISDIR(info.st_mode))
        Fail(EISDIR, iFinal);
    if (Registry().count(iFinal.GetFullPath()) != 0 || (exists && !iReplace) ||
        OtherLiveReservation(folder, name) != 0)
        Fail(EEXIST, iFinal);
    const int fd =
        ::open(temp.GetFullPath().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd < 0)
        Fail(errno, iFinal);
    ::close(fd);
    // Two runs that reserved the name at once: the lower process id keeps it.
    const int32_t other = OtherLiveReservation(folder, name);
    if (other != 0 && other < int32_t(::getpid()))
    {
        ::unlink(temp.GetFullPath().c_str());
        Fail(EEXIST, iFinal);
    }
    Registry()[iFinal.GetFullPath()] = Reservation{temp.GetFullPath(), iReplace, exists};
    return temp;
}

void Sys_AtomicOutput::Commit(const Sys_FileLoc& iFinal)
{
    std::string temp;
    bool replace = false;
    bool existed = false;
    {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        const auto found = Registry().find(iFinal.GetFullPath());
        if (found == Registry().end())
            return;
        temp = found->second.mTemp;
        replace = found->second.mReplace;
        existed = found->second.mExisted;
        Registry().erase(found);
    }
    // A sidecar written beside the temporary file goes to the final name's sidecar. For a new
    // output the sidecar goes first, so that the final name never stands without it (a crash
    // between the two renames leaves only a sidecar whose file is missing); should the file's
    // rename then fail, the sidecar is taken back. A replacing output renames the file first.
    const std::string tempSidecar = SidecarPath(temp);
    const std::string finalSidecar = SidecarPath(iFinal.GetFullPath());
    struct stat info
    {
    };
    const bool sidecar = ::lstat(tempSidecar.c_str(), &info) == 0 && S_ISREG(info.st_mode);
    bool sidecarRenamed = false;
    try
    {
        SyncPath(temp, false, iFinal);
        if (sidecar)
            SyncPath(tempSidecar, false, iFinal);
        if (replace)
        {
            if (const int error = Rename(temp, iFinal.GetFullPath()))
                Fail(error, iFinal);
            if (sidecar)
                if (const int error = Rename(tempSidecar, finalSidecar))
                    Fail(error, iFinal);
        }
        else
        {
            if (sidecar)
            {
                if (::lstat(iFinal.GetFullPath().c_str(), &info) == 0)
                    Fail(EEXIST, iFinal);
                // A sidecar already there belongs to no file (the final name is free): it
                // is an orphan, such as one left by a crash between these two renames.
                if (const int error = Rename(tempSidecar, finalSidecar))
                    Fail(error, Sys_FileLoc(finalSidecar));
                sidecarRenamed = true;
            }
            if (const int error = RenameNoReplace(temp, iFinal.GetFullPath()))
                Fail(error, iFinal);
        }
    }
    catch (...)
    {
        if (sidecarRenamed)
            ::unlink(finalSidecar.c_str());
        ::unlink(temp.c_str());
        ::unlink(tempSidecar.c_str());
        throw;
    }
    const Sys_FileLoc folder = iFinal.GetParentFolder();
    try
    {
        SyncPath(folder.IsEmpty() ? std::string(".") : folder.GetFullPath(), true, iFinal);
    }
    catch (...)
    {
        // The new name may not last. A new output goes again, so that a failed commit leaves
        // none; one that replaced a file stays (the file it replaced is gone), whole.
        if (!existed)
        {
            ::unlink(iFinal.GetFullPath().c_str());
            if (sidecar)
                ::unlink(finalSidecar.c_str());
        }
        throw;
    }
}

void Sys_AtomicOutput::SetFaultHook(FaultHook iHook)
{
    sFaultHook = iHook;
}

void Sys_AtomicOutput::TakeMode(const Sys_FileLoc& iFinal)
{
    const Sys_FileLoc temp = Redirect(iFinal);
    struct stat info
    {
    };
    if (temp.GetFullPath() == iFinal.GetFullPath() ||
        ::stat(iFinal.GetFullPath().c_str(), &info) != 0 || !S_ISREG(info.st_mode))
        return;
    if (::chmod(temp.GetFullPath().c_str(), info.st_mode & 07777) != 0)
        Fail(errno, iFinal);
}

bool Sys_AtomicOutput::Discard(const Sys_FileLoc& iFinal)
{
    std::string temp;
    {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        const auto found = Registry().find(iFinal.GetFullPath());
        if (found == Registry().end())
            return false;
        temp = found->second.mTemp;
        Registry().erase(found);
    }
    ::unlink(SidecarPath(temp).c_str());
    if (::unlink(temp.c_str()) != 0 && errno != ENOENT)
        Fail(errno, iFinal);
    return true;
}

Sys_FileLoc Sys_AtomicOutput::Redirect(const Sys_FileLoc& iLoc)
{
    std::lock_guard<std::mutex> lock(RegistryMutex());
    if (Registry().empty())
        return iLoc;
    const auto found = Registry().find(iLoc.GetFullPath());
    if (found != Registry().end())
        return Sys_FileLoc(found->second.mTemp);
    // The sidecar of a reserved file is the sidecar of its temporary file.
    const std::string name = iLoc.GetName();
    if (name.size() > 2 && name.compare(0, 2, "._") == 0)
    {
        const auto file =
            Registry().find(InFolder(iLoc.GetParentFolder(), name.substr(2)).GetFullPath());
        if (file != Registry().end())
            return Sys_FileLoc(SidecarPath(file->second.mTemp));
    }
    return iLoc;
}

bool Sys_AtomicOutput::IsReserved(const Sys_FileLoc& iFinal)
{
    {
        std::lock_guard<std::mutex> lock(RegistryMutex());
        if (Registry().count(iFinal.GetFullPath()) != 0)
            return true;
    }
    return OtherLiveReservation(iFinal.GetParentFolder(), iFinal.GetName()) != 0;
}

int32_t Sys_AtomicOutput::RemoveStaleTempFiles(const Sys_FileLoc& iFolder)
{
    std::lock_guard<std::mutex> lock(RegistryMutex());
    return RemoveStaleLocked(iFolder);
}
