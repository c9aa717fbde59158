// Operations on files and folders by location.
//
// Contract shared by all of them:
//  - A location that does not exist is no failure for a query: it answers false, 0 or
//    Sys_FileType::cUnknown.
//  - A failed system call throws Sys_OSErrException (Sys_ThrowIfOSErr) whose context is the
//    message text of the operation ("while copying \"%1\" to \"%2\"" and its kin).
//  - A file's AppleDouble sidecar ("._" + name in the same folder, which holds its resource
//    fork and Finder information) travels with it: copy, move, replace and delete treat the
//    pair as one file. Sidecars themselves are hidden and are not counted as files.
//  - Any thread may call these; two threads working on the same files must coordinate.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "Sys_FileLoc.h"
#include "Sys_FileType.h"

class Sys_FileUtils
{
public:
    // ---- queries ---------------------------------------------------------------------------

    // Whether a file, folder or link (even a dangling one) stands at the location.
    static bool Exists(const Sys_FileLoc& iLoc);
    // Whether the location is a folder (a link to a folder counts).
    static bool IsFolder(const Sys_FileLoc& iLoc);
    // Whether a folder holds nothing but sidecars; false for a missing folder or a file.
    static bool IsFolderEmpty(const Sys_FileLoc& iLoc);
    // Names that start with "." are hidden.
    static bool IsHidden(const Sys_FileLoc& iLoc);
    // A symbolic link plays the part of an alias.
    static bool IsFinderAlias(const Sys_FileLoc& iLoc);
    // The final target of an alias; false when the location is no alias or its target is gone.
    static bool ResolveFinderAlias(const Sys_FileLoc& iAlias, Sys_FileLoc* oTarget);
    // Whether an existing file or folder cannot be read by this process; false when missing.
    static bool IsReadAccessDenied(const Sys_FileLoc& iLoc);
    // cFolder for a folder or a path that ends in "/"; else the type of the extension; else,
    // when the extension says nothing, the Mac type in the AppleDouble sidecar's Finder
    // information; else cUnknown.
    static Sys_FileType GetFileType(const Sys_FileLoc& iLoc);
    // The Mac type and creator in the file's AppleDouble sidecar; false when there is none.
    static bool GetMacTypeAndCreator(const Sys_FileLoc& iLoc, Sys_FileType::OSType* oType,
                                     Sys_FileType::OSType* oCreator);
    static int64_t GetFileDataForkSize(const Sys_FileLoc& iLoc);
    // The size of the resource fork held in the sidecar; 0 without one.
    static int64_t GetFileResourceForkSize(const Sys_FileLoc& iLoc);
    // Microseconds since 1970-01-01 UTC; 0 for a missing file. Creation is the birth time
    // where the file system records one, else the earlier of modification and status change.
    static int64_t GetCreatedUTC(const Sys_FileLoc& iLoc);
    static int64_t GetModifiedUTC(const Sys_FileLoc& iLoc);
    // Files (not folders, not sidecars) in the folder, and with iRecursive in its sub-folders.
    static int32_t GetNumberOfFilesInFolder(const Sys_FileLoc& iFolder, bool iRecursive = false);
    // Bytes a copy takes on the destination: sizes rounded up to iBlockSize (with sidecars).
    static int64_t GetSpaceRequiredToCopyFile(const Sys_FileLoc& iFile, int64_t iBlockSize = 4096);
    static int64_t GetSpaceRequiredToCopyFolder(const Sys_FileLoc& iFolder,
                                                int64_t iBlockSize = 4096);

    // ---- changes ---------------------------------------------------------------------------

    // Creates the folder and any missing parents; an existing folder is fine.
    static void CreateFolder(const Sys_FileLoc& iFolder);
    // Copies one file (data, sidecar, permission bits, modification time) to iDst, replacing
    // a file there. A folder at iDst throws EISDIR. On failure nothing of iDst is left.
    static void CopyFile(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst);
    // Copies a folder tree to iDst (created; merged into when it exists).
    static void CopyFolder(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst);
    // Copies iSrc into the folder iDstFolder under its own name, or under the name that
    // HandleDuplicateName gives when that is taken; returns the new file's location.
    static Sys_FileLoc CopyFileHandleDuplicateNames(const Sys_FileLoc& iSrc,
                                                    const Sys_FileLoc& iDstFolder);
    // Copies the folder iSrc to iDst (a new name is found when iDst is taken). Inside, each
    // file whose name is taken gets a new one; ioRenamed (may be null) receives old source
    // location -> new destination location for every file copied. oResult (may be null)
    // receives the destination folder.
    static void CopyFolderHandleDuplicateNames(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst,
                                               std::map<Sys_FileLoc, Sys_FileLoc>* ioRenamed,
                                               Sys_FileLoc* oResult);
    // Moves a file or folder; across file systems it copies, then deletes the source. An
    // existing iDst throws EEXIST and nothing moves.
    static void MoveFile(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst);
    // Puts iReplacement in place of iReplaced in one step (iReplaced may be missing);
    // iReplacement is gone afterwards.
    static void ReplaceAFile(const Sys_FileLoc& iReplaced, const Sys_FileLoc& iReplacement);
    // Deletes a file (and its sidecar); true when something was deleted, false when nothing
    // was there. A folder throws EISDIR.
    static bool DeleteFile(const Sys_FileLoc& iFile);
    // Deletes a folder; with iRecursive its contents too, else a folder that holds anything
    // but sidecars throws package 2, id 88. True when something was deleted.
    static bool DeleteFolder(const Sys_FileLoc& iFolder, bool iRecursive = true);
    // Gives read and write permission to everyone (subject to the umask of nobody).
    static void MakeFileWritableByAll(const Sys_FileLoc& iFile);
    // Asks the desktop to show the folder that holds the location; false when it cannot.
    static bool RevealInFinder(const Sys_FileLoc& iLoc);
    // A location in the same folder that does not exist yet and is not reserved for an
    // output being written (Sys_AtomicOutput, by any run): iLoc itself when it is free,
    // else base + "." + n + format suffix + "." + extension for the first free n from 1
    // ("Take.wav" -> "Take.1.wav", "Take.L.wav" -> "Take.1.L.wav"), with the base cut so
    // that the name fits the volume's longest name component.
    static Sys_FileLoc HandleDuplicateName(const Sys_FileLoc& iLoc);

    // Splits a name into base, format suffix (a channel suffix such as ".L" or ".LFE", with
    // its dot; "" when none) and extension (without its dot; "" when none or for a folder).
    static void SplitName(const std::string& iName, bool iIsFolder, std::string* oBase,
                          std::string* oFormatSuffix, std::string* oExtension);

    // ---- stepwise copy ---------------------------------------------------------------------

    // Copies a range of one file to a new file in bounded steps, so that a long copy can be
    // cut into time slices and cancelled. The bytes move inside the kernel (copy_file_range)
    // where it can copy between the two files, and through a buffer otherwise.
    //
    // Contract:
    //  - The constructor opens the source, checks the range against its size and creates the
    //    destination under a temporary name in its folder (Sys_AtomicOutput); a file under
    //    the destination's name stays until the copy has finished, and is then replaced by the
    //    whole copy in one rename. It copies nothing. Failures throw; nothing is left.
    //  - CopyNextStep copies at most GetStepSize() bytes and returns true while bytes are
    //    left. After the last bytes it closes the destination (with the source's modification
    //    time and sidecar, when the whole file is copied) and returns false; later calls
    //    return false and do nothing. An empty range is finished by the first call.
    //  - A failed step throws; the destination stays until Abort or destruction.
    //  - Abort closes and deletes the destination unless the copy has finished; afterwards
    //    CopyNextStep returns false. The destructor of an unfinished copier aborts it.
    //  - GetBytesCopied may be read from any thread while another steps (it may lag);
    //    everything else is for one thread at a time.
    class FileCopier
    {
    public:
        static constexpr int32_t cDefaultStepSize = 1 << 20;

        virtual ~FileCopier() = default;
        virtual bool CopyNextStep() = 0;
        virtual int64_t GetBytesCopied() const = 0;
        virtual int64_t GetTotalBytes() const = 0;
        virtual void Abort() = 0;
        virtual bool IsFinished() const = 0;
        virtual bool IsAborted() const = 0;
        virtual const Sys_FileLoc& GetSource() const = 0;
        virtual const Sys_FileLoc& GetDestination() const = 0;
        virtual int32_t GetStepSize() const = 0;
    };

    // A copier of iLength bytes from iOffset of iSrc (iLength < 0: to the end) into iDst.
    // A range past the source's end throws EINVAL. iStepSize > 0.
    static std::unique_ptr<FileCopier>
    CreateFileCopier(const Sys_FileLoc& iSrc, const Sys_FileLoc& iDst, int64_t iOffset = 0,
                     int64_t iLength = -1, int32_t iStepSize = FileCopier::cDefaultStepSize);

    // A copier of iLength bytes from iSrcOffset of iSrc into the existing file iDst at
    // iDstOffset (the file grows as needed; nothing else in it changes). Finishing closes the
    // destination and touches neither its times nor its sidecar; Abort closes it and leaves it
    // to its owner, as it stands. Asserts "iDstOffset >= 0 && iLength >= 0".
    static std::unique_ptr<FileCopier>
    CreateRangeCopier(const Sys_FileLoc& iSrc, int64_t iSrcOffset, const Sys_FileLoc& iDst,
                      int64_t iDstOffset, int64_t iLength,
                      int32_t iStepSize = FileCopier::cDefaultStepSize);

    // ---- clean-up guard --------------------------------------------------------------------

    // Holds locations to delete: whatever is still listed when it goes (an unwinding
    // failure, a cancel) is deleted, files with DeleteFile and folders with their contents.
    // Release forgets them all when the work has succeeded. Deleting what is already gone
    // is harmless, and the destructor never throws. The list is guarded by a mutex: a
    // worker may Add while its owner holds the guard.
    class StDeleteFiles
    {
    public:
        // Told of each location this guard deletes (after the deletion).
        class DeleteNotificationClient
        {
        public:
            virtual ~DeleteNotificationClient() = default;
            virtual void FileDeleted(const Sys_FileLoc& iLoc) = 0;
        };

        StDeleteFiles() = default;
        explicit StDeleteFiles(const Sys_FileLoc& iLoc) { Add(iLoc); }
        StDeleteFiles(const StDeleteFiles&) = delete;
        StDeleteFiles& operator=(const StDeleteFiles&) = delete;
        ~StDeleteFiles();

        // A location listed twice is deleted once.
        void Add(const Sys_FileLoc& iLoc);
        std::list<Sys_FileLoc> GetFiles() const;
        // Forget them all: the operation succeeded.
        void Release();
        // Delete them now and empty the list. Throws the first failure after trying all.
        void Delete();

        // The client is not owned; null for none. Set it before work starts.
        static void SetDeleteNoficationClient(DeleteNotificationClient* iClientP);
        static DeleteNotificationClient* GetDeleteNotificationClient();

    private:
        mutable std::mutex mMutex;
        std::list<Sys_FileLoc> mFiles;
        static std::atomic<DeleteNotificationClient*> sClientP;
    };
};
